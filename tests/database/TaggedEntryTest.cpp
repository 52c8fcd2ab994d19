// Entries of any persistent class: tagged classes stored through an archive
// stream, containers and dates, and a tagged class in a directory database.
#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "support/TestSupport.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/time/Date.h"

namespace vorn {
namespace {

using Id = DatabaseEntryIdentifier;

struct Reading {
  long long at = 0;
  std::string label;
  std::vector<double> values;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Reading");
    s.write("at", at);
    s.write("label", label);
    s.write("values", values);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Reading", presence);
    s.read("at", at);
    s.read("label", label);
    s.read("values", values);
  }
};

// The bytes an ArchiveWriteStream gives for `value` as the item "data".
template <class T>
std::string stream_bytes(const T& value) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE);
    ArchiveWriteStream stream(archive);
    stream.write("data", value);
  }
  return memory.take();
}

// The bytes of `entry` written to an archive.
template <class T>
std::string entry_bytes(const DatabaseEntry<T>& entry) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE);
    archive << entry;
  }
  return memory.take();
}

template <class T>
DatabaseEntry<T> read_entry(const std::string& bytes) {
  MemoryDevice memory(bytes.data(), bytes.size());
  Archive archive(memory, Archive::READ);
  DatabaseEntry<T> entry;
  archive >> entry;
  EXPECT_TRUE(archive.at_end());
  return entry;
}

const std::string id_r1("\0\0\0\2R1", 6);

TEST(TaggedEntries, StoredAsAnArchiveStreamWritesThemAndReadBack) {
  const Reading reading{LLONG_MIN + 1, "probe", {1.5, -2.0}};
  const std::string bytes = entry_bytes(DatabaseEntry<Reading>(Id("R1"), make_handle<Reading>(reading)));
  EXPECT_EQ(bytes, id_r1 + stream_bytes(reading));
  const DatabaseEntry<Reading> back = read_entry<Reading>(bytes);
  EXPECT_EQ(back.identifier(), Id("R1"));
  EXPECT_EQ(back.data()->at, reading.at);
  EXPECT_EQ(back.data()->label, reading.label);
  EXPECT_EQ(back.data()->values, reading.values);
}

TEST(TaggedEntries, ContainersAndDatesAreEntriesToo) {
  struct Row {
    const char* name;
    std::string bytes;
    std::string expected;
  };
  const Row rows[] = {
      {"vector<long long>",
       entry_bytes(DatabaseEntry<std::vector<long long>>(
           Id("R1"), make_handle<std::vector<long long>>(std::vector<long long>{1LL << 40}))),
       id_r1 + std::string("\0\0\0\1\0\0\1\0\0\0\0\0", 12)},
      // The tagged Date block stores the same 12 bytes as Date::write(Archive&).
      {"Date", entry_bytes(DatabaseEntry<Date>(Id("R1"), make_handle<Date>(29, 2, 2004))),
       id_r1 + std::string("\0\0\0\x1D\0\0\0\2\0\0\x07\xD4", 12)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.bytes, row.expected);
  }
  EXPECT_EQ(*read_entry<Date>(rows[1].bytes).data(), Date(29, 2, 2004));
}

// Refuses a negative count on reading, as a class checking its invariants would.
struct Checked {
  int count = 0;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Checked");
    s.write("count", count);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Checked", presence);
    s.read("count", count);
    if (count < 0) throw std::invalid_argument("Checked::read: negative count");
  }
};

TEST(TaggedEntries, ReaderErrorsInADatabaseNameTheFile) {
  test::TempDirectory dir;
  ArchiveDatabase<DatabaseEntry<Checked>> db(dir.path, "r", Archive::READ | Archive::WRITE);
  db.append(make_handle<DatabaseEntry<Checked>>(Id("ok"), make_handle<Checked>(Checked{3})));
  db.append(make_handle<DatabaseEntry<Checked>>(Id("bad"), make_handle<Checked>(Checked{-1})));
  EXPECT_EQ(db.entry(Id("ok"))->data()->count, 3);
  EXPECT_EQ(testing::error_of([&] { db.entry(Id("bad")); }),
            "ArchiveDatabase::read_entry: cannot read entry file " + dir.path + "/r_bad.ade: Checked::read: negative count");
}

}  // namespace
}  // namespace vorn
