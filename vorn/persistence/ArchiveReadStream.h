// ArchiveReadStream: a PersistentReadStream that reads back, positionally,
// what an ArchiveWriteStream stored in an Archive.
//
// Tags, block names, versions and presence are ignored (every block reads
// as version 0): every read consumes the next
// value of the file, so the reads must repeat the writes exactly. Every
// block is "found"; no type name is ever found, so a polymorphic handle read
// from an archive throws ItemNotPresent (or OptionalItemNotPresent)
// "Failed to find polymorphic item with tag 'value'".
//
//   vorn::Archive archive("scene.arc", vorn::Archive::READ);
//   vorn::ArchiveReadStream stream(archive);
//   Scene scene;
//   stream.read("scene", scene);
//
// A string is read up to its first NUL byte, while the file position moves
// past all of its stored bytes.
//
// Damaged files end in std::runtime_error, whose message starts with
// "ArchiveReadStream::read:" and names the tag: a read past the end of the
// file, a string length that is negative or larger than the rest of the
// file (checked before anything is allocated), or a container count that
// the rest of the file cannot hold (for items that may encode to nothing:
// more than the bytes left plus 2^20). The stream does not own the archive,
// which must outlive it.
#ifndef VORN_PERSISTENCE_ARCHIVEREADSTREAM_H_
#define VORN_PERSISTENCE_ARCHIVEREADSTREAM_H_

#include <cstddef>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/PersistentReadStream.h"

namespace vorn {

class VORN_API ArchiveReadStream : public PersistentReadStream {
 public:
  explicit ArchiveReadStream(Archive& archive) noexcept : archive_(archive) {}
  ~ArchiveReadStream() override;

  using PersistentReadStream::read;

  void read(const char* tag, char& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, signed char& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, unsigned char& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, bool& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, short& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, unsigned short& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, int& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, unsigned int& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, long& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, unsigned long& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, long long& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, unsigned long long& value,
            PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, float& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, double& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, long double& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;
  void read(const char* tag, std::string& value, PersistentReadStreamPresence presence = ITEM_REQUIRED) override;

  bool find_block(const char* tag, const char* type_name, PersistentReadStreamPresence presence) override;
  bool find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence presence) override;
  void end_read_block() override;

  void read_array(const char* tag, char* values, std::size_t count) override;
  void read_array(const char* tag, signed char* values, std::size_t count) override;
  void read_array(const char* tag, unsigned char* values, std::size_t count) override;
  void read_array(const char* tag, bool* values, std::size_t count) override;
  void read_array(const char* tag, short* values, std::size_t count) override;
  void read_array(const char* tag, unsigned short* values, std::size_t count) override;
  void read_array(const char* tag, int* values, std::size_t count) override;
  void read_array(const char* tag, unsigned int* values, std::size_t count) override;
  void read_array(const char* tag, long* values, std::size_t count) override;
  void read_array(const char* tag, unsigned long* values, std::size_t count) override;
  void read_array(const char* tag, long long* values, std::size_t count) override;
  void read_array(const char* tag, unsigned long long* values, std::size_t count) override;
  void read_array(const char* tag, float* values, std::size_t count) override;
  void read_array(const char* tag, double* values, std::size_t count) override;
  void read_array(const char* tag, long double* values, std::size_t count) override;

  // Throws when `count` items of at least `minimum_item_bytes` each cannot
  // fit in the rest of the file; allows allocating all of them when items
  // of that size are known to take at least one byte each. Items of unknown
  // size (0) may encode to no bytes at all (a class writing an empty block),
  // so their count is bounded separately: at most the bytes left plus
  // maximum_unsized_items, which keeps a 4-byte file from making the reader
  // loop billions of times.
  static constexpr std::size_t maximum_unsized_items = std::size_t{1} << 20;
  std::size_t check_item_count(const char* tag, unsigned int count, std::size_t minimum_item_bytes) override;

 private:
  template <class T>
  void read_value(const char* tag, T& value);
  template <class T>
  void read_values(const char* tag, T* values, std::size_t count);
  [[noreturn]] void end_of_file_error(const char* tag) const;

  Archive& archive_;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_ARCHIVEREADSTREAM_H_
