#include "vorn/persistence/ArchiveReadStream.h"

#include <cstdint>
#include <string>
#include <sstream>
#include <stdexcept>

namespace vorn {

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
  value.resize(static_cast<std::size_t>(length));
  if (archive_.read_bytes(value.data(), value.size()) != value.size()) end_of_file_error(tag);
  const std::size_t text_length = std::char_traits<char>::length(value.c_str());
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
VORN_ARCHIVE_READ_ARRAY(unsigned char)
VORN_ARCHIVE_READ_ARRAY(bool)
VORN_ARCHIVE_READ_ARRAY(short)
VORN_ARCHIVE_READ_ARRAY(unsigned short)
VORN_ARCHIVE_READ_ARRAY(int)
VORN_ARCHIVE_READ_ARRAY(unsigned int)
VORN_ARCHIVE_READ_ARRAY(long)
VORN_ARCHIVE_READ_ARRAY(unsigned long)
VORN_ARCHIVE_READ_ARRAY(float)
VORN_ARCHIVE_READ_ARRAY(double)
VORN_ARCHIVE_READ_ARRAY(long double)

#undef VORN_ARCHIVE_READ_ARRAY

std::size_t ArchiveReadStream::check_item_count(const char* tag, unsigned int count,
                                               std::size_t minimum_item_bytes) {
  const std::uint64_t needed = std::uint64_t{count} * minimum_item_bytes;
  if (needed > archive_.bytes_remaining()) {
    std::ostringstream message;
    message << "ArchiveReadStream::read: container count " << count << " needs at least " << needed
            << " bytes but the file has " << archive_.bytes_remaining() << " left reading '" << tag << "'";
    throw std::runtime_error(message.str());
  }
  if (minimum_item_bytes == 0) return PersistentReadStream::check_item_count(tag, count, minimum_item_bytes);
  return count;
}

}  // namespace vorn
