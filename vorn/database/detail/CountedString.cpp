#include "vorn/database/detail/CountedString.h"

#include <cstdint>
#include <sstream>
#include <stdexcept>

#include "vorn/persistence/Archive.h"
#include "vorn/persistence/detail/Coding.h"

namespace vorn::detail {

void check_counted_length(std::size_t size) {
  if (!fits_counted_length(size)) {
    std::ostringstream message;
    message << "write_counted_string: text of " << size << " bytes does not fit a 32-bit length";
    throw std::invalid_argument(message.str());
  }
}

void write_counted_string(Archive& archive, const std::string& text) {
  check_counted_length(text.size());
  put_counted_string(archive, text);
}

std::string read_counted_string(Archive& archive) {
  unsigned int length = 0;
  archive >> length;
  const std::uint64_t available = archive.bytes_remaining();
  std::string text(length <= available ? length : static_cast<std::size_t>(available), '\0');
  archive.read_bytes(text.data(), text.size());
  if (text.size() < length) {
    char probe = 0;
    archive.read_bytes(&probe, 1);  // marks the archive as failed
  }
  const std::size_t zero = text.find('\0');
  if (zero != std::string::npos) text.resize(zero);
  return text;
}

}  // namespace vorn::detail
