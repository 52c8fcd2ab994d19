// TypedArchiveWriteStream: an ArchiveWriteStream that also stores what the
// plain archive format leaves out, so that polymorphic handles and class
// versions survive a binary file.
//
// The bytes are those of ArchiveWriteStream with two additions:
//   - every block starts with its class version, a 4-byte big-endian
//     unsigned int (0 for a block opened without a version);
//   - a polymorphic handle's object, on its first appearance, is preceded by
//     its registered class name as a counted string (4-byte length, then the
//     bytes), between the handle's serial number and the object's block.
// A null polymorphic handle stores its serial number 0 only. A file written
// by this stream must be read by a TypedArchiveReadStream.
//
//   vorn::Archive archive("shapes.arc", vorn::Archive::WRITE);
//   vorn::TypedArchiveWriteStream stream(archive);
//   stream.write("shape", shape);     // THandle<Shape> holding a Circle
//
// A std::pair<int, THandle<Shape>> holding 7 and a Circle of radius 2.0 (one
// double) is stored as
//   00 00 00 00                  Pair block, version 0
//   00 00 00 07                  first
//   00 00 00 00                  Handle block, version 0
//   00 00 00 01                  serial number
//   00 00 00 06 'C' 'i' 'r' 'c' 'l' 'e'
//   00 00 00 00                  Circle block, version 0
//   40 00 00 00 00 00 00 00      radius
//
// Throws std::runtime_error "Error: Type '<name>' has not been registered
// with PolymorphicFactory" for an unregistered polymorphic class (after the
// version of its Handle block), and what ArchiveWriteStream throws.
#ifndef VORN_PERSISTENCE_TYPEDARCHIVEWRITESTREAM_H_
#define VORN_PERSISTENCE_TYPEDARCHIVEWRITESTREAM_H_

#include "vorn/foundation/Export.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveWriteStream.h"

namespace vorn {

class VORN_API TypedArchiveWriteStream : public ArchiveWriteStream {
 public:
  explicit TypedArchiveWriteStream(Archive& archive) noexcept : ArchiveWriteStream(archive) {}
  ~TypedArchiveWriteStream() override;

  using ArchiveWriteStream::write;

  bool supports_polymorphism() const override { return true; }

  void begin_block(const char* tag, const char* type_name) override;
  void begin_block(const char* tag, const char* type_name, unsigned int version) override;
  void write_type_name(const char* tag, const char* type_name) override;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPEDARCHIVEWRITESTREAM_H_
