#include "vorn/database/ArchiveDatabase.h"

#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"

namespace vorn {
namespace {

using test::TempDirectory;
using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;

THandle<Entry> make_entry(const std::string& id, const std::string& data) {
  return THandle<Entry>(new Entry(DatabaseEntryIdentifier(id), THandle<std::string>(new std::string(data))));
}

// Runs `f` and returns the message of the database_error it throws.
template <class F>
std::string database_error_of(F f) {
  try {
    f();
  } catch (const database_error& e) {
    return e.what();
  }
  return "(no database_error)";
}

std::vector<std::string> ids_of(const Db& db) {
  std::vector<std::string> ids;
  for (int i = 0; i < db.size(); ++i) ids.push_back(db.identifier(i));
  return ids;
}

TEST(ArchiveDatabase, ApiExamples) {
  TempDirectory dir;
  Db db(dir.path(), "genes", Archive::READ | Archive::WRITE);
  EXPECT_EQ(db.absolute_database_name(), dir.path() + "/genes.adi");
  EXPECT_EQ(Db::index_file_path("d", "n"), "d/n.adi");
  EXPECT_EQ(db.absolute_entry_file_name(DatabaseEntryIdentifier("a/b")), dir.path() + "/genes_a/b.ade");
  EXPECT_TRUE(db.writable());
  EXPECT_EQ(db.size(), 0);

  db.append(make_entry("X1", "hello"));
  EXPECT_EQ(dir.read("genes_X1.ade"), std::string("\0\0\0\6\0\0\0\2X1\0\0\0\5hello", 19));
  EXPECT_EQ(dir.read("genes.adi"), "X1\n");
  EXPECT_EQ(*db.entry(DatabaseEntryIdentifier("X1"))->data(), "hello");
  EXPECT_EQ(db.identifier_maximum_length(), 255u);
  EXPECT_EQ(db.normalise_identifier(DatabaseEntryIdentifier("aB")).text(), "aB");
}

TEST(ArchiveDatabase, AppendRemoveKeepIndexFileInStep) {
  TempDirectory dir;
  {
    Db db(dir.path(), "n", 3);
    for (const char* id : {"A1", "B1", "D1"}) db.append(make_entry(id, std::string("data of ") + id));
    EXPECT_EQ(dir.read("n.adi"), "A1\nB1\nD1\n");
    db.remove(DatabaseEntryIdentifier("B1"));
    EXPECT_EQ(dir.read("n.adi"), "A1\nD1\n");
    EXPECT_FALSE(dir.exists("n_B1.ade"));
    EXPECT_EQ(db.index(DatabaseEntryIdentifier("D1")), 1);
    EXPECT_EQ(db.index(DatabaseEntryIdentifier("B1")), 2);
    EXPECT_FALSE(db.identifier_exists(DatabaseEntryIdentifier("B1")));
    db.append(make_entry("B1", "again"));
    EXPECT_EQ(dir.read("n.adi"), "A1\nD1\nB1\n");
  }
  const Db reopened(dir.path(), "n", Archive::READ);
  EXPECT_EQ(ids_of(reopened), (std::vector<std::string>{"A1", "D1", "B1"}));
  EXPECT_EQ(*reopened.entry(1)->data(), "data of D1");
  EXPECT_EQ(*reopened.entry(DatabaseEntryIdentifier("B1"))->data(), "again");
}

TEST(ArchiveDatabase, AppendAfterForeignChangeRewritesIndex) {
  TempDirectory dir;
  Db db(dir.path(), "n", 3);
  db.append(make_entry("A", "a"));
  dir.write("n.adi", "A\nZZ\nQ");  // another writer changed the file
  db.append(make_entry("B", "b"));
  EXPECT_EQ(dir.read("n.adi"), "A\nB\n");
  db.append(make_entry("C", "c"));
  EXPECT_EQ(dir.read("n.adi"), "A\nB\nC\n");
  ::unlink(dir.file("n.adi").c_str());
  db.append(make_entry("D", "d"));
  EXPECT_EQ(dir.read("n.adi"), "A\nB\nC\nD\n");
}

TEST(ArchiveDatabase, LoadingAnIndex) {
  const struct {
    const char* name;
    std::string index;
    std::vector<std::string> ids;
  } cases[] = {
      {"plain", "a\nb\n", {"a", "b"}},
      {"last line unterminated", "a\nb", {"a"}},
      {"other line ends", "a\r\nb\rc\n", {"a", "b", "c"}},
      {"final carriage return ends input", "a\nb\r", {"a"}},
      {"trimmed, empty and duplicate lines", " a\t\n\nb\na\n", {"a", "", "b", "a"}},
      {"empty", "", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TempDirectory dir;
    dir.write("n.adi", c.index);
    Db db(dir.path(), "n", 3);
    EXPECT_EQ(ids_of(db), c.ids);
    if (!c.ids.empty()) {
      EXPECT_EQ(db.index(DatabaseEntryIdentifier(c.ids.front())), 0);
    }
    db.append(make_entry("new", "x"));
    std::string expected;
    for (const auto& id : c.ids) expected += id + "\n";
    EXPECT_EQ(dir.read("n.adi"), expected + "new\n");
  }

  TempDirectory dir;
  dir.write("n.adi", "a\n" + std::string(256, 'x') + "\n");
  EXPECT_THROW(Db(dir.path(), "n", 1), std::invalid_argument);
  EXPECT_EQ(Db(dir.path(), "missing", 1).size(), 0);
}

TEST(ArchiveDatabase, DuplicateFirstPositionWins) {
  TempDirectory dir;
  dir.write("n.adi", "a\nb\na\n");
  Db db(dir.path(), "n", 3);
  EXPECT_EQ(db.index(DatabaseEntryIdentifier("a")), 0);
  db.remove(DatabaseEntryIdentifier("a"));
  EXPECT_EQ(ids_of(db), (std::vector<std::string>{"b", "a"}));
  EXPECT_EQ(db.index(DatabaseEntryIdentifier("a")), 1);
}

TEST(ArchiveDatabase, ErrorMessages) {
  TempDirectory dir;
  Db db(dir.path(), "n", 3);
  db.append(make_entry("A1", "a"));
  const std::string index_before = dir.read("n.adi");
  const Db read_only(dir.path(), "n", Archive::READ);
  EXPECT_FALSE(read_only.writable());
  Db& ro = const_cast<Db&>(read_only);
  const struct {
    const char* name;
    std::function<void()> call;
    std::string message;
  } cases[] = {
      {"entry out of range", [&] { db.entry(1); }, "ArchiveDatabase::entry( int ) 1 is out of range"},
      {"negative", [&] { db.entry(-1); }, "ArchiveDatabase::entry( int ) -1 is out of range"},
      {"identifier out of range", [&] { db.identifier(7); }, "ArchiveDatabase::entry( int ) 7 is out of range"},
      {"unknown id",
       [&] { db.entry(DatabaseEntryIdentifier("zz")); },
       "ArchiveDatabase::entry( DatabaseEntryIdentifier zz is not in the database"},
      {"duplicate",
       [&] { db.append(make_entry("A1", "other")); },
       "ArchiveDatabase::append: database already contains an entry with this identifier: A1"},
      {"replace unknown",
       [&] { db.replace(make_entry("Q", "q")); },
       "ArchiveDatabase::replace: database does not contain an entry with this identifier: Q"},
      {"remove unknown",
       [&] { db.remove(DatabaseEntryIdentifier("Q")); },
       "ArchiveDatabase::remove: database does not contain an entry with this identifier: Q"},
      {"append read-only",
       [&] { ro.append(make_entry("B", "b")); },
       "ArchiveDatabase::append: database is not opened for writing"},
      {"replace read-only",
       [&] { ro.replace(make_entry("A1", "b")); },
       "ArchiveDatabase::replace: database is not opened for writing"},
      {"remove read-only",
       [&] { ro.remove(DatabaseEntryIdentifier("A1")); },
       "ArchiveDatabase::remove: database is not opened for writing"},
      {"escaping path",
       [&] { db.append(make_entry("x/../../evil", "b")); },
       "ArchiveDatabase::append: identifier does not name a file inside the database directory: x/../../evil"},
      {"escaping replace",
       [&] { db.replace(make_entry("..", "b")); },
       "ArchiveDatabase::replace: identifier does not name a file inside the database directory: .."},
      {"escaping remove",
       [&] { db.remove(DatabaseEntryIdentifier("a/..")); },
       "ArchiveDatabase::remove: identifier does not name a file inside the database directory: a/.."},
      {"line end inside",
       [&] { db.append(make_entry("a\nb", "b")); },
       "ArchiveDatabase::append: identifier cannot be stored in the index file: a\nb"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(database_error_of(c.call), c.message);
  }
  EXPECT_EQ(dir.read("n.adi"), index_before);
  EXPECT_EQ(dir.read("n_A1.ade"), std::string("\0\0\0\6\0\0\0\2A1\0\0\0\1a", 15));
  EXPECT_EQ(db.size(), 1);
  EXPECT_NE(database_error_of([&] { db.append(make_entry(std::string("a\0b", 3), "b")); }), "(no database_error)");
  EXPECT_FALSE(dir.exists("n_a"));

  // The abstract interface refuses changes on its own.
  struct Empty : Database<Entry> {
    DatabaseEntryIdentifier identifier(int) const override { return {}; }
    bool identifier_exists(const DatabaseEntryIdentifier&) const override { return false; }
    int index(const DatabaseEntryIdentifier&) const override { return 0; }
    int size() const override { return 0; }
    THandle<Entry> entry(int) const override { return {}; }
    THandle<Entry> entry(const DatabaseEntryIdentifier&) const override { return {}; }
    void flush() override {}
  } empty;
  EXPECT_FALSE(empty.writable());
  EXPECT_EQ(database_error_of([&] { empty.append(make_entry("a", "b")); }),
            "Database::append: database is not opened for writing");
  EXPECT_EQ(database_error_of([&] { empty.replace(make_entry("a", "b")); }),
            "Database::replace: database is not opened for writing");
  EXPECT_EQ(database_error_of([&] { empty.remove(DatabaseEntryIdentifier("a")); }),
            "Database::remove: database is not opened for writing");
}

TEST(ArchiveDatabase, EntryFiles) {
  TempDirectory dir;
  Db db(dir.path(), "n", 3);
  db.append(make_entry("L", std::string(100, 'x')));
  db.replace(make_entry("L", "0123456789"));
  const std::string file = dir.read("n_L.ade");
  EXPECT_EQ(file.size(), 4u + 4 + 1 + 4 + 100);  // the old tail stays
  EXPECT_EQ(file.substr(0, 23), std::string("\0\0\0\6\0\0\0\1L\0\0\0\x0A", 13) + "0123456789");
  EXPECT_EQ(*db.entry(0)->data(), "0123456789");
  EXPECT_EQ(dir.read("n.adi"), "L\n");
  EXPECT_FALSE(dir.exists("n_L.ade.tmp"));

  // A stale entry file from an earlier crash is updated in place.
  dir.write("n_S.ade", std::string(40, '#'));
  db.append(make_entry("S", "s"));
  EXPECT_EQ(dir.read("n_S.ade"), std::string("\0\0\0\6\0\0\0\1S\0\0\0\1s", 14) + std::string(26, '#'));

  // Subdirectories must exist: the archive's open error comes through.
  try {
    db.append(make_entry("sub/x", "s"));
    ADD_FAILURE();
  } catch (const std::invalid_argument& e) {
    EXPECT_EQ(std::string(e.what()), "Archive::open: Couldn't open file: " + dir.file("n_sub/x.ade"));
  }
  EXPECT_EQ(db.size(), 2);
  ::mkdir(dir.file("n_sub").c_str(), 0777);
  db.append(make_entry("sub/x", "s"));
  EXPECT_EQ(*db.entry(DatabaseEntryIdentifier("sub/x"))->data(), "s");
}

TEST(ArchiveDatabase, DamagedEntryFiles) {
  TempDirectory dir;
  Db db(dir.path(), "n", 3);
  db.append(make_entry("E", "hello"));
  const std::string good = dir.read("n_E.ade");
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {
      {"empty", ""},
      {"version only", good.substr(0, 4)},
      {"cut in identifier", good.substr(0, 6)},
      {"cut in data", good.substr(0, good.size() - 1)},
      {"huge data length", good.substr(0, 9) + std::string("\xFF\xFF\xFF\xF0hello", 9)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    dir.write("n_E.ade", c.bytes);
    EXPECT_EQ(database_error_of([&] { db.entry(0); }),
              "ArchiveDatabase::read_entry: truncated or corrupt entry file: " + dir.file("n_E.ade"));
  }
  ::unlink(dir.file("n_E.ade").c_str());
  EXPECT_THROW(db.entry(0), std::invalid_argument);
}

TEST(ArchiveDatabase, NearestEntry) {
  TempDirectory dir;
  dir.write("n.adi", "abc\nABD\nabx\n");
  Db db(dir.path(), "n", 1);
  const struct {
    const char* target;
    int position;
    Db::IdentifierMatch match;
  } cases[] = {
      {"ABC", 0, Db::case_insensitive_match}, {"abz", 2, Db::no_match}, {"abd", 1, Db::case_insensitive_match},
      {"abc", 0, Db::exact_match},            {"a", 0, Db::no_match},   {"abb", 0, Db::no_match},
      {"abe", 2, Db::no_match},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    Db::IdentifierMatch match = Db::exact_match;
    EXPECT_EQ(db.nearest_entry(DatabaseEntryIdentifier(c.target), match), c.position);
    EXPECT_EQ(match, c.match);
  }

  TempDirectory dir2;
  dir2.write("n.adi", "abc\nABD\nabx\nabd\nAbd\n");
  Db db2(dir2.path(), "n", 1);
  Db::IdentifierMatch match = Db::no_match;
  EXPECT_EQ(db2.nearest_entry(DatabaseEntryIdentifier("abd"), match), 3);
  EXPECT_EQ(match, Db::exact_match);
  EXPECT_EQ(db2.nearest_entry(DatabaseEntryIdentifier("aBD"), match), 1);
  EXPECT_EQ(match, Db::case_insensitive_match);

  Db empty(dir.path(), "none", 1);
  EXPECT_EQ(empty.nearest_entry(DatabaseEntryIdentifier("x"), match), -1);
  EXPECT_EQ(match, Db::no_match);
}

TEST(ArchiveDatabase, DeleteDatabaseFiles) {
  TempDirectory dir;
  {
    Db db(dir.path(), "n", 3);
    for (const char* id : {"a", "b", "c"}) db.append(make_entry(id, id));
  }
  dir.write("other_a.ade", "keep");
  Db::delete_database_files(dir.path(), "n");
  for (const char* f : {"n.adi", "n_a.ade", "n_b.ade", "n_c.ade"}) EXPECT_FALSE(dir.exists(f)) << f;
  EXPECT_TRUE(dir.exists("other_a.ade"));
}

}  // namespace
}  // namespace vorn
