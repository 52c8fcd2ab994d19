#include "vorn/database/DatabaseEntry.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "vorn/persistence/Archive.h"

namespace vorn {
namespace {

using test::Bytes;
using test::TempFile;
using StringEntry = DatabaseEntry<std::string>;

THandle<std::string> text(const std::string& s) { return THandle<std::string>(new std::string(s)); }

TEST(DatabaseEntry, ConstructionSharesDataAndRefusesNull) {
  THandle<std::string> data = text("hello");
  const StringEntry entry(DatabaseEntryIdentifier("X1"), data);
  EXPECT_EQ(entry.identifier(), DatabaseEntryIdentifier("X1"));
  EXPECT_EQ(entry.data(), data);  // shared, not copied

  try {
    StringEntry bad(DatabaseEntryIdentifier("K9"), THandle<std::string>());
    ADD_FAILURE() << "accepted null data";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Illegal null data in entry K9 (DatabaseEntry::DatabaseEntry)");
  }

  const StringEntry empty;
  EXPECT_EQ(empty.identifier().text(), "");
  EXPECT_EQ(empty.data(), nullptr);
  TempFile file;
  Archive out(file.name(), Archive::WRITE);
  EXPECT_THROW(out << empty, std::runtime_error);
}

TEST(DatabaseEntry, StringEntryArchiveRoundTrip) {
  TempFile file;
  {
    Archive out(file.name(), Archive::WRITE);
    out << StringEntry(DatabaseEntryIdentifier("X1"), text("hello"));
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 2, 'X', '1', 0, 0, 0, 5, 'h', 'e', 'l', 'l', 'o'}));

  THandle<std::string> old = text("old");
  StringEntry entry(DatabaseEntryIdentifier("prev"), old);
  Archive in(file.name(), Archive::READ);
  in >> entry;
  EXPECT_EQ(entry.identifier().text(), "X1");
  EXPECT_EQ(*entry.data(), "hello");
  EXPECT_NE(entry.data(), old);  // a fresh data object
  EXPECT_EQ(*old, "old");
  EXPECT_FALSE(in.failed());
}

TEST(DatabaseEntry, ReadsDamagedData) {
  const struct {
    const char* name;
    Bytes bytes;
    std::string data;
    bool failed;
  } cases[] = {
      {"zero byte cuts", {0, 0, 0, 1, 'A', 0, 0, 0, 3, 'a', 0, 'b'}, "a", false},
      {"short data", {0, 0, 0, 1, 'A', 0, 0, 0, 9, 'a', 'b'}, "ab", true},
      {"huge length", {0, 0, 0, 1, 'A', 0x7F, 0xFF, 0xFF, 0xFF}, "", true},
      {"no data length", {0, 0, 0, 1, 'A'}, "", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TempFile file;
    file.set_bytes(c.bytes);
    Archive in(file.name(), Archive::READ);
    StringEntry entry;
    in >> entry;
    EXPECT_EQ(entry.identifier().text(), "A");
    EXPECT_EQ(*entry.data(), c.data);
    EXPECT_EQ(in.failed(), c.failed);
  }
}

TEST(DatabaseEntry, PrimitiveDataUsesArchiveEncoding) {
  TempFile file;
  {
    Archive out(file.name(), Archive::WRITE);
    out << DatabaseEntry<int>(DatabaseEntryIdentifier("n"), THandle<int>(new int(258)));
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 1, 'n', 0, 0, 1, 2}));
  Archive in(file.name(), Archive::READ);
  DatabaseEntry<int> entry;
  in >> entry;
  EXPECT_EQ(*entry.data(), 258);
}

}  // namespace
}  // namespace vorn
