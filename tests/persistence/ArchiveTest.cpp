#include "vorn/persistence/Archive.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn {
namespace {

using test::Bytes;
using test::TempFile;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

Bytes written_bytes(unsigned int format, const std::function<void(Archive&)>& write) {
  TempFile file;
  {
    Archive archive(file.name(), Archive::WRITE | format);
    write(archive);
  }
  return file.bytes();
}

TEST(ArchiveEncoding, EachTypeHasItsDocumentedBytes) {
  struct Case {
    const char* name;
    unsigned int format;
    std::function<void(Archive&)> write;
    Bytes expected;
  };
  const unsigned N = Archive::NATIVE_FORMAT;
  const unsigned P = Archive::PORTABLE_FORMAT;
  const std::vector<Case> cases = {
      {"char", N, [](Archive& a) { a << 'A'; }, {0x41}},
      {"unsigned char", N, [](Archive& a) { a << static_cast<unsigned char>(0xFE); }, {0xFE}},
      {"bool", N, [](Archive& a) { a << true << false; }, {0x01, 0x00}},
      {"short -2", N, [](Archive& a) { a << static_cast<short>(-2); }, {0xFF, 0xFE}},
      {"unsigned short", N, [](Archive& a) { a << static_cast<unsigned short>(0x1234); }, {0x12, 0x34}},
      {"int 1", N, [](Archive& a) { a << 1; }, {0x00, 0x00, 0x00, 0x01}},
      {"int min", N, [](Archive& a) { a << INT_MIN; }, {0x80, 0x00, 0x00, 0x00}},
      {"unsigned int", N, [](Archive& a) { a << 0xDEADBEEFu; }, {0xDE, 0xAD, 0xBE, 0xEF}},
      {"long -1 in 4 bytes", N, [](Archive& a) { a << -1L; }, {0xFF, 0xFF, 0xFF, 0xFF}},
      {"unsigned long keeps 32 bits", N, [](Archive& a) { a << 0x100000002UL; }, {0x00, 0x00, 0x00, 0x02}},
      {"native float 1", N, [](Archive& a) { a << 1.0f; }, {0x3F, 0x80, 0x00, 0x00}},
      {"native double -2", N, [](Archive& a) { a << -2.0; }, {0xC0, 0x00, 0, 0, 0, 0, 0, 0}},
      {"native long double 1", N, [](Archive& a) { a << 1.0L; },
       {0x00, 0x00, 0x3F, 0xFF, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
      {"native long double -3", N, [](Archive& a) { a << -3.0L; },
       {0x00, 0x00, 0xC0, 0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
      {"portable float 1", P, [](Archive& a) { a << 1.0f; }, {0x00, 0x00, 0x00, 0x01}},
      {"portable float -1", P, [](Archive& a) { a << -1.0f; }, {0x80, 0x00, 0x00, 0x01}},
      {"portable float 0", P, [](Archive& a) { a << 0.0f; }, {0x00, 0x00, 0x00, 0x80}},
      {"portable float -0", P, [](Archive& a) { a << -0.0f; }, {0x00, 0x00, 0x00, 0x80}},
      {"portable float 0.75", P, [](Archive& a) { a << 0.75f; }, {0x40, 0x00, 0x00, 0x00}},
      {"portable float 2^-100", P, [](Archive& a) { a << std::ldexp(1.0f, -100); },
       {0x00, 0x00, 0x00, 0x9D}},
      {"portable double 1", P, [](Archive& a) { a << 1.0; }, {0, 0, 0, 0, 0x00, 0x00, 0x00, 0x01}},
      {"portable double 0", P, [](Archive& a) { a << 0.0; }, {0, 0, 0, 0, 0x00, 0x00, 0x04, 0x00}},
      {"portable double -0", P, [](Archive& a) { a << -0.0; }, {0, 0, 0, 0, 0x00, 0x00, 0x04, 0x00}},
      {"portable double -0.375", P, [](Archive& a) { a << -0.375; }, {0xC0, 0, 0, 0, 0x00, 0x00, 0x07, 0xFF}},
      {"portable long double 1", P, [](Archive& a) { a << 1.0L; }, {0, 0, 0, 0, 0x00, 0x00, 0x00, 0x01}},
      {"values follow each other", N, [](Archive& a) { a << 'x' << static_cast<short>(1) << 2; },
       {0x78, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(written_bytes(c.format, c.write), ElementsAreArray(c.expected));
  }
}

// The portable double keeps the IEEE mantissa and the frexp exponent, so its
// words can be derived independently from the IEEE image.
TEST(ArchiveEncoding, PortableDoubleWordsFollowFromTheIeeeImage) {
  const double values[] = {0.1, -0.1, 1.0 / 3, 123456789.125, -1e300, 1e-300, DBL_MAX / 4, 3.0, -7.5e-5};
  for (double x : values) {
    SCOPED_TRACE(x);
    std::uint64_t bits;
    std::memcpy(&bits, &x, 8);
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
    const int exponent = static_cast<int>((bits >> 52) & 0x7FF) - 1022;
    const std::uint32_t word0 = (static_cast<std::uint32_t>(fraction >> 21)) | (x < 0 ? 0x80000000u : 0u);
    const std::uint32_t word1 =
        (static_cast<std::uint32_t>(fraction & 0x1FFFFF) << 11) | (static_cast<std::uint32_t>(exponent) & 0x7FF);
    const Bytes expected = {static_cast<unsigned char>(word0 >> 24), static_cast<unsigned char>(word0 >> 16),
                            static_cast<unsigned char>(word0 >> 8),  static_cast<unsigned char>(word0),
                            static_cast<unsigned char>(word1 >> 24), static_cast<unsigned char>(word1 >> 16),
                            static_cast<unsigned char>(word1 >> 8),  static_cast<unsigned char>(word1)};
    EXPECT_THAT(written_bytes(Archive::PORTABLE_FORMAT, [x](Archive& a) { a << x; }), ElementsAreArray(expected));
  }
}

TEST(ArchiveEncoding, PortableFloatingPointRefusesInfinityAndNan) {
  TempFile file;
  Archive archive(file.name(), Archive::WRITE | Archive::PORTABLE_FORMAT);
  EXPECT_THROW(archive << std::numeric_limits<double>::infinity(), std::invalid_argument);
  EXPECT_THROW(archive << std::numeric_limits<float>::quiet_NaN(), std::invalid_argument);
  archive.close();
  EXPECT_TRUE(file.bytes().empty());
}

TEST(ArchiveRoundTrip, PortableLongDoubleKeepsADoublesPrecision) {
  TempFile file;
  const long double third = 1.0L / 3;
  {
    Archive out(file.name(), Archive::WRITE | Archive::PORTABLE_FORMAT);
    out << third;
  }
  Archive in(file.name(), Archive::READ | Archive::PORTABLE_FORMAT);
  long double read = 0;
  in >> read;
  EXPECT_NE(read, third);
  EXPECT_EQ(read, static_cast<long double>(static_cast<double>(third)));
}

TEST(ArchiveRoundTrip, NegativeZeroReadsBackPositiveInPortableForm) {
  TempFile file;
  {
    Archive out(file.name(), Archive::WRITE | Archive::PORTABLE_FORMAT);
    out << -0.0 << -0.0f;
  }
  Archive in(file.name(), Archive::READ | Archive::PORTABLE_FORMAT);
  double d = 1;
  float f = 1;
  in >> d >> f;
  EXPECT_EQ(d, 0.0);
  EXPECT_FALSE(std::signbit(d));
  EXPECT_FALSE(std::signbit(f));
}

// Runs must give exactly the bytes of single writes and read back the same
// values, including across the internal buffer boundary.
template <class T>
void expect_runs_match_single_values(unsigned int format, const std::function<T(std::size_t)>& make) {
  const std::size_t count = 70000;
  std::unique_ptr<T[]> values(new T[count]);
  for (std::size_t i = 0; i < count; ++i) values[i] = make(i);
  TempFile singles;
  TempFile run;
  {
    Archive a(singles.name(), Archive::WRITE | format);
    for (std::size_t i = 0; i < count; ++i) a << values[i];
    Archive b(run.name(), Archive::WRITE | format);
    b.write_array(values.get(), count);
  }
  ASSERT_EQ(singles.bytes(), run.bytes());
  Archive in(run.name(), Archive::READ | format);
  std::unique_ptr<T[]> read(new T[count]);
  EXPECT_EQ(in.read_array(read.get(), count), count);
  EXPECT_TRUE(std::equal(read.get(), read.get() + count, values.get()));
  EXPECT_TRUE(in.at_end());
}

TEST(ArchiveRuns, BytesEqualSingleWritesForEveryType) {
  for (unsigned int format : {Archive::NATIVE_FORMAT, Archive::PORTABLE_FORMAT}) {
    SCOPED_TRACE(format);
    expect_runs_match_single_values<char>(format, [](std::size_t i) { return static_cast<char>(i * 7); });
    expect_runs_match_single_values<unsigned char>(format, [](std::size_t i) { return static_cast<unsigned char>(i); });
    expect_runs_match_single_values<bool>(format, [](std::size_t i) { return i % 3 == 0; });
    expect_runs_match_single_values<short>(format, [](std::size_t i) { return static_cast<short>(i * 31 - 9000); });
    expect_runs_match_single_values<unsigned short>(format,
                                                    [](std::size_t i) { return static_cast<unsigned short>(i * 13); });
    expect_runs_match_single_values<int>(format, [](std::size_t i) { return static_cast<int>(i * 2654435761u); });
    expect_runs_match_single_values<unsigned int>(format,
                                                  [](std::size_t i) { return static_cast<unsigned int>(i * 40503u); });
    expect_runs_match_single_values<long>(format, [](std::size_t i) { return static_cast<long>(i) * -7919; });
    expect_runs_match_single_values<unsigned long>(format, [](std::size_t i) { return (i * 104729UL) & 0xFFFFFFFFUL; });
    expect_runs_match_single_values<float>(format, [](std::size_t i) { return static_cast<float>(i) * -0.37f; });
    expect_runs_match_single_values<double>(format, [](std::size_t i) { return std::sqrt(static_cast<double>(i)); });
  }
  expect_runs_match_single_values<long double>(Archive::NATIVE_FORMAT,
                                               [](std::size_t i) { return static_cast<long double>(i) / 3; });
  expect_runs_match_single_values<long double>(Archive::PORTABLE_FORMAT,
                                               [](std::size_t i) { return static_cast<long double>(i) / 4; });
}

TEST(ArchiveShortReads, ReadPastTheEndIsDetectableAndNeverUninitialised) {
  TempFile file;
  file.set_bytes({0x12, 0x34});
  Archive in(file.name(), Archive::READ);
  EXPECT_EQ(in.bytes_remaining(), 2u);
  EXPECT_FALSE(in.at_end());
  int value = -1;
  in >> value;
  EXPECT_EQ(value, 0x12340000);  // the two bytes that were there, then zeros
  EXPECT_TRUE(in.failed());
  EXPECT_TRUE(in.at_end());

  char c = 'q';
  bool b = true;
  double d = 1;
  long double ld = 1;
  in >> c >> b >> d >> ld;
  EXPECT_EQ(c, 'q');
  EXPECT_TRUE(b);
  EXPECT_EQ(d, 0.0);
  EXPECT_EQ(ld, 0.0L);

  std::vector<int> run(3, 7);
  EXPECT_EQ(in.read_array(run.data(), run.size()), 0u);
  EXPECT_EQ(run, std::vector<int>(3, 0));
}

TEST(ArchiveShortReads, ReopeningClearsTheFailure) {
  TempFile file;
  file.set_bytes({1});
  Archive in(file.name(), Archive::READ);
  int v;
  in >> v;
  ASSERT_TRUE(in.failed());
  in.open(file.name(), Archive::READ);
  EXPECT_FALSE(in.failed());
  EXPECT_EQ(in.bytes_remaining(), 1u);
}

TEST(ArchiveOpen, ModesAndFailures) {
  TempFile file;
  // Read-write on a missing file creates it.
  {
    Archive a(file.name(), Archive::READ | Archive::WRITE);
    EXPECT_EQ(a.mode(), 7u);
    a << 5;
    EXPECT_EQ(a.bytes_remaining(), 0u);
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 5}));
  // Read-write on an existing file keeps its contents.
  {
    Archive a(file.name(), 3);
    EXPECT_EQ(a.bytes_remaining(), 4u);
    int v = 0;
    a >> v;
    EXPECT_EQ(v, 5);
  }
  // Write alone truncates.
  { Archive a(file.name(), Archive::WRITE | Archive::PORTABLE_FORMAT); }
  EXPECT_TRUE(file.bytes().empty());

  const std::string missing = file.name() + ".missing";
  try {
    Archive a(missing, Archive::READ);
    FAIL() << "opened a missing file";
  } catch (const std::invalid_argument& e) {
    EXPECT_EQ(std::string(e.what()), "Archive::open: Couldn't open file: " + missing);
  }
  try {
    Archive a(missing, Archive::READ | Archive::WRITE | 12);
    FAIL() << "accepted both formats";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "Archive::open: all formats specified");
  }
  std::FILE* refused = std::fopen(missing.c_str(), "rb");  // the refused opens created nothing
  EXPECT_EQ(refused, nullptr);
  if (refused != nullptr) std::fclose(refused);
  EXPECT_THROW(Archive(file.name(), 0), std::invalid_argument);
  EXPECT_THROW(Archive(file.name(), Archive::NATIVE_FORMAT), std::invalid_argument);
}

TEST(ArchiveOpen, ReopenClosesTheOldFileAndAClosedArchiveRefusesIo) {
  TempFile first;
  TempFile second;
  Archive a(first.name(), Archive::WRITE);
  a << 1;
  a.open(second.name(), Archive::WRITE);
  a << 'z';
  EXPECT_EQ(first.bytes(), (Bytes{0, 0, 0, 1}));  // flushed by the close
  a.close();
  a.close();
  EXPECT_FALSE(a.is_open());
  EXPECT_EQ(second.bytes(), (Bytes{'z'}));
  EXPECT_THROW(a << 1, std::runtime_error);
  int v;
  EXPECT_THROW(a >> v, std::runtime_error);
}

TEST(VersionedArchive, VersionIsSixUntilTheReaderSetsIt) {
  TempFile file;
  {
    VersionedArchive out(file.name(), Archive::WRITE);
    EXPECT_EQ(VersionedArchive::version(out), 6);
    out << out.file_version;
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 6}));  // the class itself writes nothing
  file.set_bytes({0, 0, 0, 4});
  VersionedArchive in(file.name(), Archive::READ);
  in >> in.file_version;
  const Archive& as_archive = in;
  EXPECT_TRUE(VersionedArchive::is_versioned(as_archive));
  EXPECT_EQ(VersionedArchive::version(as_archive), 4);
}

TEST(VersionedArchive, PlainArchiveIsNotVersioned) {
  TempFile file;
  Archive plain(file.name(), Archive::WRITE);
  EXPECT_FALSE(VersionedArchive::is_versioned(plain));
  try {
    VersionedArchive::version(plain);
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "VersionedArchive::version() - file is not versioned");
  }
}

}  // namespace
}  // namespace vorn
