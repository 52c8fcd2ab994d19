#include "vorn/persistence/ArchiveReadStream.h"

#include <cstdint>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vorn {

namespace {

// The number of bytes before the first NUL in data[0, size), or size.
// Strings are mostly short, so this scans eight bytes at a time inline
// rather than calling the C library.
std::size_t length_to_first_nul(const char* data, std::size_t size) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101u;
  constexpr std::uint64_t highs = 0x8080808080808080u;
  std::size_t i = 0;
  for (; i + 8 <= size; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, data + i, 8);
    if (((word - ones) & ~word & highs) != 0) break;
  }
  for (; i < size; ++i)
    if (data[i] == '\0') return i;
  return size;
}

}  // namespace

ArchiveReadStream::~ArchiveReadStream() = default;

void ArchiveReadStream::end_of_file_error(const char* tag) const {
  throw std::runtime_error(std::string("ArchiveReadStream::read: unexpected end of file reading '") + tag + "'");
}

template <class T>
void ArchiveReadStream::read_value(const char* tag, T& value) {
  archive_ >> value;
  if (archive_.failed()) end_of_file_error(tag);
}

template <class T>
void ArchiveReadStream::read_values(const char* tag, T* values, std::size_t count) {
  archive_.read_array(values, count);
  if (archive_.failed()) end_of_file_error(tag);
}

void ArchiveReadStream::read(const char* tag, char& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, unsigned char& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, bool& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, short& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, unsigned short& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, int& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, unsigned int& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, long& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, unsigned long& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, signed char& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, long long& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, unsigned long long& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}
void ArchiveReadStream::read(const char* tag, float& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, double& value, PersistentReadStreamPresence) { read_value(tag, value); }
void ArchiveReadStream::read(const char* tag, long double& value, PersistentReadStreamPresence) {
  read_value(tag, value);
}

// The stored length is read as a signed int. The string keeps the bytes up
// to the first NUL, but all stored bytes are consumed.
void ArchiveReadStream::read(const char* tag, std::string& value, PersistentReadStreamPresence) {
  int length = 0;
  read_value(tag, length);
  if (length < 0 || static_cast<std::uint64_t>(length) > archive_.bytes_remaining()) {
    std::ostringstream message;
    message << "ArchiveReadStream::read: string length " << length << " exceeds the " << archive_.bytes_remaining()
            << " bytes left in the file reading '" << tag << "'";
    throw std::runtime_error(message.str());
  }
  if (archive_.read_bytes(value, static_cast<std::size_t>(length)) != value.size()) end_of_file_error(tag);
  const std::size_t text_length = length_to_first_nul(value.data(), value.size());
  if (text_length != value.size()) value.resize(text_length);
}

bool ArchiveReadStream::find_block(const char*, const char*, PersistentReadStreamPresence) { return true; }

bool ArchiveReadStream::find_type(const char*, std::string&, PersistentReadStreamPresence) { return false; }

void ArchiveReadStream::end_read_block() {}

#define VORN_ARCHIVE_READ_ARRAY(Type)                                                              \
  void ArchiveReadStream::read_array(const char* tag, Type* values, std::size_t count) { \
    read_values(tag, values, count);                                                               \
  }

VORN_ARCHIVE_READ_ARRAY(char)
VORN_ARCHIVE_READ_ARRAY(signed char)
VORN_ARCHIVE_READ_ARRAY(unsigned char)
VORN_ARCHIVE_READ_ARRAY(bool)
VORN_ARCHIVE_READ_ARRAY(short)
VORN_ARCHIVE_READ_ARRAY(unsigned short)
VORN_ARCHIVE_READ_ARRAY(int)
VORN_ARCHIVE_READ_ARRAY(unsigned int)
VORN_ARCHIVE_READ_ARRAY(long)
VORN_ARCHIVE_READ_ARRAY(unsigned long)
VORN_ARCHIVE_READ_ARRAY(long long)
VORN_ARCHIVE_READ_ARRAY(unsigned long long)
VORN_ARCHIVE_READ_ARRAY(float)
VORN_ARCHIVE_READ_ARRAY(double)
VORN_ARCHIVE_READ_ARRAY(long double)

#undef VORN_ARCHIVE_READ_ARRAY

std::size_t ArchiveReadStream::check_item_count(const char* tag, unsigned int count,
                                               std::size_t minimum_item_bytes) {
  const std::uint64_t needed = std::uint64_t{count} * minimum_item_bytes;
  const bool unsized_overflow =
      minimum_item_bytes == 0 && count > archive_.bytes_remaining() + maximum_unsized_items;
  if (needed > archive_.bytes_remaining() || unsized_overflow) {
    std::ostringstream message;
    if (unsized_overflow) {
      message << "ArchiveReadStream::read: container count " << count << " exceeds the " << maximum_unsized_items
              << " items of unknown size allowed beyond the " << archive_.bytes_remaining()
              << " bytes left in the file reading '" << tag << "'";
    } else {
      message << "ArchiveReadStream::read: container count " << count << " needs at least " << needed
              << " bytes but the file has " << archive_.bytes_remaining() << " left reading '" << tag << "'";
    }
    throw std::runtime_error(message.str());
  }
  if (minimum_item_bytes == 0) return PersistentReadStream::check_item_count(tag, count, minimum_item_bytes);
  return count;
}

}  // namespace vorn
