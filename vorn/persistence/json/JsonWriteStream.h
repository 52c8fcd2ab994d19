// JsonWriteStream: a PersistentWriteStream that writes the item tree of
// persistent objects as one JSON document, which JsonReadStream reads back.
// Unlike the positional archive streams, the document keeps every tag and
// type name, so a reader finds items by tag: a class that gained or lost a
// field still reads files written before (see JsonReadStream).
//
//   std::ofstream file("scene.json");
//   vorn::JsonWriteStream stream(file);
//   stream.write("scene", scene);       // any persistent value
//   stream.close();                      // completes the document
//
// A Point block with int items x = 1 and y = 2 written under "p" gives
//
//   {"p":{"$type":"Point","x":1,"y":2}}
//
// The layout:
// - The document is one object whose keys are the tags written at the top.
// - A block is an object. Its key "$type" holds the block's type name and,
// when the block was given a class version other than 0, "$version" holds
// it (JsonReadStream gives 0 for a block without one). Its items
// follow under their tags, in the order written. Keys beginning with '$'
// belong to the stream: a tag that begins with '$' is refused.
// - A "Container" block is an array of its items; its "count" is the
// array's length and is not written separately. A container holds only
// "count" and "item"s; any other tag inside one is refused.
// - A handle is a "Handle" block: {"$type":"Handle","serial_number":1,
// "value":{...}} on the object's first appearance, then only
// {"$type":"Handle","serial_number":1}; 0 is the null handle. A
// polymorphic object's "value" carries its registered class name as its
// "$type", through which the reader re-creates it (the stream supports
// polymorphism).
// - bool is true or false; every other integer type (char included) is a
// JSON integer, exact over the whole 64-bit range.
// - float and double are JSON numbers with the fewest digits that read back
// to exactly the same value. A long double is a string of such digits
// ("0.33333333333333333334"; all of an x86 long double's 64-bit
// significand is kept), since its range exceeds what JSON parsers read as
// a number. NaN, infinity and minus infinity are the strings "NaN",
// "Infinity" and "-Infinity" (the sign and payload of a NaN are not
// kept).
// - A std::string is a JSON string; quotes, backslashes and control
// characters (a zero byte as `\u0000`) are escaped, every other byte is
// copied as it is. UTF-8 text thus gives valid JSON; bytes that are not
// UTF-8 are kept and read back exactly, but make the document invalid
// UTF-8 for other JSON tools.
//
// The output is compact (no blanks) unless Options::indent asks for one
// item per line, indented by four blanks per level. The stream buffers its
// output and does not own the ostream.
//
// Throws std::invalid_argument for a tag beginning with '$' and for another
// tag than "count" or "item" inside a container (before anything of the
// item is written), std::runtime_error from close() when the ostream failed,
// and the exceptions of PersistentWriteStream.
#ifndef VORN_PERSISTENCE_JSON_JSONWRITESTREAM_H_
#define VORN_PERSISTENCE_JSON_JSONWRITESTREAM_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>

#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/json/JsonExport.h"

namespace vorn {

class VORN_JSON_API JsonWriteStream : public PersistentWriteStream {
 public:
  struct Options {
    // One item per line, indented by four blanks per level.
    bool indent = false;
  };

  explicit JsonWriteStream(std::ostream& out);
  JsonWriteStream(std::ostream& out, Options options);
  // Completes the document if close() was not called; errors are lost then,
  // so call close() to learn of them.
  ~JsonWriteStream() override;

  using PersistentWriteStream::write;

  bool supports_polymorphism() const override { return true; }

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
  // A version other than 0 is written as the block's "$version".
  void begin_block(const char* tag, const char* type_name, unsigned int version) override;
  void end_block() override;

  void write_array(const char* tag, const int* values, std::size_t count) override;
  void write_array(const char* tag, const double* values, std::size_t count) override;

  // Ends the blocks still open and the document, and flushes the ostream.
  // Nothing can be written afterwards. Throws std::runtime_error when the
  // ostream failed at any point. Calling it again does nothing.
  void close();

 private:
  class Impl;
  template <class Writer>
  class Emitter;

  std::unique_ptr<Impl> impl_;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_JSON_JSONWRITESTREAM_H_
