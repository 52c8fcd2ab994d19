// Archive: a headerless binary file of primitive values, written and read in
// sequence, whose bytes are the same on every host.
//
// Every multi-byte value is stored big-endian. Floating-point values are
// stored either as big-endian IEEE images (NATIVE_FORMAT, the default) or in
// the library's portable packed form (PORTABLE_FORMAT):
//
//   char, signed char,          1 byte (bool written as 0 or 1)
//   unsigned char, bool
//   short, unsigned short       2 bytes
//   int, unsigned int           4 bytes
//   long, unsigned long         4 bytes, whatever the host's width: a value
//                               outside the 32-bit range of its signedness
//                               is refused (std::out_of_range)
//   long long,                  8 bytes; use these for std::int64_t,
//   unsigned long long          std::size_t and other 64-bit values, which
//                               are `long` on 64-bit Linux
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
// An archive reads and writes through a Device: a FileDevice for the
// file-name constructor and open(), or any device the caller hands in, such
// as a MemoryDevice:
//
//   vorn::MemoryDevice memory;
//   vorn::Archive out(memory, vorn::Archive::WRITE);
//   out << 42;
//   out.close();                               // flushes into the device
//   std::string bytes = memory.take();         // 00 00 00 2A
//
// Writes are buffered by the device until close(), sync() or the end of the
// archive; once an archive is closed, another can read what it wrote.
//
// Reads are not checked by the operators themselves. A read past the end of
// the file leaves a one-byte target unchanged and fills a wider target from
// zero bytes (never from uninitialised memory), and sets failed(). Layers
// above use failed(), at_end() and bytes_remaining() to detect truncation
// and to refuse lengths that the file cannot hold.
//
// Throws std::invalid_argument from open() (and so from the constructor) for
// a mode with both format bits ("Archive::open: all formats specified"), a
// file that cannot be opened ("Archive::open: Couldn't open file: <name>")
// or a null device ("Archive::open: no device"),
// and from a portable write of an infinity or NaN; std::out_of_range
// ("Archive::operator<<: long value <v> does not fit in 4 bytes", also from
// write_array, before any value of the run is written) for a long or
// unsigned long beyond 32 bits; std::runtime_error from
// a read, write or sync on a closed archive. Failures of the device are not
// thrown: they set failed(), and last_error() keeps the system's reason.
#ifndef VORN_PERSISTENCE_ARCHIVE_H_
#define VORN_PERSISTENCE_ARCHIVE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/io/Device.h"

namespace vorn {

class VORN_API Archive {
 public:
  static constexpr unsigned int READ = 1;
  static constexpr unsigned int WRITE = 2;
  static constexpr unsigned int NATIVE_FORMAT = 4;
  static constexpr unsigned int PORTABLE_FORMAT = 8;

  // Opens `file_name` as open() does.
  Archive(const std::string& file_name, unsigned int mode);
  // Reads and writes `device`, which must outlive the archive (or its
  // close()), from the device's position.
  Archive(Device& device, unsigned int mode);
  // Reads and writes `device`, which the archive closes and destroys.
  Archive(std::unique_ptr<Device> device, unsigned int mode);
  virtual ~Archive();

  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  // Closes any open file, then opens `file_name` through a FileDevice:
  // READ alone opens an existing file for reading, WRITE alone creates or
  // truncates it, READ | WRITE opens it for both, creating it when it does
  // not exist. Adds NATIVE_FORMAT when no format bit is given. On failure
  // the archive is left closed.
  void open(const std::string& file_name, unsigned int mode);
  // As the constructors on devices; READ and WRITE are only recorded in
  // mode(): the device decides what it accepts.
  void open(Device& device, unsigned int mode);
  void open(std::unique_ptr<Device> device, unsigned int mode);

  // Flushes the pending writes and closes the device the archive owns (a
  // device handed in by reference is only flushed); otherwise does nothing.
  // A failure shows in failed() and last_error().
  void close() noexcept;

  // Flushes the pending writes and makes them durable (File::sync for a
  // file). Returns false, and sets failed() and last_error(), on a failure.
  bool sync();

  bool is_open() const noexcept { return device_ != nullptr; }

  // The mode given to open(), completed with the default format bit.
  unsigned int mode() const noexcept { return mode_; }
  bool portable() const noexcept { return (mode_ & PORTABLE_FORMAT) != 0; }

  // True once a read came up short or the device refused a write, a flush
  // or a sync, until the next open() (close() keeps it).
  bool failed() const noexcept { return failed_; }

  // The errno value of the device's last failure (for example ENOSPC), 0
  // when none failed since open().
  int last_error() const noexcept { return last_error_; }

  // True when no byte is left to read.
  bool at_end() const noexcept { return bytes_remaining() == 0; }

  // The bytes between the current position and the end of the file, counting
  // what this archive has written itself. 0 when closed.
  std::uint64_t bytes_remaining() const noexcept { return size_ > position_ ? size_ - position_ : 0; }

  // The bytes before the current position: how many this archive has read or
  // written since it was opened, for a new file.
  std::uint64_t position() const noexcept { return position_; }

  Archive& operator<<(char value);
  Archive& operator<<(signed char value);
  Archive& operator<<(unsigned char value);
  Archive& operator<<(bool value);
  Archive& operator<<(short value);
  Archive& operator<<(unsigned short value);
  Archive& operator<<(int value);
  Archive& operator<<(unsigned int value);
  Archive& operator<<(long value);
  Archive& operator<<(unsigned long value);
  Archive& operator<<(long long value);
  Archive& operator<<(unsigned long long value);
  Archive& operator<<(float value);
  Archive& operator<<(double value);
  Archive& operator<<(long double value);

  Archive& operator>>(char& value);
  Archive& operator>>(signed char& value);
  Archive& operator>>(unsigned char& value);
  Archive& operator>>(bool& value);
  Archive& operator>>(short& value);
  Archive& operator>>(unsigned short& value);
  Archive& operator>>(int& value);
  Archive& operator>>(unsigned int& value);
  Archive& operator>>(long& value);
  Archive& operator>>(unsigned long& value);
  Archive& operator>>(long long& value);
  Archive& operator>>(unsigned long long& value);
  Archive& operator>>(float& value);
  Archive& operator>>(double& value);
  Archive& operator>>(long double& value);

  // Runs of values: the bytes are exactly those of `count` single writes, but
  // converted straight into the device's buffer in large pieces.
  void write_array(const char* values, std::size_t count);
  void write_array(const signed char* values, std::size_t count);
  void write_array(const unsigned char* values, std::size_t count);
  void write_array(const bool* values, std::size_t count);
  void write_array(const short* values, std::size_t count);
  void write_array(const unsigned short* values, std::size_t count);
  void write_array(const int* values, std::size_t count);
  void write_array(const unsigned int* values, std::size_t count);
  void write_array(const long* values, std::size_t count);
  void write_array(const unsigned long* values, std::size_t count);
  void write_array(const long long* values, std::size_t count);
  void write_array(const unsigned long long* values, std::size_t count);
  void write_array(const float* values, std::size_t count);
  void write_array(const double* values, std::size_t count);
  void write_array(const long double* values, std::size_t count);

  // Reads `count` values as `count` single reads would. Returns the number of
  // values read completely; the rest are left as a single read leaves them.
  std::size_t read_array(char* values, std::size_t count);
  std::size_t read_array(signed char* values, std::size_t count);
  std::size_t read_array(unsigned char* values, std::size_t count);
  std::size_t read_array(bool* values, std::size_t count);
  std::size_t read_array(short* values, std::size_t count);
  std::size_t read_array(unsigned short* values, std::size_t count);
  std::size_t read_array(int* values, std::size_t count);
  std::size_t read_array(unsigned int* values, std::size_t count);
  std::size_t read_array(long* values, std::size_t count);
  std::size_t read_array(unsigned long* values, std::size_t count);
  std::size_t read_array(long long* values, std::size_t count);
  std::size_t read_array(unsigned long long* values, std::size_t count);
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
  void attach(Device& device, unsigned int mode);
  void set_mode(unsigned int mode);
  void note_failure() noexcept;
  void zero_rest(unsigned char* data, std::size_t size, std::size_t got) noexcept;
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

  Device* device_ = nullptr;
  std::unique_ptr<Device> owned_device_;
  unsigned int mode_ = 0;
  bool failed_ = false;
  int last_error_ = 0;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_ARCHIVE_H_
