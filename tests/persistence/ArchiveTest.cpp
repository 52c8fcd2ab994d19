#include "vorn/persistence/Archive.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <list>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn {
namespace {

using test::Bytes;
using test::TempFile;
using ::testing::ElementsAreArray;
using ::testing::ThrowsMessage;

Bytes written_bytes(unsigned int format, const std::function<void(Archive&)>& write) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE | format);
    write(archive);
  }
  const std::string bytes = memory.take();
  return {bytes.begin(), bytes.end()};
}

// The native bytes of every type are pinned by the golden graph archive and
// the edge values by the coding tests; these are the portable forms neither
// has: signs, zeros, a tiny exponent, and a long double stored as a double.
TEST(ArchiveEncoding, PortableFormsOfSignsAndZeros) {
  EXPECT_THAT(written_bytes(Archive::PORTABLE_FORMAT,
                            [](Archive& a) {
                              a << 1.0f << -1.0f << 0.0f << -0.0f << 0.75f << std::ldexp(1.0f, -100) << 0.0 << -0.0
                                << 1.0L;
                            }),
              ElementsAreArray(Bytes{0x00, 0x00, 0x00, 0x01, 0x80, 0x00, 0x00, 0x01,  // 1.0f, -1.0f
                                     0x00, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x80,  // both float zeros
                                     0x40, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9D,  // 0.75f, 2^-100
                                     0, 0, 0, 0, 0x00, 0x00, 0x04, 0x00,              // 0.0
                                     0, 0, 0, 0, 0x00, 0x00, 0x04, 0x00,              // -0.0
                                     0, 0, 0, 0, 0x00, 0x00, 0x00, 0x01}));           // 1.0L as a double
}

// The portable double keeps the IEEE mantissa and the frexp exponent, so its
// words can be derived independently from the IEEE image.
TEST(ArchiveEncoding, PortableDoubleWordsFollowFromTheIeeeImage) {
  for (double x : {1.0, -0.375, 0.1, -0.1, 1.0 / 3, 123456789.125, -1e300, 1e-300, DBL_MAX / 4, 3.0, -7.5e-5}) {
    SCOPED_TRACE(x);
    std::uint64_t bits;
    std::memcpy(&bits, &x, 8);
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
    const auto exponent = static_cast<std::uint32_t>(static_cast<int>((bits >> 52) & 0x7FF) - 1022);
    const std::uint64_t words = (fraction << 11) | (exponent & 0x7FF) | (x < 0 ? std::uint64_t{1} << 63 : 0);
    Bytes expected;
    for (int shift = 56; shift >= 0; shift -= 8) expected.push_back(static_cast<unsigned char>(words >> shift));
    EXPECT_THAT(written_bytes(Archive::PORTABLE_FORMAT, [x](Archive& a) { a << x; }), ElementsAreArray(expected));
  }
}

TEST(ArchiveEncoding, PortableReadBackAndRefusals) {
  MemoryDevice memory;
  {
    Archive out(memory, Archive::WRITE | Archive::PORTABLE_FORMAT);
    EXPECT_THROW(out << std::numeric_limits<double>::infinity(), std::invalid_argument);
    EXPECT_THAT([&] { out << std::numeric_limits<float>::max(); },
                ThrowsMessage<std::invalid_argument>(
                    "Archive::operator<<: 3.40282e+38 has no portable floating-point form"));
    EXPECT_THROW(out << std::numeric_limits<long double>::max(), std::invalid_argument);
    out << 1.0L / 3 << -0.0 << -0.0f;
  }
  MemoryDevice input(memory.take());
  Archive in(input, Archive::READ | Archive::PORTABLE_FORMAT);
  std::tuple<long double, double, float> read{0, 1, 1};
  in >> std::get<0>(read) >> std::get<1>(read) >> std::get<2>(read);
  EXPECT_EQ(read, std::make_tuple(static_cast<long double>(static_cast<double>(1.0L / 3)), 0.0, 0.0f));
  EXPECT_FALSE(std::signbit(std::get<1>(read)) || std::signbit(std::get<2>(read)));  // zeros lose their sign
  EXPECT_TRUE(in.at_end());
}

// Both devices end the same way: the bytes that are there, then zeros.
TEST(ArchiveShortReads, DetectableZeroFilledAndClearedByReopening) {
  const unsigned char two_bytes[] = {0x12, 0x34};
  TempFile file;
  file.set_bytes({0x12, 0x34});
  std::list<MemoryDevice> memory;  // a fresh device for each opening, at a stable address
  const std::function<void(Archive&)> open_file = [&](Archive& a) { a.open(file.name(), Archive::READ); };
  const std::function<void(Archive&)> open_memory = [&](Archive& a) {
    a.open(memory.emplace_back(two_bytes, sizeof two_bytes), Archive::READ);
  };
  for (const auto& [name, reopen] : {std::pair("file", open_file), std::pair("memory", open_memory)}) {
    SCOPED_TRACE(name);
    Archive in(file.name(), Archive::READ);
    reopen(in);
    EXPECT_EQ(in.bytes_remaining(), 2u);
    int value = -1;
    in >> value;
    EXPECT_EQ(value, 0x12340000);  // the two bytes that were there, then zeros
    EXPECT_TRUE(in.failed());
    EXPECT_EQ(in.last_error(), 0);  // the end is not a failure of the device
    EXPECT_TRUE(in.at_end());
    std::tuple<char, bool, double, long double> more{'q', true, 1, 1};
    in >> std::get<0>(more) >> std::get<1>(more) >> std::get<2>(more) >> std::get<3>(more);
    EXPECT_EQ(more, std::make_tuple('q', true, 0.0, 0.0L));  // the 1-byte types keep their values
    std::vector<int> run(3, 7);
    EXPECT_EQ(in.read_array(run.data(), run.size()), 0u);
    EXPECT_EQ(run, std::vector<int>(3, 0));
    std::vector<long double> wide(3, 7);
    EXPECT_EQ(in.read_array(wide.data(), wide.size()), 0u);
    EXPECT_EQ(wide, std::vector<long double>(3, 0));

    in.close();
    EXPECT_TRUE(in.failed());  // until the next open
    reopen(in);
    EXPECT_FALSE(in.failed());
    EXPECT_EQ(in.bytes_remaining(), 2u);
  }
}

TEST(ArchiveOpen, ModesFailuresReopeningAndClosing) {
  TempFile file;
  {
    Archive a(file.name(), Archive::READ | Archive::WRITE);  // creates the missing file
    EXPECT_EQ(a.mode(), 7u);
    a << 5;
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 5}));
  EXPECT_EQ(Archive(file.name(), 3).bytes_remaining(), 4u);  // keeps the existing contents
  { Archive a(file.name(), Archive::WRITE | Archive::PORTABLE_FORMAT); }  // truncates
  EXPECT_TRUE(file.bytes().empty());

  const std::string missing = file.name() + ".missing";
  EXPECT_THAT([&] { Archive(missing, Archive::READ); },
              ThrowsMessage<std::invalid_argument>("Archive::open: Couldn't open file: " + missing));
  EXPECT_THAT([&] { Archive(missing, Archive::READ | Archive::WRITE | 12); },
              ThrowsMessage<std::invalid_argument>("Archive::open: all formats specified"));
  EXPECT_NE(std::remove(missing.c_str()), 0);  // the refused opens created nothing
  EXPECT_THROW(Archive(file.name(), Archive::NATIVE_FORMAT), std::invalid_argument);

  TempFile second;
  Archive a(file.name(), Archive::WRITE);
  a << 1;
  a.open(second.name(), Archive::WRITE);  // closes and so flushes the first file
  a << 'z';
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 1}));
  a.close();
  a.close();
  EXPECT_FALSE(a.is_open());
  EXPECT_EQ(second.bytes(), (Bytes{'z'}));
  EXPECT_THROW(a << 1, std::runtime_error);
  int v;
  EXPECT_THROW(a >> v, std::runtime_error);
}

TEST(VersionedArchive, VersionIsSixUntilTheReaderSetsIt) {
  MemoryDevice memory;
  {
    VersionedArchive out(memory, Archive::WRITE);
    out << out.file_version;
  }
  EXPECT_EQ(memory.take(), std::string("\0\0\0\x06", 4));  // the class itself writes nothing else
  const unsigned char four[] = {0, 0, 0, 4};
  MemoryDevice file(four, sizeof four);
  VersionedArchive in(file, Archive::READ);
  in >> in.file_version;
  const Archive& as_archive = in;
  EXPECT_TRUE(VersionedArchive::is_versioned(as_archive));
  EXPECT_EQ(VersionedArchive::version(as_archive), 4);

  Archive plain(file, Archive::READ);
  EXPECT_FALSE(VersionedArchive::is_versioned(plain));
  EXPECT_THAT([&] { VersionedArchive::version(plain); },
              ThrowsMessage<std::runtime_error>("VersionedArchive::version() - file is not versioned"));
}

}  // namespace
}  // namespace vorn
