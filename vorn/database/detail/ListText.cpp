#include "vorn/database/detail/ListText.h"

#include <istream>

namespace vorn::detail {

std::string read_rest(std::istream& in) {
  std::string text;
  if (!in.good()) return text;
  std::streambuf* buffer = in.rdbuf();
  constexpr std::size_t chunk = 1 << 16;
  for (;;) {
    const std::size_t used = text.size();
    text.resize(used + chunk);
    const std::streamsize got = buffer->sgetn(&text[used], static_cast<std::streamsize>(chunk));
    text.resize(used + static_cast<std::size_t>(got > 0 ? got : 0));
    if (got < static_cast<std::streamsize>(chunk)) break;
  }
  in.setstate(std::ios::eofbit);
  return text;
}

std::string identifier_lines(const std::vector<DatabaseEntryIdentifier>& ids) {
  std::size_t total = 0;
  for (const auto& id : ids) total += id.text().size() + 1;
  std::string text;
  text.reserve(total);
  for (const auto& id : ids) {
    text += id.text();
    text += '\n';
  }
  return text;
}

}  // namespace vorn::detail
