// DebugPrintStream: a PersistentWriteStream that prints everything written
// to it as indented text, so that the item tree of any persistent value can
// be inspected (in test messages, logs, a debugger).
//
//   std::ostringstream text;
//   vorn::DebugPrintStream print(text);
//   print.write("p", point);
//
// prints a Point with int members x = 1 and y = 2 as
//
//   p (Point)
//       x: 1     y: 2 <line break>
//
// that is: a block is "tag (type_name)" and a line break, and raises the
// indentation by four blanks; each value is the indentation, "tag: value"
// and one blank, with no line break, so the values of one block share a
// line; a string prints as "tag: 'text' "; the end of a block writes a line
// break. Integers print as long or unsigned long (a char or signed char as
// its number, a bool as 0 or 1; long long and unsigned long long as
// themselves, in the same "tag: value " form; block versions are not
// printed), floating point as double, all with the ostream's current
// formatting. Handles print as "Handle" blocks with their "serial_number"
// and, on first appearance, their "value".
//
// Supports polymorphism, so handles of registered polymorphic classes
// print too (unregistered ones throw std::runtime_error "Error: Type
// '<name>' has not been registered with PolymorphicFactory"). Every item is
// printed individually. The stream does not own the ostream.
#ifndef VORN_PERSISTENCE_DEBUGPRINTSTREAM_H_
#define VORN_PERSISTENCE_DEBUGPRINTSTREAM_H_

#include <cstddef>
#include <ostream>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn {

class VORN_API DebugPrintStream : public PersistentWriteStream {
 public:
  explicit DebugPrintStream(std::ostream& out) noexcept : out_(out) {}
  ~DebugPrintStream() override;

  using PersistentWriteStream::begin_block;
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
  void end_block() override;

  // Writes four blanks per open block.
  void indent();

  std::size_t depth() const noexcept { return depth_; }

 private:
  std::ostream& out_;
  std::size_t depth_ = 0;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_DEBUGPRINTSTREAM_H_
