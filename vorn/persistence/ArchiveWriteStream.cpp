#include "vorn/persistence/ArchiveWriteStream.h"

#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/detail/Coding.h"

namespace vorn {

namespace {

// Refuses a run of long or unsigned long holding a value without a 4-byte
// form, naming the tag, before any of the run is written.
template <class T>
void check_archived_longs(const char* tag, const T* values, std::size_t count) {
  const std::size_t unfit = detail::first_unfit_archived_long(values, count);
  if (unfit == count) return;
  std::ostringstream message;
  message << "ArchiveWriteStream::write: " << (std::is_signed_v<T> ? "long" : "unsigned long") << " value "
          << values[unfit] << " of '" << tag << "' does not fit in 4 bytes";
  throw std::out_of_range(message.str());
}

}  // namespace

ArchiveWriteStream::~ArchiveWriteStream() = default;

void ArchiveWriteStream::write(const char*, char value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned char value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, bool value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, short value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned short value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, int value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned int value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, signed char value) { archive_ << value; }
void ArchiveWriteStream::write(const char* tag, long value) {
  check_archived_longs(tag, &value, 1);
  archive_ << value;
}
void ArchiveWriteStream::write(const char* tag, unsigned long value) {
  check_archived_longs(tag, &value, 1);
  archive_ << value;
}
void ArchiveWriteStream::write(const char*, long long value) { archive_ << value; }
void ArchiveWriteStream::write(const char*, unsigned long long value) { archive_ << value; }
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
VORN_ARCHIVE_WRITE_ARRAY(signed char)
VORN_ARCHIVE_WRITE_ARRAY(unsigned char)
VORN_ARCHIVE_WRITE_ARRAY(bool)
VORN_ARCHIVE_WRITE_ARRAY(short)
VORN_ARCHIVE_WRITE_ARRAY(unsigned short)
VORN_ARCHIVE_WRITE_ARRAY(int)
VORN_ARCHIVE_WRITE_ARRAY(unsigned int)
VORN_ARCHIVE_WRITE_ARRAY(long long)
VORN_ARCHIVE_WRITE_ARRAY(unsigned long long)
VORN_ARCHIVE_WRITE_ARRAY(float)
VORN_ARCHIVE_WRITE_ARRAY(double)
VORN_ARCHIVE_WRITE_ARRAY(long double)

#undef VORN_ARCHIVE_WRITE_ARRAY

void ArchiveWriteStream::write_array(const char* tag, const long* values, std::size_t count) {
  check_archived_longs(tag, values, count);
  archive_.write_array(values, count);
}

void ArchiveWriteStream::write_array(const char* tag, const unsigned long* values, std::size_t count) {
  check_archived_longs(tag, values, count);
  archive_.write_array(values, count);
}

void ArchiveWriteStream::check_unsized_items_written(const char* tag, std::size_t count, std::uint64_t item_bytes) {
  if (count <= item_bytes + ArchiveReadStream::maximum_unsized_items) return;
  std::ostringstream message;
  message << "ArchiveWriteStream::write: container '" << tag << "' has " << count << " items in " << item_bytes
          << " bytes, more than a reader accepts (the bytes plus " << ArchiveReadStream::maximum_unsized_items
          << ")";
  throw std::length_error(message.str());
}

}  // namespace vorn
