// Internal: do not include this file directly.
//
// The archive's byte forms, in one place: big-endian words, the native and
// portable floating-point images, the 12-byte x87 long double image and
// counted strings. Archive, the archive streams and the database's entry
// files all encode and decode through these functions.
//
//   unsigned char bytes[4];
//   vorn::detail::store_big_endian32(42, bytes);         // 00 00 00 2A
//   vorn::detail::encode_portable_double(1.5, bytes8);    // 40 00 00 00 00 00 00 01
//   std::string image;
//   vorn::detail::append_counted_string(image, "ab");     // 00 00 00 02 'a' 'b'
//
// Nothing here throws: the callers check the preconditions (a value that has
// a portable form, a length that fits 32 bits for counted strings)
// and raise their own errors.
#ifndef VORN_PERSISTENCE_DETAIL_CODING_H_
#define VORN_PERSISTENCE_DETAIL_CODING_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

namespace vorn::detail {

// ---- Big-endian words ----------------------------------------------------

inline void store_big_endian16(std::uint16_t v, unsigned char* out) noexcept {
  out[0] = static_cast<unsigned char>(v >> 8);
  out[1] = static_cast<unsigned char>(v);
}

inline void store_big_endian32(std::uint32_t v, unsigned char* out) noexcept {
#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  v = __builtin_bswap32(v);
  std::memcpy(out, &v, 4);
#else
  for (int i = 3; i >= 0; --i, v >>= 8) out[i] = static_cast<unsigned char>(v);
#endif
}

inline void store_big_endian64(std::uint64_t v, unsigned char* out) noexcept {
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

inline std::uint64_t load_big_endian64(const unsigned char* in) noexcept {
  return (std::uint64_t{load_big_endian32(in)} << 32) | load_big_endian32(in + 4);
}

// Appends the four big-endian bytes of `v` to `out`.
inline void append_big_endian32(std::string& out, std::uint32_t v) {
  unsigned char bytes[4];
  store_big_endian32(v, bytes);
  out.append(reinterpret_cast<const char*>(bytes), 4);
}

// ---- Host integers stored in 4 bytes -------------------------------------
//
// long and unsigned long are stored as 32-bit words whatever their host
// width; only values in the 32-bit range of their signedness have that form.

inline bool fits_archived_long(long value) noexcept {
  return value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max();
}

inline bool fits_archived_long(unsigned long value) noexcept {
  return value <= std::numeric_limits<std::uint32_t>::max();
}

// The index of the first value of values[0, count) without a 4-byte form,
// or count.
template <class T>
std::size_t first_unfit_archived_long(const T* values, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i)
    if (!fits_archived_long(values[i])) return i;
  return count;
}

// ---- Runs of words -------------------------------------------------------
//
// `n` values of 2, 4 or 8 bytes copied between host order and file order.
// The same function serves both directions: it reverses the bytes of each
// value on a little-endian host and copies them on a big-endian one. These
// loops carry the runs of the common types; on x86-64 with GCC they are also
// compiled for AVX2 and chosen when the program loads.

void swap_copy16(const unsigned char* in, unsigned char* out, std::size_t n) noexcept;
void swap_copy32(const unsigned char* in, unsigned char* out, std::size_t n) noexcept;
void swap_copy64(const unsigned char* in, unsigned char* out, std::size_t n) noexcept;

// In place: with one pointer for both sides the compiler knows the exact
// overlap and still vectorises the loop.
void swap_in_place16(unsigned char* values, std::size_t n) noexcept;
void swap_in_place32(unsigned char* values, std::size_t n) noexcept;
void swap_in_place64(unsigned char* values, std::size_t n) noexcept;

template <std::size_t Width>
void swap_copy(const unsigned char* in, unsigned char* out, std::size_t n) noexcept {
  static_assert(Width == 2 || Width == 4 || Width == 8, "words are 2, 4 or 8 bytes");
  if constexpr (Width == 2) {
    swap_copy16(in, out, n);
  } else if constexpr (Width == 4) {
    swap_copy32(in, out, n);
  } else {
    swap_copy64(in, out, n);
  }
}

template <std::size_t Width>
void swap_in_place(unsigned char* values, std::size_t n) noexcept {
  static_assert(Width == 2 || Width == 4 || Width == 8, "words are 2, 4 or 8 bytes");
  if constexpr (Width == 2) {
    swap_in_place16(values, n);
  } else if constexpr (Width == 4) {
    swap_in_place32(values, n);
  } else {
    swap_in_place64(values, n);
  }
}

// ---- Floating point ------------------------------------------------------
//
// Native: the IEEE single and double images as big-endian words.
// Portable: the value split into sign, mantissa bits after the leading 1 and
// a binary exponent, packed as
//   float:  one word, the sign and 23 mantissa bits, then an 8-bit exponent
//           (zero is 00 00 00 80);
//   double: two words, the sign and 52 mantissa bits, then an 11-bit
//           exponent (zero is 00 00 00 00 00 00 04 00).
// Extra mantissa bits are truncated and -0.0 is stored as 0.0. Infinities,
// NaNs and values whose binary exponent does not fit the field (floats from
// 2^127 up or below 2^-128, doubles from 2^1023 up or below 2^-1024) have
// no portable form: the encoders require a value that has one.

constexpr std::size_t portable_float_bytes = 4;
constexpr std::size_t portable_double_bytes = 8;

inline void encode_native_float(float value, unsigned char* out) noexcept {
  std::uint32_t bits;
  std::memcpy(&bits, &value, 4);
  store_big_endian32(bits, out);
}

inline float decode_native_float(const unsigned char* in) noexcept {
  const std::uint32_t bits = load_big_endian32(in);
  float value;
  std::memcpy(&value, &bits, 4);
  return value;
}

inline void encode_native_double(double value, unsigned char* out) noexcept {
  std::uint64_t bits;
  std::memcpy(&bits, &value, 8);
  store_big_endian64(bits, out);
}

inline double decode_native_double(const unsigned char* in) noexcept {
  const std::uint64_t bits = load_big_endian64(in);
  double value;
  std::memcpy(&value, &bits, 8);
  return value;
}

bool has_portable_float_form(float value) noexcept;
bool has_portable_double_form(double value) noexcept;

// `value` must have a portable form.
void encode_portable_float(float value, unsigned char* out) noexcept;
float decode_portable_float(const unsigned char* in) noexcept;

// `value` must have a portable form.
void encode_portable_double(double value, unsigned char* out) noexcept;
double decode_portable_double(const unsigned char* in) noexcept;

// The x87 extended image of a long double: its 10 value bytes and 2 zero
// padding bytes, all reversed, so the file holds 00 00 then the value
// big-endian. Decoding ignores the padding bytes.
constexpr std::size_t x87_image_bytes = 12;
void encode_x87_long_double(long double value, unsigned char* out) noexcept;
long double decode_x87_long_double(const unsigned char* in) noexcept;

// ---- Counted strings -----------------------------------------------------
//
// A 32-bit big-endian length, then the bytes, with no terminator.

constexpr std::size_t counted_length_bytes = 4;

inline bool fits_counted_length(std::size_t size) noexcept {
  return size <= std::numeric_limits<std::uint32_t>::max();
}

// `text` must fit a counted length.
inline void append_counted_string(std::string& out, std::string_view text) {
  append_big_endian32(out, static_cast<std::uint32_t>(text.size()));
  out.append(text.data(), text.size());
}

// Writes `text` to anything with write_bytes(const void*, std::size_t), such
// as an Archive. `text` must fit a counted length.
template <class Sink>
void put_counted_string(Sink& sink, std::string_view text) {
  unsigned char length[counted_length_bytes];
  store_big_endian32(static_cast<std::uint32_t>(text.size()), length);
  sink.write_bytes(length, counted_length_bytes);
  sink.write_bytes(text.data(), text.size());
}

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_CODING_H_
