#include "vorn/persistence/DebugPrintStream.h"

namespace vorn {

DebugPrintStream::~DebugPrintStream() = default;

void DebugPrintStream::indent() {
  for (std::size_t i = 0; i < depth_; ++i) out_ << "    ";
}

void DebugPrintStream::write(const char* tag, char value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, signed char value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, unsigned char value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, bool value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, short value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, unsigned short value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, int value) { write(tag, static_cast<long>(value)); }
void DebugPrintStream::write(const char* tag, unsigned int value) { write(tag, static_cast<unsigned long>(value)); }

void DebugPrintStream::write(const char* tag, long value) {
  indent();
  out_ << tag << ": " << value << ' ';
}

void DebugPrintStream::write(const char* tag, unsigned long value) {
  indent();
  out_ << tag << ": " << value << ' ';
}

void DebugPrintStream::write(const char* tag, long long value) {
  indent();
  out_ << tag << ": " << value << ' ';
}

void DebugPrintStream::write(const char* tag, unsigned long long value) {
  indent();
  out_ << tag << ": " << value << ' ';
}

void DebugPrintStream::write(const char* tag, float value) { write(tag, static_cast<double>(value)); }
void DebugPrintStream::write(const char* tag, long double value) { write(tag, static_cast<double>(value)); }

void DebugPrintStream::write(const char* tag, double value) {
  indent();
  out_ << tag << ": " << value << ' ';
}

void DebugPrintStream::write(const char* tag, const std::string& value) {
  indent();
  out_ << tag << ": '" << value << "' ";
}

void DebugPrintStream::begin_block(const char* tag, const char* type_name) {
  indent();
  out_ << tag << " (" << type_name << ")\n";
  ++depth_;
}

void DebugPrintStream::end_block() {
  out_ << '\n';
  if (depth_ > 0) --depth_;
}

}  // namespace vorn
