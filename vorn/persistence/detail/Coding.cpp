#include "vorn/persistence/detail/Coding.h"

#include <cmath>

namespace vorn::detail {

namespace {

// The portable form works on these parts of a finite, non-zero value.
// Scaling by powers of two is exact and C++'s float-to-integer conversion
// truncates, so the words do not depend on the floating-point rounding mode.
struct FloatingPointParts {
  std::uint32_t mantissa_high;  // bit 31: sign; bits 30..0: mantissa bits
  std::uint32_t mantissa_low;   // the next 32 mantissa bits
  std::int32_t exponent;
};

constexpr double two_to_32 = 4294967296.0;
constexpr std::uint32_t sign_bit = 0x80000000u;
constexpr std::uint32_t portable_double_zero_high = 0u;
constexpr std::uint32_t portable_double_zero_low = 0x400u;
constexpr std::uint32_t portable_float_zero = 0x80u;

FloatingPointParts deconstruct(double x) noexcept {
  int e = 0;
  const double m = std::frexp(x, &e);
  const bool negative = m < 0;
  const double a = std::fabs(m) * two_to_32;  // in [2^31, 2^32)
  const auto h = static_cast<std::uint32_t>(a);
  const auto l = static_cast<std::uint32_t>((a - h) * two_to_32);
  return {(h & ~sign_bit) | (negative ? sign_bit : 0u), l, e};
}

double construct(const FloatingPointParts& parts) noexcept {
  const double m = ((parts.mantissa_high | sign_bit) + parts.mantissa_low / two_to_32) / two_to_32;
  const double value = std::ldexp(m, parts.exponent);
  return (parts.mantissa_high & sign_bit) != 0 ? -value : value;
}

template <class Word>
inline void swap_copy_loop(const unsigned char* in, unsigned char* out, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) {
    Word v;
    std::memcpy(&v, in + i * sizeof(Word), sizeof(Word));
    if constexpr (sizeof(Word) == 2) {
      store_big_endian16(v, out + i * sizeof(Word));
    } else if constexpr (sizeof(Word) == 4) {
      store_big_endian32(v, out + i * sizeof(Word));
    } else {
      store_big_endian64(v, out + i * sizeof(Word));
    }
  }
}

}  // namespace

#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
#define VORN_CODING_SWAP_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define VORN_CODING_SWAP_LOOP
#endif

VORN_CODING_SWAP_LOOP void swap_copy16(const unsigned char* in, unsigned char* out, std::size_t n) noexcept {
  swap_copy_loop<std::uint16_t>(in, out, n);
}

VORN_CODING_SWAP_LOOP void swap_copy32(const unsigned char* in, unsigned char* out, std::size_t n) noexcept {
  swap_copy_loop<std::uint32_t>(in, out, n);
}

VORN_CODING_SWAP_LOOP void swap_copy64(const unsigned char* in, unsigned char* out, std::size_t n) noexcept {
  swap_copy_loop<std::uint64_t>(in, out, n);
}

VORN_CODING_SWAP_LOOP void swap_in_place16(unsigned char* values, std::size_t n) noexcept {
  swap_copy_loop<std::uint16_t>(values, values, n);
}

VORN_CODING_SWAP_LOOP void swap_in_place32(unsigned char* values, std::size_t n) noexcept {
  swap_copy_loop<std::uint32_t>(values, values, n);
}

VORN_CODING_SWAP_LOOP void swap_in_place64(unsigned char* values, std::size_t n) noexcept {
  swap_copy_loop<std::uint64_t>(values, values, n);
}

#undef VORN_CODING_SWAP_LOOP

namespace {

// Zero, or finite with a frexp exponent in (-2^(bits-1), 2^(bits-1)). The
// lowest exponent of the field is left out: with an empty mantissa it would
// spell the zero word.
bool fits_portable_exponent(double value, int bits) noexcept {
  if (value == 0) return true;
  if (!std::isfinite(value)) return false;
  int e = 0;
  std::frexp(value, &e);
  return e > -(1 << (bits - 1)) && e < (1 << (bits - 1));
}

}  // namespace

bool has_portable_float_form(float value) noexcept { return fits_portable_exponent(value, 8); }

bool has_portable_double_form(double value) noexcept { return fits_portable_exponent(value, 11); }

void encode_portable_float(float value, unsigned char* out) noexcept {
  std::uint32_t word = portable_float_zero;
  if (value != 0) {
    const FloatingPointParts parts = deconstruct(value);
    word = (parts.mantissa_high & 0xFFFFFF00u) | (static_cast<std::uint32_t>(parts.exponent) & 0xFFu);
  }
  store_big_endian32(word, out);
}

float decode_portable_float(const unsigned char* in) noexcept {
  const std::uint32_t word = load_big_endian32(in);
  if (word == portable_float_zero) return 0.0f;
  const auto exponent = static_cast<std::int32_t>(word & 0x7Fu) - static_cast<std::int32_t>(word & 0x80u);
  return static_cast<float>(construct({word & 0xFFFFFF00u, 0u, exponent}));
}

void encode_portable_double(double value, unsigned char* out) noexcept {
  std::uint32_t high = portable_double_zero_high;
  std::uint32_t low = portable_double_zero_low;
  if (value != 0) {
    const FloatingPointParts parts = deconstruct(value);
    high = parts.mantissa_high;
    low = (parts.mantissa_low & 0xFFFFF800u) | (static_cast<std::uint32_t>(parts.exponent) & 0x7FFu);
  }
  store_big_endian32(high, out);
  store_big_endian32(low, out + 4);
}

double decode_portable_double(const unsigned char* in) noexcept {
  const std::uint32_t high = load_big_endian32(in);
  const std::uint32_t low = load_big_endian32(in + 4);
  if (high == portable_double_zero_high && low == portable_double_zero_low) return 0.0;
  const auto exponent = static_cast<std::int32_t>(low & 0x3FFu) - static_cast<std::int32_t>(low & 0x400u);
  return construct({high, low & 0xFFFFF800u, exponent});
}

// On x86 the host long double is the x87 format, so its first 10 bytes are
// the value (the rest of the host object is padding and is never copied).
namespace {
constexpr std::size_t x87_value_bytes = 10;
static_assert(sizeof(long double) >= x87_value_bytes, "long double narrower than the x87 image");
}  // namespace

void encode_x87_long_double(long double value, unsigned char* out) noexcept {
  unsigned char image[x87_image_bytes] = {};
  std::memcpy(image, &value, x87_value_bytes);
  for (std::size_t i = 0; i < x87_image_bytes; ++i) out[i] = image[x87_image_bytes - 1 - i];
}

long double decode_x87_long_double(const unsigned char* in) noexcept {
  unsigned char image[sizeof(long double)] = {};
  for (std::size_t i = 0; i < x87_value_bytes; ++i) image[i] = in[x87_image_bytes - 1 - i];
  long double value;
  std::memcpy(&value, image, sizeof(long double));
  return value;
}

}  // namespace vorn::detail
