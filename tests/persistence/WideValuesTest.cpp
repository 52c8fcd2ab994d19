// 64-bit integers, signed char, the 4-byte limit of long, and the block
// version an archive does not store.
#include <climits>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/Shapes.h"
#include "persistence/StreamBytes.h"
#include "vorn/testing/DebugPrintText.h"

namespace vorn {
namespace {

// The bytes `write` puts through an ArchiveWriteStream, and its error ("" for none).
struct Written {
  std::string bytes;
  std::string error;
};

Written write_stream(const std::function<void(PersistentWriteStream&)>& write) {
  MemoryDevice memory;
  Written result;
  {
    Archive archive(memory, Archive::WRITE);
    ArchiveWriteStream stream(archive);
    try {
      write(stream);
    } catch (const std::out_of_range& e) {
      result.error = e.what();
    }
  }
  result.bytes = memory.take();
  return result;
}

TEST(ArchivedLong, ValuesBeyondThirtyTwoBitsAreRefusedBeforeAnythingIsWritten) {
  struct Row {
    const char* name;
    std::function<void(PersistentWriteStream&)> write;
    const char* error;
  };
  // The value of a long, made at run time, so that rows that exist only where
  // long has 64 bits compile everywhere.
  const auto as_long = [](long long value) { return static_cast<long>(value); };
  const auto as_ulong = [](unsigned long long value) { return static_cast<unsigned long>(value); };
  std::vector<Row> rows = {
      {"largest int32 long", [&](PersistentWriteStream& s) { s.write("n", as_long(2147483647LL)); }, ""},
      {"smallest int32 long", [&](PersistentWriteStream& s) { s.write("n", as_long(-2147483648LL)); }, ""},
      {"largest uint32 unsigned long", [&](PersistentWriteStream& s) { s.write("u", as_ulong(4294967295ULL)); },
       ""},
  };
  if constexpr (sizeof(long) > 4) {  // only a 64-bit long holds what 4 bytes cannot
    rows.insert(rows.end(), {
        {"long one above", [&](PersistentWriteStream& s) { s.write("n", as_long(2147483648LL)); },
         "ArchiveWriteStream::write: long value 2147483648 of 'n' does not fit in 4 bytes"},
        {"long one below", [&](PersistentWriteStream& s) { s.write("n", as_long(-2147483649LL)); },
         "ArchiveWriteStream::write: long value -2147483649 of 'n' does not fit in 4 bytes"},
        {"unsigned long one above", [&](PersistentWriteStream& s) { s.write("u", as_ulong(4294967296ULL)); },
         "ArchiveWriteStream::write: unsigned long value 4294967296 of 'u' does not fit in 4 bytes"},
        {"vector<long> holding 2^40",
         [&](PersistentWriteStream& s) { s.write("xs", std::vector<long>{1, as_long(1LL << 40)}); },
         "ArchiveWriteStream::write: long value 1099511627776 of 'item' does not fit in 4 bytes"},
    });
  }

  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Written written = write_stream(row.write);
    EXPECT_EQ(written.error, row.error);
    if (*row.error != '\0') {
      // A refused vector has written only its count.
      EXPECT_LE(written.bytes.size(), 4u);
    }
  }
}

TEST(ArchivedLong, TheArchiveRefusesWithTheValue) {
  MemoryDevice memory;
  Archive archive(memory, Archive::WRITE);
  const long values[] = {5, LONG_MAX};
  struct Row {
    const char* name;
    std::function<void()> write;
    const char* error;
  };
  // Where long has 32 bits every value fits, and all of them are written.
  constexpr bool wide = sizeof(long) > 4;
  const Row rows[] = {
      {"operator<< long", [&] { archive << LONG_MIN; },
       wide ? "Archive::operator<<: long value -9223372036854775808 does not fit in 4 bytes" : ""},
      {"operator<< unsigned long", [&] { archive << ULONG_MAX; },
       wide ? "Archive::operator<<: unsigned long value 18446744073709551615 does not fit in 4 bytes" : ""},
      {"write_array", [&] { archive.write_array(values, 2); },
       wide ? "Archive::operator<<: long value 9223372036854775807 does not fit in 4 bytes" : ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string error;
    try {
      row.write();
    } catch (const std::out_of_range& e) {
      error = e.what();
    }
    EXPECT_EQ(error, row.error);
  }
  archive.close();
  EXPECT_EQ(memory.take(),
            wide ? std::string() : std::string("\x80\0\0\0\xFF\xFF\xFF\xFF\0\0\0\x05\x7F\xFF\xFF\xFF", 16));
}

template <class T>
void expect_bytes_and_back(const char* name, const T& value, const std::string& bytes) {
  SCOPED_TRACE(name);
  const Written written = write_stream([&](PersistentWriteStream& s) { s.write("v", value); });
  EXPECT_EQ(written.bytes, bytes);
  T back{};
  EXPECT_EQ(test::stream_read(written.bytes, back), "");
  EXPECT_EQ(back, value);
}

TEST(WideIntegers, EightBytesBigEndianAndBack) {
  expect_bytes_and_back("2^63 - 1", LLONG_MAX, std::string("\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8));
  expect_bytes_and_back("-2^63", LLONG_MIN, std::string("\x80\x00\x00\x00\x00\x00\x00\x00", 8));
  expect_bytes_and_back("unsigned long long 2^64 - 1", ULLONG_MAX, std::string(8, '\xFF'));
  expect_bytes_and_back("signed char -128", static_cast<signed char>(-128), std::string("\x80"));
  expect_bytes_and_back("vector<long long> run", std::vector<long long>{1LL << 40, -2},
                        std::string("\0\0\0\2\0\0\1\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE", 20));
}

TEST(WideIntegers, DebugPrintShowsTheirValues) {
  EXPECT_EQ(debug_print_text(LLONG_MIN, "big"), "big: -9223372036854775808 ");
  EXPECT_EQ(debug_print_text(ULLONG_MAX, "huge"), "huge: 18446744073709551615 ");
  EXPECT_EQ(debug_print_text(static_cast<signed char>(-5), "small"), "small: -5 ");
}

// An archive stores no class version: Disc, at version 2, writes only its
// values and is read back as version 0, in the old layout without the label.
TEST(BlockVersions, ArchivesStoreNoneAndReadZero) {
  const Written written = write_stream([&](PersistentWriteStream& s) { s.write("v", test::Disc()); });
  EXPECT_EQ(written.bytes, std::string("\x3F\xF0\0\0\0\0\0\0\0\0\0\0", 12));
  test::Disc back;
  EXPECT_EQ(test::stream_read(written.bytes, back), "bytes left over");
  EXPECT_EQ(back.read_version, 0u);
}

}  // namespace
}  // namespace vorn
