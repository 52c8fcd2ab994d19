// JsonReadStream: a PersistentReadStream over a JSON document in the layout
// that JsonWriteStream writes (described there).
//
//   std::ifstream file("scene.json");
//   vorn::JsonReadStream stream(file);   // reads and parses the whole input
//   stream.read("scene", scene);
//
// Items are found by tag within their block, not by position, so the
// presence rules hold for real:
// - an absent item read as ITEM_OPTIONAL throws OptionalItemNotPresent;
// - an absent required item throws ItemNotPresent ("Failed to find item with
// tag 'x' and type_name 'int'"; a primitive's type name is its C++ type);
// - keys that no read asks for are skipped, so a class that lost a field
// reads files written before;
// - a block whose "$type" differs from the type name asked for counts as
// absent; a polymorphic handle's "value" is re-created through
// PolymorphicFactory from its "$type".
//
// A class that gained a field reads it as optional and keeps a default for
// files written before:
//
//   try {
//     s.read("colour", colour_, vorn::ITEM_OPTIONAL);
//   } catch (const vorn::PersistentReadStream::OptionalItemNotPresent&) {
//     colour_ = "black";
//   }
//
// Items are looked for from just after the item read last, so reading in
// the written order costs one comparison per item and a tag that occurs
// several times in one block is read in turn. Numbers are read exactly: an
// integer that does not fit the type read, a fraction read as an integer,
// or a floating-point number out of the type's range is refused, never
// rounded or clipped.
//
// The whole input is read and parsed at construction; the stream does not
// keep the istream. Memory stays proportional to the input, and nesting
// depth is bounded by the parser (which does not recurse) and by
// maximum_block_depth() while reading.
//
// Throws std::runtime_error "JsonReadStream::JsonReadStream: malformed JSON
// at line L, column C: <reason>" (lines counted from 1 by line feeds,
// columns from 1 in bytes) for input that is not JSON or whose top is not
// an object, and when the istream fails; std::runtime_error
// "JsonReadStream::read: '<tag>' holds <what>, not <type>" for an item of
// the wrong kind or range; and the exceptions of PersistentReadStream.
#ifndef VORN_PERSISTENCE_JSON_JSONREADSTREAM_H_
#define VORN_PERSISTENCE_JSON_JSONREADSTREAM_H_

#include <cstddef>
#include <istream>
#include <memory>
#include <string>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/json/JsonExport.h"

namespace vorn {

class VORN_JSON_API JsonReadStream : public PersistentReadStream {
 public:
  explicit JsonReadStream(std::istream& in);
  ~JsonReadStream() override;

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
  // The "$version" of the block just found; 0 when it has none.
  unsigned int found_block_version() const override;

  void read_array(const char* tag, int* values, std::size_t count) override;
  void read_array(const char* tag, double* values, std::size_t count) override;

  // A container's count is the length of an array present in the input, so
  // all of its items may be allocated at once.
  std::size_t check_item_count(const char* tag, unsigned int count, std::size_t minimum_item_bytes) override;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_JSON_JSONREADSTREAM_H_
