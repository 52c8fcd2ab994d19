// ArchiveWriteStream: a PersistentWriteStream that stores values in an
// Archive, purely positionally.
//
// Tags, blocks and type names are dropped: only the values reach the file,
// in the order written, in the Archive's encodings. A std::string is its
// length as a 4-byte unsigned int followed by its bytes. Counts, serial
// numbers and null markers of containers and handles are plain values in
// the same sequence. The file can be read back only by an ArchiveReadStream
// issuing the same reads.
//
//   vorn::Archive archive("scene.arc", vorn::Archive::WRITE);
//   vorn::ArchiveWriteStream stream(archive);
//   stream.write("scene", scene);          // any persistent value
//
// The stream does not own the archive, which must outlive it. It does not
// support polymorphism: writing a handle of a polymorphic class throws
// std::runtime_error "Failed whilst writing as stream does not support
// polymorphism" before anything is written. Writing a string longer than
// 2^32 - 1 bytes throws std::length_error. A long or unsigned long is stored
// in 4 bytes: one outside the 32-bit range throws std::out_of_range
// "ArchiveWriteStream::write: long value <v> of '<tag>' does not fit in 4
// bytes" before anything is written (store such values as long long). Block
// versions are not stored. The Archive's own exceptions pass through.
#ifndef VORN_PERSISTENCE_ARCHIVEWRITESTREAM_H_
#define VORN_PERSISTENCE_ARCHIVEWRITESTREAM_H_

#include <cstddef>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn {

class VORN_API ArchiveWriteStream : public PersistentWriteStream {
 public:
  explicit ArchiveWriteStream(Archive& archive) noexcept : archive_(archive) {}
  ~ArchiveWriteStream() override;

  using PersistentWriteStream::begin_block;
  using PersistentWriteStream::write;

  bool supports_polymorphism() const override { return false; }

  void write(const char* tag, char value) override;
  void write(const char* tag, signed char value) override;
  void write(const char* tag, unsigned char value) override;
  void write(const char* tag, bool value) override;
  void write(const char* tag, short value) override;
  void write(const char* tag, unsigned short value) override;
  void write(const char* tag, int value) override;
  void write(const char* tag, unsigned int value) override;
  void write(const char* tag, long value) override;
  void write(const char* tag, unsigned long value) override;
  void write(const char* tag, long long value) override;
  void write(const char* tag, unsigned long long value) override;
  void write(const char* tag, float value) override;
  void write(const char* tag, double value) override;
  void write(const char* tag, long double value) override;
  void write(const char* tag, const std::string& value) override;

  void begin_block(const char* tag, const char* type_name) override;
  void end_block() override;

  // Refuses (std::length_error) a container of items that may encode to
  // nothing when its count exceeds the bytes they took plus
  // ArchiveReadStream::maximum_unsized_items: the reader would refuse it.
  void check_unsized_items_written(const char* tag, std::size_t count, std::uint64_t item_bytes) override;
  std::uint64_t bytes_written() const override { return archive_.position(); }

  void write_array(const char* tag, const char* values, std::size_t count) override;
  void write_array(const char* tag, const signed char* values, std::size_t count) override;
  void write_array(const char* tag, const unsigned char* values, std::size_t count) override;
  void write_array(const char* tag, const bool* values, std::size_t count) override;
  void write_array(const char* tag, const short* values, std::size_t count) override;
  void write_array(const char* tag, const unsigned short* values, std::size_t count) override;
  void write_array(const char* tag, const int* values, std::size_t count) override;
  void write_array(const char* tag, const unsigned int* values, std::size_t count) override;
  void write_array(const char* tag, const long* values, std::size_t count) override;
  void write_array(const char* tag, const unsigned long* values, std::size_t count) override;
  void write_array(const char* tag, const long long* values, std::size_t count) override;
  void write_array(const char* tag, const unsigned long long* values, std::size_t count) override;
  void write_array(const char* tag, const float* values, std::size_t count) override;
  void write_array(const char* tag, const double* values, std::size_t count) override;
  void write_array(const char* tag, const long double* values, std::size_t count) override;

 private:
  Archive& archive_;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_ARCHIVEWRITESTREAM_H_
