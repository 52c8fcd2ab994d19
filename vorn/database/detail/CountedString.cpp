#include "vorn/database/detail/CountedString.h"

#include <cstdint>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "vorn/persistence/Archive.h"

namespace vorn::detail {

void write_counted_string(Archive& archive, const std::string& text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    std::ostringstream message;
    message << "write_counted_string: text of " << text.size() << " bytes does not fit a 32-bit length";
    throw std::invalid_argument(message.str());
  }
  archive << static_cast<unsigned int>(text.size());
  archive.write_bytes(text.data(), text.size());
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
