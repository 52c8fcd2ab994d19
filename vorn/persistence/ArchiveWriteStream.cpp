#include "vorn/persistence/ArchiveWriteStream.h"

#include <sstream>
#include <stdexcept>

#include "vorn/persistence/detail/Coding.h"

namespace vorn {

ArchiveWriteStream::~ArchiveWriteStream() = default;

void ArchiveWriteStream::write(const char*, char value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned char value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, bool value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, short value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned short value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, int value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned int value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, long value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned long value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, float value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, double value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, long double value) { archive_ << value; }

void ArchiveWriteStream::write(const char* tag, const std::string& value) {
  if (!detail::fits_counted_length(value.size())) {
    std::ostringstream message;
    message << "ArchiveWriteStream::write: string of " << value.size() << " bytes is too long for '" << tag << "'";
    throw std::length_error(message.str());
  }
  detail::put_counted_string(archive_, value);
}

void ArchiveWriteStream::begin_block(const char*, const char*) {}
void ArchiveWriteStream::end_block() {}

#define VORN_ARCHIVE_WRITE_ARRAY(Type)                                                         \
  void ArchiveWriteStream::write_array(const char*, const Type* values, std::size_t count) { \
    archive_.write_array(values, count);                                                      \
  }

VORN_ARCHIVE_WRITE_ARRAY(char)
VORN_ARCHIVE_WRITE_ARRAY(unsigned char)
VORN_ARCHIVE_WRITE_ARRAY(bool)
VORN_ARCHIVE_WRITE_ARRAY(short)
VORN_ARCHIVE_WRITE_ARRAY(unsigned short)
VORN_ARCHIVE_WRITE_ARRAY(int)
VORN_ARCHIVE_WRITE_ARRAY(unsigned int)
VORN_ARCHIVE_WRITE_ARRAY(long)
VORN_ARCHIVE_WRITE_ARRAY(unsigned long)
VORN_ARCHIVE_WRITE_ARRAY(float)
VORN_ARCHIVE_WRITE_ARRAY(double)
VORN_ARCHIVE_WRITE_ARRAY(long double)

#undef VORN_ARCHIVE_WRITE_ARRAY

}  // namespace vorn
