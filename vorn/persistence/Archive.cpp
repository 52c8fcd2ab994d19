#include "vorn/persistence/Archive.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <sys/stat.h>

namespace vorn {

namespace {

// The portable floating-point form. A value is split into a sign, the 63
// mantissa bits after the leading 1 and a binary exponent; the packed forms
// keep as many of those bits as fit. Scaling by powers of two is exact and
// C++'s float-to-integer conversion truncates, so the words do not depend on
// the floating-point rounding mode.
struct FloatingPointParts {
  std::uint32_t mantissa_high;  // bit 31: sign; bits 30..0: mantissa bits
  std::uint32_t mantissa_low;   // the next 32 mantissa bits
  std::int32_t exponent;
};

struct PackedDouble {
  std::uint32_t word[2];
};

using PackedFloat = std::uint32_t;

constexpr double two_to_32 = 4294967296.0;
constexpr std::uint32_t sign_bit = 0x80000000u;
constexpr PackedDouble packed_double_zero = {{0u, 0x400u}};
constexpr PackedFloat packed_float_zero = 0x80u;

[[noreturn]] void no_portable_form_error(long double value) {
  std::ostringstream message;
  message << "Archive::operator<<: " << value << " has no portable floating-point form";
  throw std::invalid_argument(message.str());
}

// x must be finite and non-zero.
FloatingPointParts deconstruct_double(double x) {
  int e = 0;
  const double m = std::frexp(x, &e);
  const bool negative = m < 0;
  const double a = std::fabs(m) * two_to_32;  // in [2^31, 2^32)
  const auto h = static_cast<std::uint32_t>(a);
  const auto l = static_cast<std::uint32_t>((a - h) * two_to_32);
  return {(h & ~sign_bit) | (negative ? sign_bit : 0u), l, e};
}

double construct_double(const FloatingPointParts& parts) {
  const double m = ((parts.mantissa_high | sign_bit) + parts.mantissa_low / two_to_32) / two_to_32;
  const double value = std::ldexp(m, parts.exponent);
  return (parts.mantissa_high & sign_bit) != 0 ? -value : value;
}

void check_finite(double x) {
  if (!std::isfinite(x)) no_portable_form_error(x);
}

PackedDouble pack_double(double x) {
  check_finite(x);
  if (x == 0) return packed_double_zero;
  const FloatingPointParts parts = deconstruct_double(x);
  return {{parts.mantissa_high,
           (parts.mantissa_low & 0xFFFFF800u) | (static_cast<std::uint32_t>(parts.exponent) & 0x7FFu)}};
}

double unpack_double(const PackedDouble& p) {
  if (p.word[0] == packed_double_zero.word[0] && p.word[1] == packed_double_zero.word[1]) return 0.0;
  const auto exponent = static_cast<std::int32_t>(p.word[1] & 0x3FFu) - static_cast<std::int32_t>(p.word[1] & 0x400u);
  return construct_double({p.word[0], p.word[1] & 0xFFFFF800u, exponent});
}

PackedFloat pack_float(float f) {
  check_finite(f);
  if (f == 0) return packed_float_zero;
  const FloatingPointParts parts = deconstruct_double(f);
  return (parts.mantissa_high & 0xFFFFFF00u) | (static_cast<std::uint32_t>(parts.exponent) & 0xFFu);
}

float unpack_float(PackedFloat w) {
  if (w == packed_float_zero) return 0.0f;
  const auto exponent = static_cast<std::int32_t>(w & 0x7Fu) - static_cast<std::int32_t>(w & 0x80u);
  return static_cast<float>(construct_double({w & 0xFFFFFF00u, 0u, exponent}));
}

// Unsigned integers of 2, 4 and 8 bytes to and from big-endian bytes.
inline void store_big_endian(std::uint16_t v, unsigned char* out) noexcept {
  out[0] = static_cast<unsigned char>(v >> 8);
  out[1] = static_cast<unsigned char>(v);
}

inline void store_big_endian(std::uint32_t v, unsigned char* out) noexcept {
#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  v = __builtin_bswap32(v);
  std::memcpy(out, &v, 4);
#else
  for (int i = 3; i >= 0; --i, v >>= 8) out[i] = static_cast<unsigned char>(v);
#endif
}

inline void store_big_endian(std::uint64_t v, unsigned char* out) noexcept {
#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  v = __builtin_bswap64(v);
  std::memcpy(out, &v, 8);
#else
  for (int i = 7; i >= 0; --i, v >>= 8) out[i] = static_cast<unsigned char>(v);
#endif
}

inline std::uint16_t load_big_endian16(const unsigned char* in) noexcept {
  return static_cast<std::uint16_t>((in[0] << 8) | in[1]);
}

inline std::uint32_t load_big_endian32(const unsigned char* in) noexcept {
#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::uint32_t v;
  std::memcpy(&v, in, 4);
  return __builtin_bswap32(v);
#else
  return (std::uint32_t{in[0]} << 24) | (std::uint32_t{in[1]} << 16) | (std::uint32_t{in[2]} << 8) | in[3];
#endif
}

// Copy n values of 2, 4 or 8 bytes from `in` to `out` in file byte order.
// These loops carry the runs of the common types; on x86-64 they are also
// compiled for AVX2 and chosen at load time.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
#define VORN_ARCHIVE_SWAP_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define VORN_ARCHIVE_SWAP_LOOP
#endif

// Reverses the bytes of each value on a little-endian host and copies them
// unchanged on a big-endian one, so one function serves both directions.
template <class Word>
inline void swap_copy_loop(const unsigned char* in, unsigned char* out, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) {
    Word v;
    std::memcpy(&v, in + i * sizeof(Word), sizeof(Word));
    store_big_endian(v, out + i * sizeof(Word));
  }
}

VORN_ARCHIVE_SWAP_LOOP void swap_copy16(const unsigned char* in, unsigned char* out, std::size_t n) {
  swap_copy_loop<std::uint16_t>(in, out, n);
}

VORN_ARCHIVE_SWAP_LOOP void swap_copy32(const unsigned char* in, unsigned char* out, std::size_t n) {
  swap_copy_loop<std::uint32_t>(in, out, n);
}

VORN_ARCHIVE_SWAP_LOOP void swap_copy64(const unsigned char* in, unsigned char* out, std::size_t n) {
  swap_copy_loop<std::uint64_t>(in, out, n);
}

// In place: with one pointer for both sides the compiler knows the exact
// overlap and still vectorises the loop.
VORN_ARCHIVE_SWAP_LOOP void swap_in_place16(unsigned char* values, std::size_t n) {
  swap_copy_loop<std::uint16_t>(values, values, n);
}

VORN_ARCHIVE_SWAP_LOOP void swap_in_place32(unsigned char* values, std::size_t n) {
  swap_copy_loop<std::uint32_t>(values, values, n);
}

VORN_ARCHIVE_SWAP_LOOP void swap_in_place64(unsigned char* values, std::size_t n) {
  swap_copy_loop<std::uint64_t>(values, values, n);
}

template <std::size_t Width>
void swap_in_place(unsigned char* values, std::size_t n) {
  if constexpr (Width == 2) {
    swap_in_place16(values, n);
  } else if constexpr (Width == 4) {
    swap_in_place32(values, n);
  } else {
    swap_in_place64(values, n);
  }
}

template <std::size_t Width>
void swap_copy(const unsigned char* in, unsigned char* out, std::size_t n) {
  if constexpr (Width == 2) {
    swap_copy16(in, out, n);
  } else if constexpr (Width == 4) {
    swap_copy32(in, out, n);
  } else {
    swap_copy64(in, out, n);
  }
}

// The 12-byte x87 image: 10 value bytes and 2 zero padding bytes, reversed.
// On x86 the host long double is that format, so its first 10 bytes are the
// value (the rest of the host object is padding and is never copied).
constexpr std::size_t x87_value_bytes = 10;
constexpr std::size_t x87_image_bytes = 12;
static_assert(sizeof(long double) >= x87_value_bytes, "long double narrower than the x87 image");

void encode_long_double(long double value, unsigned char* out) noexcept {
  unsigned char image[x87_image_bytes] = {};
  std::memcpy(image, &value, x87_value_bytes);
  for (std::size_t i = 0; i < x87_image_bytes; ++i) out[i] = image[x87_image_bytes - 1 - i];
}

long double decode_long_double(const unsigned char* in) noexcept {
  unsigned char image[sizeof(long double)] = {};
  for (std::size_t i = 0; i < x87_value_bytes; ++i) image[i] = in[x87_image_bytes - 1 - i];
  long double value;
  std::memcpy(&value, image, sizeof(long double));
  return value;
}

[[noreturn]] void closed_error(const char* operation) {
  throw std::runtime_error(std::string("Archive::") + operation + ": the archive is not open");
}

// Conversion buffers: on the stack for short runs, on the heap for long
// ones. The large size is chosen to stay in the second-level cache, so that
// a run is converted between the cache and its target in a single pass.
constexpr std::size_t buffer_bytes = 1 << 12;
constexpr std::size_t large_buffer_bytes = 1 << 20;

class ConversionBuffer {
 public:
  explicit ConversionBuffer(std::size_t wanted) {
    if (wanted > buffer_bytes) {
      // One large buffer per thread, kept for the next run.
      thread_local std::unique_ptr<unsigned char[]> large(new unsigned char[large_buffer_bytes]);
      data_ = large.get();
      size_ = large_buffer_bytes;
    }
  }
  unsigned char* data() noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }

 private:
  unsigned char stack_[buffer_bytes];
  unsigned char* data_ = stack_;
  std::size_t size_ = buffer_bytes;
};

}  // namespace

Archive::Archive(const std::string& file_name, unsigned int mode) { open(file_name, mode); }

Archive::~Archive() { close(); }

void Archive::open(const std::string& file_name, unsigned int mode) {
  close();
  mode_ = mode;
  if ((mode_ & (NATIVE_FORMAT | PORTABLE_FORMAT)) == 0) mode_ |= NATIVE_FORMAT;
  if ((mode_ & NATIVE_FORMAT) != 0 && (mode_ & PORTABLE_FORMAT) != 0)
    throw std::invalid_argument("Archive::open: all formats specified");
  if ((mode_ & READ) != 0 && (mode_ & WRITE) != 0) {
    file_ = std::fopen(file_name.c_str(), "r+b");
    if (file_ == nullptr) file_ = std::fopen(file_name.c_str(), "w+b");
  } else if ((mode_ & READ) != 0) {
    file_ = std::fopen(file_name.c_str(), "rb");
  } else if ((mode_ & WRITE) != 0) {
    file_ = std::fopen(file_name.c_str(), "wb");
  }
  if (file_ == nullptr) throw std::invalid_argument("Archive::open: Couldn't open file: " + file_name);
  struct stat status {};
  if (::fstat(fileno(file_), &status) == 0 && status.st_size > 0) size_ = static_cast<std::uint64_t>(status.st_size);
}

void Archive::close() noexcept {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
  failed_ = false;
  size_ = 0;
  position_ = 0;
}

// Pieces that fit in the space left in the stream's buffer are copied
// there directly, as glibc's own putc and getc macros do byte by byte; that
// costs far less per value than a call of fwrite or fread, and leaves the
// stream in exactly the state the call would.
#if defined(__GLIBC__)
inline bool put_in_buffer(std::FILE* file, const void* data, std::size_t size) noexcept {
  if (size > static_cast<std::size_t>(file->_IO_write_end - file->_IO_write_ptr)) return false;
  std::memcpy(file->_IO_write_ptr, data, size);
  file->_IO_write_ptr += size;
  return true;
}

inline bool get_from_buffer(std::FILE* file, void* data, std::size_t size) noexcept {
  if (size > static_cast<std::size_t>(file->_IO_read_end - file->_IO_read_ptr)) return false;
  std::memcpy(data, file->_IO_read_ptr, size);
  file->_IO_read_ptr += size;
  return true;
}
#else
inline bool put_in_buffer(std::FILE*, const void*, std::size_t) noexcept { return false; }
inline bool get_from_buffer(std::FILE*, void*, std::size_t) noexcept { return false; }
#endif

void Archive::write_bytes(const void* data, std::size_t size) {
  if (file_ == nullptr) closed_error("write");
  const std::size_t written = put_in_buffer(file_, data, size) ? size : fwrite_unlocked(data, 1, size, file_);
  if (written != size) failed_ = true;
  position_ += written;
  if (position_ > size_) size_ = position_;
}

std::size_t Archive::read_bytes(void* data, std::size_t size) {
  if (file_ == nullptr) closed_error("read");
  const std::size_t got = get_from_buffer(file_, data, size) ? size : fread_unlocked(data, 1, size, file_);
  position_ += got;
  if (got != size) {
    failed_ = true;
    std::memset(static_cast<unsigned char*>(data) + got, 0, size - got);
  }
  return got;
}

std::size_t Archive::read_bytes(std::string& text, std::size_t size) {
  if (file_ == nullptr) closed_error("read");
#if defined(__GLIBC__)
  if (size <= static_cast<std::size_t>(file_->_IO_read_end - file_->_IO_read_ptr)) {
    text.assign(file_->_IO_read_ptr, size);
    file_->_IO_read_ptr += size;
    position_ += size;
    return size;
  }
#endif
  text.resize(size);
  return read_bytes(text.data(), size);
}

template <class T>
void Archive::write_integer(T value) {
  unsigned char bytes[sizeof(T)];
  if constexpr (sizeof(T) == 2) {
    store_big_endian(static_cast<std::uint16_t>(value), bytes);
  } else {
    store_big_endian(static_cast<std::uint32_t>(value), bytes);
  }
  write_bytes(bytes, sizeof bytes);
}

template <class T>
void Archive::read_integer(T& value) {
  unsigned char bytes[sizeof(T)];
  read_bytes(bytes, sizeof bytes);
  if constexpr (sizeof(T) == 2) {
    value = static_cast<T>(load_big_endian16(bytes));
  } else {
    value = static_cast<T>(load_big_endian32(bytes));
  }
}

Archive& Archive::operator<<(char value) {
  write_bytes(&value, 1);
  return *this;
}

Archive& Archive::operator<<(unsigned char value) {
  write_bytes(&value, 1);
  return *this;
}

Archive& Archive::operator<<(bool value) {
  const unsigned char byte = value ? 1 : 0;
  write_bytes(&byte, 1);
  return *this;
}

Archive& Archive::operator<<(short value) {
  write_integer(value);
  return *this;
}

Archive& Archive::operator<<(unsigned short value) {
  write_integer(value);
  return *this;
}

Archive& Archive::operator<<(int value) {
  write_integer(value);
  return *this;
}

Archive& Archive::operator<<(unsigned int value) {
  write_integer(value);
  return *this;
}

// long and unsigned long are stored in 4 bytes, whatever their host width.
Archive& Archive::operator<<(long value) {
  write_integer(static_cast<std::int32_t>(value));
  return *this;
}

Archive& Archive::operator<<(unsigned long value) {
  write_integer(static_cast<std::uint32_t>(value));
  return *this;
}

Archive& Archive::operator<<(float value) {
  write_array(&value, 1);
  return *this;
}

Archive& Archive::operator<<(double value) {
  write_array(&value, 1);
  return *this;
}

Archive& Archive::operator<<(long double value) {
  write_array(&value, 1);
  return *this;
}

Archive& Archive::operator>>(char& value) {
  char byte;
  if (read_bytes(&byte, 1) == 1) value = byte;
  return *this;
}

Archive& Archive::operator>>(unsigned char& value) {
  unsigned char byte;
  if (read_bytes(&byte, 1) == 1) value = byte;
  return *this;
}

Archive& Archive::operator>>(bool& value) {
  unsigned char byte;
  if (read_bytes(&byte, 1) == 1) value = byte != 0;
  return *this;
}

Archive& Archive::operator>>(short& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(unsigned short& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(int& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(unsigned int& value) {
  read_integer(value);
  return *this;
}

Archive& Archive::operator>>(long& value) {
  std::int32_t v;
  read_integer(v);
  value = v;
  return *this;
}

Archive& Archive::operator>>(unsigned long& value) {
  std::uint32_t v;
  read_integer(v);
  value = v;
  return *this;
}

Archive& Archive::operator>>(float& value) {
  read_array(&value, 1);
  return *this;
}

Archive& Archive::operator>>(double& value) {
  read_array(&value, 1);
  return *this;
}

Archive& Archive::operator>>(long double& value) {
  read_array(&value, 1);
  return *this;
}

// Encodes `count` values of `Width` bytes each through a fixed buffer, so that
// the C library sees a few large writes.
template <std::size_t Width, class Encode>
void Archive::write_encoded(std::size_t count, Encode encode) {
  if (file_ == nullptr) closed_error("write");
  ConversionBuffer conversion(count * Width);
  unsigned char* buffer = conversion.data();
  const std::size_t per_chunk = conversion.size() / Width;
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = count - done < per_chunk ? count - done : per_chunk;
    for (std::size_t i = 0; i < n; ++i) encode(done + i, buffer + i * Width);
    write_bytes(buffer, n * Width);
    done += n;
  }
}

// Reads `count` values of `Width` bytes each. Past the end of the file the
// buffer holds zero bytes, which decode to the zero-filled values that single
// reads give.
template <std::size_t Width, class Decode>
std::size_t Archive::read_encoded(std::size_t count, Decode decode) {
  if (file_ == nullptr) closed_error("read");
  ConversionBuffer conversion(count * Width);
  unsigned char* buffer = conversion.data();
  const std::size_t per_chunk = conversion.size() / Width;
  std::size_t complete = 0;
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = count - done < per_chunk ? count - done : per_chunk;
    complete += read_bytes(buffer, n * Width) / Width;
    for (std::size_t i = 0; i < n; ++i) decode(done + i, buffer + i * Width);
    done += n;
  }
  return complete;
}

// Values whose host image is their file image with the bytes reversed.
template <std::size_t Width>
void Archive::write_swapped(const void* values, std::size_t count) {
  if (file_ == nullptr) closed_error("write");
  ConversionBuffer conversion(count * Width);
  const auto* in = static_cast<const unsigned char*>(values);
  const std::size_t per_chunk = conversion.size() / Width;
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = count - done < per_chunk ? count - done : per_chunk;
    swap_copy<Width>(in + done * Width, conversion.data(), n);
    write_bytes(conversion.data(), n * Width);
    done += n;
  }
}

// Past the end of the file the values are zero, as single reads leave them.
// Each chunk is read straight into its place and swapped there while it is
// still in the cache.
template <std::size_t Width>
std::size_t Archive::read_swapped(void* values, std::size_t count) {
  if (file_ == nullptr) closed_error("read");
  auto* out = static_cast<unsigned char*>(values);
  constexpr std::size_t per_chunk = large_buffer_bytes / Width;
  std::size_t complete = 0;
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = count - done < per_chunk ? count - done : per_chunk;
    complete += read_bytes(out + done * Width, n * Width) / Width;
    swap_in_place<Width>(out + done * Width, n);
    done += n;
  }
  return complete;
}

// long and unsigned long: stored as the big-endian image of the 4-byte
// `Encoded`, whatever their host size.
template <class T, class Encoded>
void Archive::write_array_as(const T* values, std::size_t count) {
  write_encoded<sizeof(Encoded)>(count, [values](std::size_t i, unsigned char* out) {
    store_big_endian(static_cast<Encoded>(values[i]), out);
  });
}

template <class T, class Encoded>
std::size_t Archive::read_array_as(T* values, std::size_t count) {
  return read_encoded<sizeof(Encoded)>(count, [values](std::size_t i, const unsigned char* in) {
    values[i] = static_cast<T>(static_cast<Encoded>(load_big_endian32(in)));
  });
}

void Archive::write_array(const char* values, std::size_t count) { write_bytes(values, count); }

void Archive::write_array(const unsigned char* values, std::size_t count) { write_bytes(values, count); }

void Archive::write_array(const bool* values, std::size_t count) {
  write_encoded<1>(count, [values](std::size_t i, unsigned char* out) { *out = values[i] ? 1 : 0; });
}

void Archive::write_array(const short* values, std::size_t count) {
  write_swapped<2>(values, count);
}

void Archive::write_array(const unsigned short* values, std::size_t count) {
  write_swapped<2>(values, count);
}

void Archive::write_array(const int* values, std::size_t count) { write_swapped<4>(values, count); }

void Archive::write_array(const unsigned int* values, std::size_t count) {
  write_swapped<4>(values, count);
}

void Archive::write_array(const long* values, std::size_t count) {
  write_array_as<long, std::uint32_t>(values, count);
}

void Archive::write_array(const unsigned long* values, std::size_t count) {
  write_array_as<unsigned long, std::uint32_t>(values, count);
}

void Archive::write_array(const float* values, std::size_t count) {
  if (portable()) {
    write_encoded<4>(count, [values](std::size_t i, unsigned char* out) { store_big_endian(pack_float(values[i]), out); });
  } else {
    write_swapped<4>(values, count);
  }
}

void Archive::write_array(const double* values, std::size_t count) {
  if (portable()) {
    write_encoded<8>(count, [values](std::size_t i, unsigned char* out) {
      const PackedDouble p = pack_double(values[i]);
      store_big_endian(p.word[0], out);
      store_big_endian(p.word[1], out + 4);
    });
  } else {
    write_swapped<8>(values, count);
  }
}

void Archive::write_array(const long double* values, std::size_t count) {
  if (portable()) {
    write_encoded<8>(count, [values](std::size_t i, unsigned char* out) {
      const PackedDouble p = pack_double(static_cast<double>(values[i]));
      store_big_endian(p.word[0], out);
      store_big_endian(p.word[1], out + 4);
    });
  } else {
    write_encoded<x87_image_bytes>(count,
                                   [values](std::size_t i, unsigned char* out) { encode_long_double(values[i], out); });
  }
}

// One-byte values past the end of the file stay unchanged, as single reads
// leave them.
std::size_t Archive::read_array(char* values, std::size_t count) {
  if (file_ == nullptr) closed_error("read");
  const std::size_t got = count == 0 ? 0 : fread_unlocked(values, 1, count, file_);
  position_ += got;
  if (got != count) failed_ = true;
  return got;
}

std::size_t Archive::read_array(unsigned char* values, std::size_t count) {
  return read_array(reinterpret_cast<char*>(values), count);
}

std::size_t Archive::read_array(bool* values, std::size_t count) {
  if (file_ == nullptr) closed_error("read");
  unsigned char buffer[buffer_bytes];
  std::size_t complete = 0;
  while (complete < count) {
    const std::size_t wanted = count - complete < buffer_bytes ? count - complete : buffer_bytes;
    const std::size_t got = fread_unlocked(buffer, 1, wanted, file_);
    position_ += got;
    for (std::size_t i = 0; i < got; ++i) values[complete + i] = buffer[i] != 0;
    complete += got;
    if (got != wanted) {
      failed_ = true;
      break;
    }
  }
  return complete;
}

std::size_t Archive::read_array(short* values, std::size_t count) {
  return read_swapped<2>(values, count);
}

std::size_t Archive::read_array(unsigned short* values, std::size_t count) {
  return read_swapped<2>(values, count);
}

std::size_t Archive::read_array(int* values, std::size_t count) {
  return read_swapped<4>(values, count);
}

std::size_t Archive::read_array(unsigned int* values, std::size_t count) {
  return read_swapped<4>(values, count);
}

std::size_t Archive::read_array(long* values, std::size_t count) {
  return read_array_as<long, std::int32_t>(values, count);
}

std::size_t Archive::read_array(unsigned long* values, std::size_t count) {
  return read_array_as<unsigned long, std::uint32_t>(values, count);
}

std::size_t Archive::read_array(float* values, std::size_t count) {
  if (portable()) {
    return read_encoded<4>(count,
                           [values](std::size_t i, const unsigned char* in) { values[i] = unpack_float(load_big_endian32(in)); });
  }
  return read_swapped<4>(values, count);
}

std::size_t Archive::read_array(double* values, std::size_t count) {
  if (portable()) {
    return read_encoded<8>(count, [values](std::size_t i, const unsigned char* in) {
      values[i] = unpack_double({{load_big_endian32(in), load_big_endian32(in + 4)}});
    });
  }
  return read_swapped<8>(values, count);
}

std::size_t Archive::read_array(long double* values, std::size_t count) {
  if (portable()) {
    return read_encoded<8>(count, [values](std::size_t i, const unsigned char* in) {
      values[i] = unpack_double({{load_big_endian32(in), load_big_endian32(in + 4)}});
    });
  }
  return read_encoded<x87_image_bytes>(count,
                                       [values](std::size_t i, const unsigned char* in) { values[i] = decode_long_double(in); });
}

}  // namespace vorn
