// The everyday calls of a database: range-for over entries and identifiers,
// find(), opening with named options, and nearest_entry() of the archive
// database against the scan of the abstract interface.
#include "vorn/database/ArchiveDatabase.h"

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <random>
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
  const auto identifiers = [&base] {
    std::string seen;
    for (const Id& id : base.identifiers()) seen += id.text() + ";";
    return seen;
  };
  const struct { const char* name; std::function<std::string()> loop; std::string seen; } cases[] = {
      {"entries in position order", data_of_entries, "data of B;data of a;data of C;"},
      {"identifiers in position order", identifiers, "B;a;C;"},
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

TEST(DatabaseFind, NullWhenAbsent) {
  TempDirectory dir;
  Db db(dir.path, "n", Archive::READ | Archive::WRITE);
  db.append(make_entry("a", "data of a"));
  const struct { const char* name; const char* id; const char* data; } cases[] = {
      {"present", "a", "data of a"}, {"absent", "zz", nullptr}, {"other case is another identifier", "A", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const THandle<Entry> found = db.find(Id(c.id));
    EXPECT_EQ(static_cast<bool>(found), c.data != nullptr);
    if (found && c.data != nullptr) {
      EXPECT_EQ(*found->data(), c.data);
    }
  }
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
      {"existing, writable", "", file, options(true, false, false), "", true},
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

TEST(ArchiveDatabaseNearestEntry, GroupsOfCaseVariants) {
  TempDirectory dir;
  // Folded: AB (0, 2, 7), B (1, 3), C (5), _ (4), \xe9 (6, 8).
  dir.write("n.adi", "Ab\nb\naB\nB\n_\nc\n\xe9\nab\n\xe9\n");
  const Db db(dir.path, "n", Archive::READ);
  const struct { const char* name; const char* target; int position; Db::IdentifierMatch match; } cases[] = {
      {"exact wins over an earlier case variant", "ab", 7, Db::exact_match},
      {"first case variant in position order", "AB", 0, Db::case_insensitive_match},
      {"above: first position of the smallest greater group", "aa", 0, Db::no_match},
      {"above a group: the next group's first position", "Ac", 1, Db::no_match},
      {"underscore sorts above letters once folded", "a_", 1, Db::no_match},
      {"bytes compare unsigned", "\xe0", 6, Db::no_match},
      {"below: first position of the greatest group", "\xff", 6, Db::no_match},
      {"empty target", "", 0, Db::no_match},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Db::IdentifierMatch match = Db::exact_match;
    EXPECT_EQ(db.nearest_entry(Id(c.target), match), c.position);
    EXPECT_EQ(match, c.match);
  }
}

// Many small databases full of case variants, changed by appends, removals
// and reloads between the questions, so that the ordered index is built,
// kept up to date and dropped.
TEST(ArchiveDatabaseNearestEntry, AgreesWithTheScanOnRandomDatabases) {
  std::mt19937 random(2026);
  const std::string alphabet = "aAbB_\xe9";
  // Stems around 16 bytes, where the ordered index stops comparing words.
  const char* const stems[] = {"", "", "0123456789abcde", "0123456789ABCDEF"};
  const auto random_id = [&] {
    std::string id(1 + random() % 4, ' ');  // never empty: the database refuses that
    for (char& ch : id) ch = alphabet[random() % alphabet.size()];
    return stems[random() % 4] + id;
  };
  const auto listed = [](const Db& db) {
    std::string lines;
    for (const Id& id : db.identifiers()) lines += id.text() + "\n";
    return lines;
  };
  for (int round = 0; round < 40; ++round) {
    TempDirectory dir;
    std::string index;
    for (unsigned i = random() % 10; i > 0; --i) index += random_id() + "\n";
    dir.write("n.adi", index);
    Db db(dir.path, "n", Archive::READ | Archive::WRITE);
    db.set_durability(Durability::relaxed);  // the order is under test, not the disk
    for (int step = 0; step < 10; ++step) {
      for (int question = 0; question < 10; ++question) {
        const Id target(random_id());
        Db::IdentifierMatch fast = Db::exact_match;
        Db::IdentifierMatch scanned = Db::no_match;
        const int position = db.nearest_entry(target, fast);
        EXPECT_EQ(position, db.Database<Entry>::nearest_entry(target, scanned))
            << "target '" << target.text() << "' in\n" << listed(db);
        EXPECT_EQ(fast, scanned) << "target '" << target.text() << "' in\n" << listed(db);
      }
      const unsigned change = random() % 4;
      if (change == 0 && db.size() > 0) {
        db.remove(db.identifier(static_cast<int>(random() % static_cast<unsigned>(db.size()))));
      } else if (change == 3) {
        dir.write("n.adi", listed(db) + random_id() + "\n");
        db.read_index_file();
      } else {
        const std::string id = random_id();
        if (!db.identifier_exists(Id(id))) db.append(make_entry(id, "x"));
      }
    }
  }
}

// Enough appends after the first question to merge the appended positions
// into the order a few times.
TEST(ArchiveDatabaseNearestEntry, AgreesWithTheScanThroughManyAppends) {
  TempDirectory dir;
  Db db(dir.path, "n", Archive::READ | Archive::WRITE);
  db.set_durability(Durability::relaxed);  // the order is under test, not the disk
  const char* const cases[] = {"k", "K", "k_", "K1", "k2"};
  Db::IdentifierMatch match;
  db.nearest_entry(Id("k"), match);
  for (int i = 0; i < 700; ++i) {
    db.append(make_entry(cases[i % 5] + std::to_string(i * 7919 % 1000), "x"));
    if (i % 50 != 49) continue;
    for (const char* target : {"k", "K5", "k_5", "k99", "k500", "kz", "a", "~"}) {
      SCOPED_TRACE(std::to_string(i) + " appended, target " + target);
      Db::IdentifierMatch scanned = Db::no_match;
      EXPECT_EQ(db.nearest_entry(Id(target), match), db.Database<Entry>::nearest_entry(Id(target), scanned));
      EXPECT_EQ(match, scanned);
    }
  }
}

}  // namespace
}  // namespace vorn
