// The everyday calls of a database: range-for over entries and identifiers,
// and opening with named options. Lookups, find() and nearest_entry() are
// tested on every backend in tests/backends.
#include "vorn/database/ArchiveDatabase.h"

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "support/TestSupport.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseOptions.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;
using Id = DatabaseEntryIdentifier;
using test::TempDirectory;
using testing::error_of;

using test::make_entry;

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

TEST(DatabaseIteration, LoopsSeeWhatThePositionsHold) {
  TempDirectory dir;
  Db db(dir.path, "n", Archive::READ | Archive::WRITE);
  for (const char* id : {"B", "a", "C"}) db.append(make_entry(id, std::string("data of ") + id));
  const Database<Entry>& base = db;
  const auto data_of_entries = [&base] {
    std::string seen;
    for (const THandle<Entry>& e : base) seen += *e->data() + ";";
    return seen;
  };
  const struct { const char* name; std::function<std::string()> loop; std::string seen; } cases[] = {
      {"entries in position order", data_of_entries, "data of B;data of a;data of C;"},
      {"post-increment and arrow",
       [&base] {
         auto it = base.begin();
         const std::string first = *(*it++)->data();
         return first + it->unhand()->identifier().text() + std::to_string(it.position());
       },
       "data of B" "a" "1"},
      {"appended during the loop: not visited",
       [&] {
         std::string seen;
         for (const Id& id : db.identifiers()) {
           seen += id.text() + ";";
           db.append(make_entry(id.text() + "+", "more"));
         }
         return seen;
       },
       "B;a;C;"},
      {"removed during the loop: the vanished position throws",
       [&] {
         return error_of([&] {
           for (const THandle<Entry>& e : db) db.remove(e->identifier());
         });
       },
       "ArchiveDatabase::entry( int ) 3 is out of range"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.loop(), c.seen);
  }
}

TEST(DatabaseIteration, EntriesAreReadOnlyWhenReached) {
  TempDirectory dir;
  Db db(dir.path, "n", Archive::READ | Archive::WRITE);
  for (const char* id : {"A", "B"}) db.append(make_entry(id, id));
  ::unlink(dir.file("n_B.ade").c_str());
  std::string identifiers;
  for (const Id& id : db.identifiers()) identifiers += id.text();
  EXPECT_EQ(identifiers, "AB");
  auto it = db.begin();
  EXPECT_EQ(*(*it)->data(), "A");
  ++it;  // steps onto B without reading it
  EXPECT_NE(it, db.end());
  EXPECT_EQ(error_of([&] { *it; }), "Archive::open: Couldn't open file: " + dir.file("n_B.ade"));
  const Db empty(dir.path, "none", Archive::READ);
  EXPECT_EQ(empty.begin(), empty.end());
}

TEST(ArchiveDatabaseOpen, OptionsDecideWhatAMissingOrExistingDatabaseDoes) {
  enum Index { none, file, directory };
  const auto options = [](bool writable, bool create, bool error_if_exists) {
    DatabaseOptions o;
    o.writable = writable;
    o.create_if_missing = create;
    o.error_if_exists = error_if_exists;
    return o;
  };
  const struct {
    const char* name;
    const char* subdirectory;
    Index index;
    DatabaseOptions options;
    std::string error;  // "" when it opens; {D} stands for the directory
    bool index_after;
  } cases[] = {
      {"existing, read-only", "", file, options(false, false, false), "", true},
      {"missing index refused", "", none, options(true, false, false),
       "ArchiveDatabase::open: no database (no index file): {D}/n.adi", false},
      {"missing index created", "", none, options(true, true, false), "", true},
      {"existing refused when asked", "", file, options(false, true, true),
       "ArchiveDatabase::open: database already exists: {D}/n.adi", true},
      {"missing directory never created", "/nope", none, options(true, true, false),
       "ArchiveDatabase::open: no such directory: {D}/nope", false},
      {"a file is no directory", "/n.adi", file, options(false, true, false),
       "ArchiveDatabase::open: no such directory: {D}/n.adi", true},
      {"index that is a directory", "", directory, options(false, false, false),
       "ArchiveDatabase::open: index is a directory: {D}/n.adi", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TempDirectory dir;
    if (c.index == file) dir.write("n.adi", "A\n");
    if (c.index == directory) ::mkdir(dir.file("n.adi").c_str(), 0700);
    std::unique_ptr<Db> db;
    EXPECT_EQ(error_of([&] { db = Db::open(dir.path + c.subdirectory, "n", c.options); }),
              replace_all(c.error, "{D}", dir.path));
    EXPECT_EQ(dir.exists("n.adi"), c.index_after);
    if (!db) continue;
    EXPECT_EQ(db->writable(), c.options.writable);
    EXPECT_EQ(db->size(), c.index == file ? 1 : 0);
  }
}

}  // namespace
}  // namespace vorn
