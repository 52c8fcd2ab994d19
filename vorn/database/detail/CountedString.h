// Internal: do not include this file directly.
//
// The archive form of a text shared by identifiers and string entries: an
// unsigned 32-bit length, then the bytes, with no terminator (the codec's
// counted string). Defined inline: public inline code (string entries and
// string handles in an archive) calls these, and libvorn.so exports nothing
// from vorn::detail.
#ifndef VORN_DATABASE_DETAIL_COUNTEDSTRING_H_
#define VORN_DATABASE_DETAIL_COUNTEDSTRING_H_

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

#include "vorn/persistence/Archive.h"
#include "vorn/persistence/detail/Coding.h"

namespace vorn::detail {

// Throws std::invalid_argument when a text of `size` bytes does not fit a
// 32-bit length.
inline void check_counted_length(std::size_t size) {
  if (!fits_counted_length(size)) {
    std::ostringstream message;
    message << "write_counted_string: text of " << size << " bytes does not fit a 32-bit length";
    throw std::invalid_argument(message.str());
  }
}

// Writes the length and the bytes of `text`; throws as check_counted_length.
inline void write_counted_string(Archive& archive, const std::string& text) {
  check_counted_length(text.size());
  put_counted_string(archive, text);
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
