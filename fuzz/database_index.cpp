// Fuzzes the index reader of ArchiveDatabase: whatever the file holds, the
// reader gives the identifiers that a line-by-line reading with
// vorn::getline gives (or the same exception), and the hash index agrees
// with a linear search.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/detail/FirstPositionIndex.h"
#include "vorn/database/detail/IndexFile.h"
#include "vorn/foundation/StringFunctions.h"

namespace {

using Ids = std::vector<vorn::DatabaseEntryIdentifier>;

bool read_by_lines(const std::string& text, Ids& ids) {
  std::istringstream in(text);
  std::string line;
  try {
    while (!in.fail() && !in.eof()) {
      vorn::getline(in, line);
      if (in.good() && !in.eof()) ids.emplace_back(line);
    }
  } catch (const std::invalid_argument&) {
    return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Ids expected;
  const bool expected_ok = read_by_lines(text, expected);
  Ids ids;
  bool ok = true;
  bool canonical = false;
  try {
    ids = vorn::detail::parse_index(text, canonical);
  } catch (const std::invalid_argument&) {
    ok = false;
  }
  if (ok != expected_ok) std::abort();
  if (!ok) return 0;
  if (ids != expected) std::abort();

  std::string rewritten;
  for (const auto& id : ids) rewritten += id.text() + "\n";
  if (canonical != (rewritten == text)) std::abort();

  vorn::detail::FirstPositionIndex index;
  index.rebuild(ids);
  for (std::size_t i = 0; i < ids.size(); ++i) {
    std::size_t first = 0;
    while (ids[first] != ids[i]) ++first;
    if (index.find(ids, ids[i]) != static_cast<int>(first)) std::abort();
  }
  if (index.find(ids, vorn::DatabaseEntryIdentifier("\x01not-in-any-index")) != -1 &&
      text.find("\x01not-in-any-index") == std::string::npos) {
    std::abort();
  }
  return 0;
}
