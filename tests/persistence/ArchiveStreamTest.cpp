#include "vorn/persistence/ArchiveReadStream.h"

#include <array>
#include <climits>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/testing/ArchiveRoundTrip.h"

namespace vorn {
namespace {

using test::Bytes;
using test::TempFile;
using ::testing::StartsWith;

struct ThreeInts {
  int a = 1, b = 2, c = 3;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "ThreeInts");
    s.write("a", a);
    s.write("b", b);
    s.write("c", c);
  }
  void read(const char* tag, PersistentReadStreamPresence p, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "ThreeInts", p);
    s.read("a", a);
    s.read("b", b);
    s.read("c", c);
  }
};

struct Empty {  // writes nothing at all
  void write(const char*, PersistentWriteStream&) const {}
  void read(const char*, PersistentReadStreamPresence, PersistentReadStream&) {}
};

TEST(ArchiveWriteStream, OnlyValuesReachTheFile) {
  EXPECT_EQ(archive_bytes(std::string()), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(archive_bytes(std::string("abc")), (Bytes{0, 0, 0, 3, 'a', 'b', 'c'}));
  EXPECT_EQ(archive_bytes(ThreeInts()), (Bytes{0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3}));
  EXPECT_EQ(archive_bytes(std::vector<short>{1, -1}), (Bytes{0, 0, 0, 2, 0, 1, 0xFF, 0xFF}));
  EXPECT_EQ(archive_bytes(std::map<char, std::string>{{'k', "v"}}), (Bytes{0, 0, 0, 1, 'k', 0, 0, 0, 1, 'v'}));
  EXPECT_EQ(archive_bytes(std::vector<bool>{true, false}), (Bytes{0, 0, 0, 2, 1, 0}));
  EXPECT_EQ(archive_bytes(THandle<ThreeInts>()), (Bytes{0, 0, 0, 0}));
}

TEST(ArchiveReadStream, PositionalReading) {
  TempFile file;
  {
    Archive archive(file.name(), Archive::WRITE);
    ArchiveWriteStream s(archive);
    s.write("s", std::string("a\0b", 3));
    s.write("n", 7);
    s.write("x", 0x41424344);
  }
  Archive archive(file.name(), Archive::READ);
  ArchiveReadStream s(archive);
  std::string text = "old";
  int n = 0;
  s.read("s", text);
  s.read("never written", n);
  EXPECT_EQ(text, "a");  // cut at the NUL, all three bytes consumed
  EXPECT_EQ(n, 7);
  std::string four;  // reads 0x41424344 as a length: more than the file holds
  EXPECT_THROW(s.read("x", four), std::runtime_error);
}

TEST(ArchiveReadStream, StringsAreCutAtTheirFirstNul) {
  std::string long_text(10000, '\x80');
  long_text[9000] = '\0';
  const std::vector<std::pair<std::string, std::string>> cases = {
      {std::string("\0abc", 4), ""},
      {std::string("1234567\0", 8), "1234567"},
      {std::string("12345678\0x", 10), "12345678"},
      {std::string("123456789abcdef\0", 16), "123456789abcdef"},
      {std::string(17, '\xFF'), std::string(17, '\xFF')},
      {long_text, long_text.substr(0, 9000)},
  };
  for (const auto& [stored, expected] : cases) {
    SCOPED_TRACE(expected.size());
    TempFile file;
    {
      Archive archive(file.name(), Archive::WRITE);
      ArchiveWriteStream s(archive);
      s.write("text", stored);
      s.write("after", 5);
    }
    Archive archive(file.name(), Archive::READ);
    ArchiveReadStream s(archive);
    std::string text;
    int after = 0;
    s.read("text", text);
    s.read("after", after);
    EXPECT_EQ(text, expected);
    EXPECT_EQ(after, 5);
  }
}

// Streams that ignore the run path, to compare the run path against.
class ItemByItemWriteStream : public ArchiveWriteStream {
 public:
  using ArchiveWriteStream::ArchiveWriteStream;
#define VORN_ITEM_BY_ITEM(Type)                                                          \
  void write_array(const char* tag, const Type* values, std::size_t count) override { \
    PersistentWriteStream::write_array(tag, values, count);                             \
  }
  VORN_ITEM_BY_ITEM(char)
  VORN_ITEM_BY_ITEM(unsigned char)
  VORN_ITEM_BY_ITEM(bool)
  VORN_ITEM_BY_ITEM(short)
  VORN_ITEM_BY_ITEM(unsigned short)
  VORN_ITEM_BY_ITEM(int)
  VORN_ITEM_BY_ITEM(unsigned int)
  VORN_ITEM_BY_ITEM(long)
  VORN_ITEM_BY_ITEM(unsigned long)
  VORN_ITEM_BY_ITEM(float)
  VORN_ITEM_BY_ITEM(double)
  VORN_ITEM_BY_ITEM(long double)
#undef VORN_ITEM_BY_ITEM
};

template <class T>
void expect_runs_match_items(const T& value, unsigned int format) {
  TempFile runs;
  TempFile items;
  {
    Archive a(runs.name(), Archive::WRITE | format);
    ArchiveWriteStream s(a);
    s.write("v", value);
    Archive b(items.name(), Archive::WRITE | format);
    ItemByItemWriteStream t(b);
    t.write("v", value);
  }
  ASSERT_EQ(runs.bytes(), items.bytes());
  Archive a(runs.name(), Archive::READ | format);
  ArchiveReadStream s(a);
  T back{};
  s.read("v", back);
  EXPECT_TRUE(back == value);
  EXPECT_TRUE(a.at_end());
}

template <class T>
std::vector<T> sequence(std::size_t n) {
  std::vector<T> v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<T>((i * 37) % 250);
  return v;
}

TEST(ArchiveStreams, ContainerRunsGiveTheBytesOfSingleItems) {
  const std::size_t n = 10000;  // more than one internal chunk
  for (unsigned int format : {Archive::NATIVE_FORMAT, Archive::PORTABLE_FORMAT}) {
    SCOPED_TRACE(format);
    expect_runs_match_items(sequence<char>(n), format);
    expect_runs_match_items(sequence<unsigned char>(n), format);
    expect_runs_match_items(sequence<short>(n), format);
    expect_runs_match_items(sequence<unsigned short>(n), format);
    expect_runs_match_items(sequence<int>(n), format);
    expect_runs_match_items(sequence<unsigned int>(n), format);
    expect_runs_match_items(sequence<long>(n), format);
    expect_runs_match_items(sequence<unsigned long>(n), format);
    expect_runs_match_items(sequence<float>(n), format);
    expect_runs_match_items(sequence<double>(n), format);
    expect_runs_match_items(sequence<long double>(n), format);
    const std::vector<int> ints = sequence<int>(n);
    expect_runs_match_items(std::deque<int>(ints.begin(), ints.end()), format);
    expect_runs_match_items(std::list<double>(ints.begin(), ints.end()), format);
    expect_runs_match_items(std::set<int>(ints.begin(), ints.end()), format);
    expect_runs_match_items(std::array<short, 3>{1, -2, 3}, format);
    expect_runs_match_items(std::vector<bool>{true, false, true}, format);
    expect_runs_match_items(std::vector<std::vector<int>>{{1, 2}, {}, {3}}, format);
  }
}

TEST(ArchiveStreams, ReadingReplacesTheContainerContents) {
  TempFile file;
  {
    Archive archive(file.name(), Archive::WRITE);
    ArchiveWriteStream s(archive);
    s.write("v", std::vector<int>{1, 2});
    s.write("m", std::map<int, int>{{1, 1}});
  }
  Archive archive(file.name(), Archive::READ);
  ArchiveReadStream s(archive);
  std::vector<int> v = {9, 9, 9};
  std::map<int, int> m = {{5, 5}};
  s.read("v", v);
  s.read("m", m);
  EXPECT_EQ(v, (std::vector<int>{1, 2}));
  EXPECT_EQ(m, (std::map<int, int>{{1, 1}}));
}

TEST(ArchiveReadStream, DamagedFilesThrowBeforeAllocating) {
  struct Case {
    const char* name;
    Bytes bytes;
    std::function<void(ArchiveReadStream&)> read;
    const char* message;
  };
  const std::vector<Case> cases = {
      {"empty file", {}, [](ArchiveReadStream& s) { int v; s.read("count", v); },
       "ArchiveReadStream::read: unexpected end of file reading 'count'"},
      {"half a double", {0x3F, 0xF0}, [](ArchiveReadStream& s) { double v; s.read("x", v); },
       "ArchiveReadStream::read: unexpected end of file reading 'x'"},
      {"one byte short of a char", {}, [](ArchiveReadStream& s) { char v; s.read("c", v); },
       "ArchiveReadStream::read: unexpected end of file reading 'c'"},
      {"negative string length", {0xFF, 0xFF, 0xFF, 0xFE},
       [](ArchiveReadStream& s) { std::string v; s.read("name", v); },
       "ArchiveReadStream::read: string length -2 exceeds the 0 bytes left in the file reading 'name'"},
      {"string longer than the file", {0, 0, 0, 9, 'a', 'b'},
       [](ArchiveReadStream& s) { std::string v; s.read("name", v); },
       "ArchiveReadStream::read: string length 9 exceeds the 2 bytes left in the file reading 'name'"},
      {"huge count of ints", {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1},
       [](ArchiveReadStream& s) { std::vector<int> v; s.read("numbers", v); },
       "ArchiveReadStream::read: container count 4294967295 needs at least 17179869180 bytes but the file has 4 "
       "left reading 'numbers'"},
      {"huge count of strings", {0x10, 0, 0, 0},
       [](ArchiveReadStream& s) { std::list<std::string> v; s.read("words", v); },
       "ArchiveReadStream::read: container count 268435456 needs at least 1073741824 bytes but the file has 0 "
       "left reading 'words'"},
      {"count just beyond the file", {0, 0, 0, 3, 0, 0, 0, 1, 0, 0},
       [](ArchiveReadStream& s) { std::vector<int> v; s.read("numbers", v); },
       "ArchiveReadStream::read: container count 3 needs at least 12 bytes but the file has 6 left reading "
       "'numbers'"},
      {"truncated run", {0, 0, 0, 2, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0, 0x3F, 0xF0},
       [](ArchiveReadStream& s) { std::vector<double> v; s.read("numbers", v); },
       "ArchiveReadStream::read: unexpected end of file reading 'item'"},
      {"count of objects of unknown size", {0, 0, 0, 5, 0, 0, 0, 1},
       [](ArchiveReadStream& s) { std::vector<ThreeInts> v; s.read("items", v); },
       "ArchiveReadStream::read: unexpected end of file reading 'b'"},
      {"array of the wrong size", {0, 0, 0, 2, 0, 1, 0, 2},
       [](ArchiveReadStream& s) { std::array<short, 3> v; s.read("triple", v); },
       "PersistentReadStream::read: container 'triple' holds 2 items, expected 3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFile file;
    file.set_bytes(c.bytes);
    Archive archive(file.name(), Archive::READ);
    ArchiveReadStream s(archive);
    try {
      c.read(s);
      ADD_FAILURE() << "accepted";
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

// A container of objects that write nothing is valid whatever its count;
// the count check must not refuse it.
TEST(ArchiveReadStream, CountsOfEmptyObjectsAreNotRefused) {
  EXPECT_EQ(archive_round_trip(std::vector<Empty>(1000)).size(), 1000u);
}

TEST(ArchiveRoundTripHelper, ReportsReadsThatDoNotMirrorTheWrites) {
  struct Lopsided {
    void write(const char*, PersistentWriteStream& s) const { s.write("a", 1); s.write("b", 2); }
    void read(const char*, PersistentReadStreamPresence, PersistentReadStream& s) { int a; s.read("a", a); }
  };
  try {
    archive_round_trip(Lopsided());
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "archive_round_trip: 4 bytes written but not read back");
  }
}

}  // namespace
}  // namespace vorn
