#include "vorn/persistence/detail/Coding.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
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

TEST(Coding, EachFormHasItsBytes) {
  constexpr long double x87_infinity = std::numeric_limits<long double>::infinity();
  constexpr long double x87_smallest = std::numeric_limits<long double>::denorm_min();
  struct Case {
    const char* name;
    Bytes bytes;
    Bytes want;
  };
  const Case cases[] = {
      {"16-bit word", encoded(2, [](unsigned char* o) { store_big_endian16(0x1234, o); }), {0x12, 0x34}},
      {"32-bit word",
       encoded(4, [](unsigned char* o) { store_big_endian32(0xDEADBEEF, o); }),
       {0xDE, 0xAD, 0xBE, 0xEF}},
      {"64-bit word",
       encoded(8, [](unsigned char* o) { store_big_endian64(0x0102030405060708u, o); }),
       {1, 2, 3, 4, 5, 6, 7, 8}},
      {"native float", encoded(4, [](unsigned char* o) { encode_native_float(1.0f, o); }), {0x3F, 0x80, 0, 0}},
      {"native double",
       encoded(8, [](unsigned char* o) { encode_native_double(-2.0, o); }),
       {0xC0, 0, 0, 0, 0, 0, 0, 0}},
      {"portable float one", encoded(4, [](unsigned char* o) { encode_portable_float(1.0f, o); }), {0, 0, 0, 0x01}},
      {"portable float minus three quarters",
       encoded(4, [](unsigned char* o) { encode_portable_float(-0.75f, o); }),
       {0xC0, 0, 0, 0x00}},
      {"portable float zero", encoded(4, [](unsigned char* o) { encode_portable_float(0.0f, o); }), {0, 0, 0, 0x80}},
      {"portable float minus zero",
       encoded(4, [](unsigned char* o) { encode_portable_float(-0.0f, o); }),
       {0, 0, 0, 0x80}},
      {"portable float negative exponent",
       encoded(4, [](unsigned char* o) { encode_portable_float(0.25f, o); }),
       {0, 0, 0, 0xFF}},
      {"portable double one and a half",
       encoded(8, [](unsigned char* o) { encode_portable_double(1.5, o); }),
       {0x40, 0, 0, 0, 0, 0, 0, 0x01}},
      {"portable double zero",
       encoded(8, [](unsigned char* o) { encode_portable_double(0.0, o); }),
       {0, 0, 0, 0, 0, 0, 0x04, 0x00}},
      {"portable double minus zero",
       encoded(8, [](unsigned char* o) { encode_portable_double(-0.0, o); }),
       {0, 0, 0, 0, 0, 0, 0x04, 0x00}},
      {"portable double negative exponent",
       encoded(8, [](unsigned char* o) { encode_portable_double(-0.25, o); }),
       {0x80, 0, 0, 0, 0, 0, 0x07, 0xFF}},
      {"x87 one",
       encoded(12, [](unsigned char* o) { encode_x87_long_double(1.0L, o); }),
       {0, 0, 0x3F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {"x87 infinity",
       encoded(12, [](unsigned char* o) { encode_x87_long_double(x87_infinity, o); }),
       {0, 0, 0x7F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {"x87 minus infinity",
       encoded(12, [](unsigned char* o) { encode_x87_long_double(-x87_infinity, o); }),
       {0, 0, 0xFF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {"x87 smallest denormal",
       encoded(12, [](unsigned char* o) { encode_x87_long_double(x87_smallest, o); }),
       {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01}},
      {"x87 minus zero",
       encoded(12, [](unsigned char* o) { encode_x87_long_double(-0.0L, o); }),
       {0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(c.bytes, ElementsAreArray(c.want));
  }
}

TEST(Coding, CountedStrings) {
  struct Case {
    const char* name;
    std::string text;
    std::string want;
  };
  const Case cases[] = {
      {"empty", "", std::string(4, '\0')},
      {"plain", "ab", std::string("\0\0\0\x02" "ab", 6)},
      {"zero bytes kept", std::string("a\0b", 3), std::string("\0\0\0\x03" "a\0b", 7)},
      {"length past one byte", std::string(300, 'x'), std::string("\0\0\x01\x2C", 4) + std::string(300, 'x')},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string appended = "prefix";
    append_counted_string(appended, c.text);
    EXPECT_EQ(appended, "prefix" + c.want);

    struct Sink {
      std::string bytes;
      void write_bytes(const void* data, std::size_t size) { bytes.append(static_cast<const char*>(data), size); }
    } sink;
    put_counted_string(sink, c.text);
    EXPECT_EQ(sink.bytes, c.want);
  }
  EXPECT_TRUE(fits_counted_length(0xFFFFFFFFu));
  EXPECT_FALSE(fits_counted_length(std::size_t{0xFFFFFFFFu} + 1));
}

TEST(Coding, FloatingPointRoundTrips) {
  for (double x : {1.0, -0.375, 0.1, 1.0 / 3, -1e300, 1e-300, 123456789.125, std::ldexp(1.0, 1022),
                   std::ldexp(-1.0, -1023)}) {
    SCOPED_TRACE(x);
    unsigned char bytes[8];
    encode_portable_double(x, bytes);
    EXPECT_EQ(decode_portable_double(bytes), x);
    encode_native_double(x, bytes);
    EXPECT_EQ(decode_native_double(bytes), x);
  }
  for (float x : {1.0f, -0.375f, 0.1f, std::ldexp(1.9f, 125), 1.2e-38f, std::ldexp(1.0f, -127)}) {
    SCOPED_TRACE(x);
    unsigned char bytes[4];
    encode_portable_float(x, bytes);
    EXPECT_EQ(decode_portable_float(bytes), x);
    encode_native_float(x, bytes);
    EXPECT_EQ(decode_native_float(bytes), x);
  }
  const long double extremes[] = {std::numeric_limits<long double>::denorm_min(),
                                  std::numeric_limits<long double>::max(),
                                  -std::numeric_limits<long double>::infinity(), 1.0L / 3};
  for (long double x : extremes) {
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
      {"largest float", has_portable_float_form(std::numeric_limits<float>::max()), false},
      {"float 2^-128", has_portable_float_form(std::ldexp(1.0f, -128)), true},
      {"float 2^-129", has_portable_float_form(std::ldexp(1.0f, -129)), false},
      {"float infinity", has_portable_float_form(std::numeric_limits<float>::infinity()), false},
      {"float NaN", has_portable_float_form(std::numeric_limits<float>::quiet_NaN()), false},
      {"double zero", has_portable_double_form(-0.0), true},
      {"double just below 2^1023", has_portable_double_form(std::nextafter(std::ldexp(1.0, 1023), 0.0)), true},
      {"double 2^1023", has_portable_double_form(std::ldexp(1.0, 1023)), false},
      {"double 2^-1024", has_portable_double_form(std::ldexp(1.0, -1024)), true},
      {"double 2^-1025", has_portable_double_form(std::ldexp(1.0, -1025)), false},
      {"smallest double", has_portable_double_form(std::numeric_limits<double>::denorm_min()), false},
      {"double NaN", has_portable_double_form(std::numeric_limits<double>::quiet_NaN()), false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.has_form, c.want);
  }
}

// Each run loop against the single-value store of the same width, on a
// count that leaves a tail after any vector width.
TEST(Coding, RunsGiveTheBytesOfSingleWords) {
  constexpr std::size_t count = 37;
  Bytes host(count * 8);
  for (std::size_t i = 0; i < host.size(); ++i) host[i] = static_cast<unsigned char>(i * 7 + 1);
  struct Case {
    const char* name;
    std::size_t width;
    void (*copy)(const unsigned char*, unsigned char*, std::size_t) noexcept;
    void (*in_place)(unsigned char*, std::size_t) noexcept;
  };
  const Case cases[] = {{"16", 2, swap_copy16, swap_in_place16},
                        {"32", 4, swap_copy32, swap_in_place32},
                        {"64", 8, swap_copy64, swap_in_place64}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes want(count * c.width);
    for (std::size_t i = 0; i < count; ++i) {
      const unsigned char* in = host.data() + i * c.width;
      unsigned char* out = want.data() + i * c.width;
      std::uint64_t v = 0;
      std::memcpy(&v, in, c.width);  // little-endian host: the low bytes
      if (c.width == 2) store_big_endian16(static_cast<std::uint16_t>(v), out);
      if (c.width == 4) store_big_endian32(static_cast<std::uint32_t>(v), out);
      if (c.width == 8) store_big_endian64(v, out);
    }
    Bytes copied(count * c.width);
    c.copy(host.data(), copied.data(), count);
    EXPECT_EQ(copied, want);
    Bytes swapped(host.begin(), host.begin() + static_cast<std::ptrdiff_t>(count * c.width));
    c.in_place(swapped.data(), count);
    EXPECT_EQ(swapped, want);
  }
}

}  // namespace
}  // namespace vorn::detail
