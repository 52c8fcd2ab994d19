// TypedArchiveReadStream: reads back what a TypedArchiveWriteStream stored:
// the plain archive values, each block's class version and the class name of
// every polymorphic handle's object (see TypedArchiveWriteStream for the
// layout).
//
//   vorn::Archive archive("shapes.arc", vorn::Archive::READ);
//   vorn::TypedArchiveReadStream stream(archive);
//   vorn::THandle<Shape> shape;
//   stream.read("shape", shape);      // a Circle again, made by PolymorphicFactory<Shape>
//
// Blocks report their stored version through PersistentReadStream::Block::
// version(). A class name that PolymorphicFactory does not know throws
// PersistentReadStream::UnknownTypeTag "Failed whilst reading tag'<tag>'
// PolymorphicFactory did not contain a type with name '<name>'"; damaged
// input throws what ArchiveReadStream throws (a name longer than the rest of
// the file included). The stream does not own the archive.
#ifndef VORN_PERSISTENCE_TYPEDARCHIVEREADSTREAM_H_
#define VORN_PERSISTENCE_TYPEDARCHIVEREADSTREAM_H_

#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"

namespace vorn {

class VORN_API TypedArchiveReadStream : public ArchiveReadStream {
 public:
  explicit TypedArchiveReadStream(Archive& archive) noexcept : ArchiveReadStream(archive) {}
  ~TypedArchiveReadStream() override;

  using ArchiveReadStream::read;

  bool find_block(const char* tag, const char* type_name, PersistentReadStreamPresence presence) override;
  bool find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence presence) override;
  unsigned int found_block_version() const override { return version_; }

 private:
  unsigned int version_ = 0;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPEDARCHIVEREADSTREAM_H_
