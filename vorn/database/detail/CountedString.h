// Internal: do not include this file directly.
//
// The archive form of a text shared by identifiers and string entries: an
// unsigned 32-bit length, then the bytes, with no terminator. Defined inline:
// public inline code (string entries and string handles in an archive) calls
// these, and libvorn.so exports nothing from vorn::detail.
#ifndef VORN_DATABASE_DETAIL_COUNTEDSTRING_H_
#define VORN_DATABASE_DETAIL_COUNTEDSTRING_H_

#include <cstdint>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "vorn/persistence/Archive.h"

namespace vorn::detail {

// Writes the length and the bytes of `text`; throws std::invalid_argument when
// the text does not fit a 32-bit length.
inline void write_counted_string(Archive& archive, const std::string& text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    std::ostringstream message;
    message << "write_counted_string: text of " << text.size() << " bytes does not fit a 32-bit length";
    throw std::invalid_argument(message.str());
  }
  archive << static_cast<unsigned int>(text.size());
  archive.write_bytes(text.data(), text.size());
}

// Reads a length and that many bytes and returns them cut at the first zero
// byte. A length beyond the end of the file is never allocated: the bytes
// that are there are read and the archive is left failed(), which gives the
// same text as reading the missing bytes as zeros would.
inline std::string read_counted_string(Archive& archive) {
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

#endif  // VORN_DATABASE_DETAIL_COUNTEDSTRING_H_
