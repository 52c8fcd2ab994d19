// The archive database: file layout, index upkeep and error paths. Killed
// writers are in DurabilityTest and tests/backends.
#include "vorn/database/ArchiveDatabase.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;
using Id = DatabaseEntryIdentifier;

using test::TempDirectory;

using test::make_entry;
using test::what_of;

// The identifiers of `db` as its index file lists them.
std::string listed(const Db& db) {
  std::string lines;
  for (int i = 0; i < db.size(); ++i) lines += db.identifier(i) + "\n";
  return lines;
}

ino_t inode_of(const std::string& path) {
  struct stat state {};
  ::stat(path.c_str(), &state);
  return state.st_ino;
}

TEST(ArchiveDatabase, FilesAndHashIndexStayInStep) {
  TempDirectory dir;
  {
    Db db(dir.path, "n", Archive::READ | Archive::WRITE);
    EXPECT_EQ(db.absolute_database_name(), dir.file("n.adi"));
    EXPECT_EQ(db.absolute_entry_file_name(Id("a/b")), dir.file("n_a/b.ade"));
    for (const char* id : {"X1", "B1", "D1"}) db.append(make_entry(id, std::string("data of ") + id));
    EXPECT_EQ(dir.read("n_X1.ade"), std::string("\0\0\0\6\0\0\0\2X1\0\0\0\12data of X1", 24));
    EXPECT_EQ(dir.read("n.adi"), "X1\nB1\nD1\n");
    db.remove(Id("B1"));
    EXPECT_EQ(dir.read("n.adi"), "X1\nD1\n");
    EXPECT_FALSE(dir.exists("n_B1.ade"));
    db.append(make_entry("B1", "again"));
    EXPECT_EQ(dir.read("n.adi"), "X1\nD1\nB1\n");
  }
  EXPECT_EQ(*Db(dir.path, "n", Archive::READ).entry(Id("B1"))->data(), "again");

  dir.write("other_D1.ade", "keep");
  Db::delete_database_files(dir.path, "n");
  for (const char* f : {"n.adi", "n_X1.ade", "n_D1.ade", "n_B1.ade"}) EXPECT_FALSE(dir.exists(f)) << f;
  EXPECT_TRUE(dir.exists("other_D1.ade"));
}

// Another writer's change is reloaded before an append (DurabilityTest);
// here the index is appended to in place, and recreated once deleted.
TEST(ArchiveDatabase, AppendAfterForeignChangeRewritesIndex) {
  TempDirectory dir;
  dir.write("n.adi", "x\n");
  Db db(dir.path, "n", 3);
  const ino_t loaded = inode_of(dir.file("n.adi"));
  db.append(make_entry("A", "a"));
  db.append(make_entry("A2", "a"));
  EXPECT_EQ(inode_of(dir.file("n.adi")), loaded);  // appended in place, not rewritten
  EXPECT_EQ(dir.read("n.adi"), "x\nA\nA2\n");
  ::unlink(dir.file("n.adi").c_str());  // another writer deleted the index
  db.append(make_entry("D", "d"));
  EXPECT_EQ(dir.read("n.adi"), "D\n");
}

TEST(ArchiveDatabase, LoadingAnIndex) {
  const struct { const char* name; std::string index, listed; } cases[] = {
      {"plain", "a\nb\n", "a\nb\n"}, {"last line unterminated", "a\nb", "a\n"}, {"empty", "", ""},
      {"other line ends", "a\r\nb\rc\n", "a\nb\nc\n"}, {"final carriage return ends input", "a\nb\r", "a\n"},
      {"trimmed, empty and duplicate lines", " a\t\n\nb\na\n", "a\n\nb\na\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TempDirectory dir;
    dir.write("n.adi", c.index);
    Db db(dir.path, "n", 3);
    EXPECT_EQ(listed(db), c.listed);
    db.append(make_entry("new", "x"));
    EXPECT_EQ(dir.read("n.adi"), c.listed + "new\n");
  }

  TempDirectory dir;
  EXPECT_EQ(Db(dir.path, "missing", 1).size(), 0);
  dir.write("n.adi", "a\n" + std::string(256, 'x') + "\n");
  EXPECT_THROW(Db(dir.path, "n", 1), std::invalid_argument);
  // Of duplicates the first is found, also once an earlier one is removed.
  dir.write("n.adi", "a\nb\na\n");
  Db db(dir.path, "n", 3);
  EXPECT_EQ(db.index(Id("a")), 0);
  db.remove(Id("a"));
  EXPECT_EQ(listed(db), "b\na\n");
  EXPECT_EQ(db.index(Id("a")), 1);
}

TEST(ArchiveDatabase, ErrorMessagesLeaveFilesUnchanged) {
  TempDirectory dir;
  Db db(dir.path, "n", 3);
  db.append(make_entry("A1", "a"));
  const std::string outside = ": identifier does not name a file inside the database directory: ";
  // Appends are refused as check_identifier answers: HostileDirectoryTest.
  const struct { std::function<void()> call; std::string message; } cases[] = {
      {[&] { db.replace(make_entry("..", "b")); }, "ArchiveDatabase::replace" + outside + ".."},
      {[&] { db.remove(Id("a/..")); }, "ArchiveDatabase::remove" + outside + "a/.."},
      // The abstract interface refuses changes on its own.
      {[&] { db.Database<Entry>::append(make_entry("B", "b")); }, "Database::append: database is not opened for writing"},
      {[&] { db.Database<Entry>::replace(make_entry("A1", "b")); }, "Database::replace: database is not opened for writing"},
      {[&] { db.Database<Entry>::remove(Id("A1")); }, "Database::remove: database is not opened for writing"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_EQ(what_of(c.call), c.message);
  }
  EXPECT_EQ(dir.read("n.adi"), "A1\n");
  EXPECT_EQ(dir.read("n_A1.ade"), std::string("\0\0\0\6\0\0\0\2A1\0\0\0\1a", 15));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 4);  // with n.lock, n.pending
  EXPECT_EQ(db.size(), 1);

  EXPECT_FALSE(db.Database<Entry>::writable());
}

TEST(ArchiveDatabase, EntryFiles) {
  TempDirectory dir;
  Db db(dir.path, "n", 3);
  db.append(make_entry("L", std::string(100, 'x')));
  db.replace(make_entry("L", "0123456789"));
  EXPECT_EQ(dir.read("n_L.ade"), std::string("\0\0\0\6\0\0\0\1L\0\0\0\x0A", 13) + "0123456789" +
                                     std::string(90, 'x'));  // the old tail stays
  EXPECT_EQ(*db.entry(0)->data(), "0123456789");
  EXPECT_FALSE(dir.exists("n_L.ade.tmp"));

  // A stale entry file from an earlier crash is updated in place.
  dir.write("n_S.ade", std::string(40, '#'));
  db.append(make_entry("S", "s"));
  EXPECT_EQ(dir.read("n_S.ade"), std::string("\0\0\0\6\0\0\0\1S\0\0\0\1s", 14) + std::string(26, '#'));

  // Subdirectories must exist: the archive's open error comes through.
  EXPECT_EQ(what_of<std::invalid_argument>([&] { db.append(make_entry("sub/x", "s")); }),
            "Archive::open: Couldn't open file: " + dir.file("n_sub/x.ade"));
  EXPECT_EQ(dir.read("n.adi"), "L\nS\n");
  ::mkdir(dir.file("n_sub").c_str(), 0777);
  db.append(make_entry("sub/x", "s"));
  EXPECT_EQ(*db.entry(Id("sub/x"))->data(), "s");

  const std::string good = dir.read("n_S.ade").substr(0, 14);
  for (const std::string& bad : {std::string(), good.substr(0, 4), good.substr(0, 6), good.substr(0, 13),
                                 good.substr(0, 9) + std::string("\xFF\xFF\xFF\xF0s", 5)}) {
    SCOPED_TRACE(bad.size());
    dir.write("n_S.ade", bad);
    EXPECT_EQ(what_of([&] { db.entry(1); }),
              "ArchiveDatabase::read_entry: truncated or corrupt entry file: " + dir.file("n_S.ade"));
  }
  ::unlink(dir.file("n_S.ade").c_str());
  EXPECT_THROW(db.entry(1), std::invalid_argument);
}

}  // namespace
}  // namespace vorn
