// The encoders' edge values; the common values of each form are pinned by
// the archive's byte tests, and the run loops by its long container runs.
#include "vorn/persistence/detail/Coding.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vorn::detail {
namespace {

using Bytes = std::vector<unsigned char>;
using ::testing::ElementsAreArray;

// The bytes an encoder writes into a buffer of `size` bytes.
Bytes encoded(std::size_t size, const std::function<void(unsigned char*)>& encode) {
  Bytes out(size, 0xAA);
  encode(out.data());
  return out;
}

TEST(Coding, EdgeValuesHaveTheirBytes) {
  constexpr long double x87_infinity = std::numeric_limits<long double>::infinity();
  struct Case {
    const char* name;
    Bytes bytes;
    Bytes want;
  };
  const Case cases[] = {
      {"64-bit word", encoded(8, [](unsigned char* o) { store_big_endian64(0x0102030405060708u, o); }),
       {1, 2, 3, 4, 5, 6, 7, 8}},
      {"portable float minus three quarters", encoded(4, [](unsigned char* o) { encode_portable_float(-0.75f, o); }),
       {0xC0, 0, 0, 0x00}},
      {"portable float negative exponent", encoded(4, [](unsigned char* o) { encode_portable_float(0.25f, o); }),
       {0, 0, 0, 0xFF}},
      {"x87 infinity", encoded(12, [](unsigned char* o) { encode_x87_long_double(x87_infinity, o); }),
       {0, 0, 0x7F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {"x87 minus infinity", encoded(12, [](unsigned char* o) { encode_x87_long_double(-x87_infinity, o); }),
       {0, 0, 0xFF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {"x87 smallest denormal",
       encoded(12, [](unsigned char* o) {
         encode_x87_long_double(std::numeric_limits<long double>::denorm_min(), o);
       }),
       {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01}},
      {"x87 minus zero", encoded(12, [](unsigned char* o) { encode_x87_long_double(-0.0L, o); }),
       {0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(c.bytes, ElementsAreArray(c.want));
  }
  EXPECT_TRUE(fits_counted_length(0xFFFFFFFFu));
  if constexpr (sizeof(std::size_t) > 4) {  // a 32-bit size_t cannot name a longer text
    EXPECT_FALSE(fits_counted_length(static_cast<std::size_t>(std::uint64_t{0xFFFFFFFFu} + 1)));
  }
}

// Values at the ends of each exponent range decode to themselves.
TEST(Coding, EdgeValuesRoundTrip) {
  for (double x : {std::ldexp(1.0, 1022), std::ldexp(-1.0, -1023)}) {
    SCOPED_TRACE(x);
    unsigned char bytes[8];
    encode_portable_double(x, bytes);
    EXPECT_EQ(decode_portable_double(bytes), x);
  }
  for (float x : {std::ldexp(1.9f, 125), 1.2e-38f, std::ldexp(1.0f, -127)}) {
    SCOPED_TRACE(x);
    unsigned char bytes[4];
    encode_portable_float(x, bytes);
    EXPECT_EQ(decode_portable_float(bytes), x);
  }
  for (long double x : {std::numeric_limits<long double>::denorm_min(), std::numeric_limits<long double>::max(),
                        -std::numeric_limits<long double>::infinity(), 1.0L / 3}) {
    SCOPED_TRACE(static_cast<double>(x));
    unsigned char bytes[x87_image_bytes];
    encode_x87_long_double(x, bytes);
    EXPECT_EQ(decode_x87_long_double(bytes), x);
  }
  unsigned char bytes[x87_image_bytes];
  encode_x87_long_double(std::numeric_limits<long double>::quiet_NaN(), bytes);
  EXPECT_TRUE(std::isnan(decode_x87_long_double(bytes)));
  encode_x87_long_double(-0.0L, bytes);
  EXPECT_TRUE(std::signbit(decode_x87_long_double(bytes)));
}

// Values the portable fields cannot hold are refused rather than stored as
// another value (2^127 would spell a float with exponent -128, 2^-129 the
// zero word).
TEST(Coding, PortableFormsRefuseWhatTheyCannotHold) {
  struct Case {
    const char* name;
    bool has_form;
    bool want;
  };
  const Case cases[] = {
      {"float zero", has_portable_float_form(0.0f), true},
      {"largest float below 2^127", has_portable_float_form(std::nextafter(std::ldexp(1.0f, 127), 0.0f)), true},
      {"float 2^127", has_portable_float_form(std::ldexp(1.0f, 127)), false},
      {"float 2^-128", has_portable_float_form(std::ldexp(1.0f, -128)), true},
      {"float 2^-129", has_portable_float_form(std::ldexp(1.0f, -129)), false},
      {"float infinity", has_portable_float_form(std::numeric_limits<float>::infinity()), false},
      {"float NaN", has_portable_float_form(std::numeric_limits<float>::quiet_NaN()), false},
      {"double zero", has_portable_double_form(-0.0), true},
      {"double just below 2^1023", has_portable_double_form(std::nextafter(std::ldexp(1.0, 1023), 0.0)), true},
      {"double 2^1023", has_portable_double_form(std::ldexp(1.0, 1023)), false},
      {"double 2^-1024", has_portable_double_form(std::ldexp(1.0, -1024)), true},
      {"double 2^-1025", has_portable_double_form(std::ldexp(1.0, -1025)), false},
      {"double NaN", has_portable_double_form(std::numeric_limits<double>::quiet_NaN()), false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.has_form, c.want);
  }
}

}  // namespace
}  // namespace vorn::detail
