// Internal: do not include this file directly.
//
// The archive form of a text shared by identifiers and string entries: an
// unsigned 32-bit length, then the bytes, with no terminator.
#ifndef VORN_DATABASE_DETAIL_COUNTEDSTRING_H_
#define VORN_DATABASE_DETAIL_COUNTEDSTRING_H_

#include <cstddef>
#include <string>

namespace vorn {
class Archive;
}

namespace vorn::detail {

// Throws std::invalid_argument when a text of `size` bytes does not fit a
// 32-bit length.
void check_counted_length(std::size_t size);

// Writes the length and the bytes of `text`; throws as check_counted_length.
void write_counted_string(Archive& archive, const std::string& text);

// Reads a length and that many bytes and returns them cut at the first zero
// byte. A length beyond the end of the file is never allocated: the bytes
// that are there are read and the archive is left failed(), which gives the
// same text as reading the missing bytes as zeros would.
std::string read_counted_string(Archive& archive);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_COUNTEDSTRING_H_
