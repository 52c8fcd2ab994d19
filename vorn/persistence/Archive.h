// Archive: a headerless binary file of primitive values, written and read in
// sequence, whose bytes are the same on every host.
//
// Every multi-byte value is stored big-endian. Floating-point values are
// stored either as big-endian IEEE images (NATIVE_FORMAT, the default) or in
// the library's portable packed form (PORTABLE_FORMAT):
//
//   char, unsigned char, bool   1 byte (bool written as 0 or 1)
//   short, unsigned short       2 bytes
//   int, unsigned int           4 bytes
//   long, unsigned long         4 bytes (the value taken as 32 bits)
//   float                       4 bytes: IEEE single, or one packed word
//   double                      8 bytes: IEEE double, or two packed words
//   long double                 native: the 12-byte x87 extended image, byte
//                               reversed (two zero padding bytes first);
//                               portable: 8 bytes, as a portable double
//
// The portable float word is the sign and 23 mantissa bits followed by an
// 8-bit exponent (zero is 0x00000080); the portable double is the sign and 52
// mantissa bits followed by an 11-bit exponent (zero is 0x00000000
// 0x00000400). Both truncate extra mantissa bits and store -0.0 as 0.0.
// Infinities and NaNs have no portable form.
//
//   vorn::Archive out("points.arc", vorn::Archive::WRITE);
//   out << 42 << 1.5 << true;                  // 00 00 00 2A 3F F8 00 .. 01
//   out.close();
//   vorn::Archive in("points.arc", vorn::Archive::READ);
//   int n; double x; bool b;
//   in >> n >> x >> b;
//   if (in.failed()) { /* the file was shorter than expected */ }
//
// The archive adds no buffering or positioning of its own beyond the C
// stdio stream's: once an archive is closed, another can read what it wrote.
//
// Reads are not checked by the operators themselves. A read past the end of
// the file leaves a one-byte target unchanged and fills a wider target from
// zero bytes (never from uninitialised memory), and sets failed(). Layers
// above use failed(), at_end() and bytes_remaining() to detect truncation
// and to refuse lengths that the file cannot hold.
//
// Throws std::invalid_argument from open() (and so from the constructor) for
// a mode with both format bits ("Archive::open: all formats specified") or a
// file that cannot be opened ("Archive::open: Couldn't open file: <name>"),
// and from a portable write of an infinity or NaN; std::runtime_error from
// a read or write on a closed archive.
#ifndef VORN_PERSISTENCE_ARCHIVE_H_
#define VORN_PERSISTENCE_ARCHIVE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API Archive {
 public:
  static constexpr unsigned int READ = 1;
  static constexpr unsigned int WRITE = 2;
  static constexpr unsigned int NATIVE_FORMAT = 4;
  static constexpr unsigned int PORTABLE_FORMAT = 8;

  // Opens `file_name` as open() does.
  Archive(const std::string& file_name, unsigned int mode);
  virtual ~Archive();

  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  // Closes any open file, then opens `file_name`: READ alone with "rb",
  // WRITE alone with "wb" (truncating), READ | WRITE with "r+b", creating the
  // file with "w+b" when it does not exist. Adds NATIVE_FORMAT when no format
  // bit is given. On failure the archive is left closed.
  void open(const std::string& file_name, unsigned int mode);

  // Closes the file if one is open; otherwise does nothing.
  void close() noexcept;

  bool is_open() const noexcept { return file_ != nullptr; }

  // The mode given to open(), completed with the default format bit.
  unsigned int mode() const noexcept { return mode_; }
  bool portable() const noexcept { return (mode_ & PORTABLE_FORMAT) != 0; }

  // True once a read came up short or a write was refused by the C library,
  // until the next open().
  bool failed() const noexcept { return failed_; }

  // True when no byte is left to read.
  bool at_end() const noexcept { return bytes_remaining() == 0; }

  // The bytes between the current position and the end of the file, counting
  // what this archive has written itself. 0 when closed.
  std::uint64_t bytes_remaining() const noexcept { return size_ > position_ ? size_ - position_ : 0; }

  Archive& operator<<(char value);
  Archive& operator<<(unsigned char value);
  Archive& operator<<(bool value);
  Archive& operator<<(short value);
  Archive& operator<<(unsigned short value);
  Archive& operator<<(int value);
  Archive& operator<<(unsigned int value);
  Archive& operator<<(long value);
  Archive& operator<<(unsigned long value);
  Archive& operator<<(float value);
  Archive& operator<<(double value);
  Archive& operator<<(long double value);

  Archive& operator>>(char& value);
  Archive& operator>>(unsigned char& value);
  Archive& operator>>(bool& value);
  Archive& operator>>(short& value);
  Archive& operator>>(unsigned short& value);
  Archive& operator>>(int& value);
  Archive& operator>>(unsigned int& value);
  Archive& operator>>(long& value);
  Archive& operator>>(unsigned long& value);
  Archive& operator>>(float& value);
  Archive& operator>>(double& value);
  Archive& operator>>(long double& value);

  // Runs of values: the bytes are exactly those of `count` single writes, but
  // converted through a buffer and handed to the C library in large pieces.
  void write_array(const char* values, std::size_t count);
  void write_array(const unsigned char* values, std::size_t count);
  void write_array(const bool* values, std::size_t count);
  void write_array(const short* values, std::size_t count);
  void write_array(const unsigned short* values, std::size_t count);
  void write_array(const int* values, std::size_t count);
  void write_array(const unsigned int* values, std::size_t count);
  void write_array(const long* values, std::size_t count);
  void write_array(const unsigned long* values, std::size_t count);
  void write_array(const float* values, std::size_t count);
  void write_array(const double* values, std::size_t count);
  void write_array(const long double* values, std::size_t count);

  // Reads `count` values as `count` single reads would. Returns the number of
  // values read completely; the rest are left as a single read leaves them.
  std::size_t read_array(char* values, std::size_t count);
  std::size_t read_array(unsigned char* values, std::size_t count);
  std::size_t read_array(bool* values, std::size_t count);
  std::size_t read_array(short* values, std::size_t count);
  std::size_t read_array(unsigned short* values, std::size_t count);
  std::size_t read_array(int* values, std::size_t count);
  std::size_t read_array(unsigned int* values, std::size_t count);
  std::size_t read_array(long* values, std::size_t count);
  std::size_t read_array(unsigned long* values, std::size_t count);
  std::size_t read_array(float* values, std::size_t count);
  std::size_t read_array(double* values, std::size_t count);
  std::size_t read_array(long double* values, std::size_t count);

  // Raw bytes, unconverted. read_bytes returns the number of bytes read and
  // zero-fills the rest of `data`.
  void write_bytes(const void* data, std::size_t size);
  std::size_t read_bytes(void* data, std::size_t size);

  // Reads `size` raw bytes into `text`, replacing its contents; as
  // read_bytes, but without filling the string first.
  std::size_t read_bytes(std::string& text, std::size_t size);

 private:
  template <class T>
  void write_integer(T value);
  template <class T>
  void read_integer(T& value);
  template <std::size_t Width>
  void write_swapped(const void* values, std::size_t count);
  template <std::size_t Width>
  std::size_t read_swapped(void* values, std::size_t count);
  template <class T, class Encoded>
  void write_array_as(const T* values, std::size_t count);
  template <class T, class Encoded>
  std::size_t read_array_as(T* values, std::size_t count);
  template <std::size_t Width, class Encode>
  void write_encoded(std::size_t count, Encode encode);
  template <std::size_t Width, class Decode>
  std::size_t read_encoded(std::size_t count, Decode decode);

  std::FILE* file_ = nullptr;
  unsigned int mode_ = 0;
  bool failed_ = false;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_ARCHIVE_H_
