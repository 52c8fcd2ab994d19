// One suite of Database<Entry> behaviour, run against every backend: a
// directory, an SQLite file and a PostgreSQL database on a real server
// (started by the tests). Each backend is opened through its locator, as
// users open it, and must give the same positions, matches, entries and
// messages (apart from the class name that starts them).
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "support/PostgresServer.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/OpenDatabase.h"
#include "vorn/database/PostgresDatabase.h"
#include "vorn/database/SqliteDatabase.h"
#include "vorn/database/StoredDatabase.h"
#include "vorn/database/database_error.h"

namespace vorn::test {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = StoredDatabase<Entry>;
using Id = DatabaseEntryIdentifier;

struct DirectoryBackend {
  static constexpr const char* class_name = "ArchiveDatabase";
  std::string locator() const { return dir.path + "/n.adi"; }
  TempDirectory dir;
};

struct SqliteBackend {
  static constexpr const char* class_name = "SqliteDatabase";
  std::string locator() const { return "sqlite:" + dir.path + "/n.sqlite"; }
  TempDirectory dir;
};

// A database of its own on the shared test server for every test.
struct PostgresBackend {
  static constexpr const char* class_name = "PostgresDatabase";
  PostgresBackend() { PostgresServer::shared().create_database(name); }
  ~PostgresBackend() { PostgresServer::shared().drop_database(name); }
  std::string locator() const { return PostgresServer::shared().uri(name); }
  std::string name = "behaviour_" + std::to_string(serial());
  static int serial() {
    static std::atomic<int> next{0};
    return ++next;
  }
};

struct BackendNames {
  template <class Backend>
  static std::string GetName(int) {
    if (std::is_same_v<Backend, DirectoryBackend>) return "Directory";
    if (std::is_same_v<Backend, SqliteBackend>) return "Sqlite";
    return "Postgres";
  }
};

std::string what_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const database_error& e) {
    return e.what();
  }
  return "(no database_error)";
}

template <class Backend>
class DatabaseBehaviour : public ::testing::Test {
 protected:
  std::unique_ptr<Db> open(bool writable = true, bool create = true, const std::string& locator = "") const {
    DatabaseOptions options;
    options.writable = writable;
    options.create_if_missing = create;
    return open_database<Entry>(locator.empty() ? backend_.locator() : locator, options);
  }
  std::vector<std::string> ids() const {
    std::vector<std::string> out;
    for (const Id& id : db_->identifiers()) out.push_back(id.text());
    return out;
  }
  void append_all(const std::vector<std::string>& ids) {
    for (const std::string& id : ids) db_->append(make_entry(id, "data of " + id));
  }
  // "<Class>" + rest: the message every backend gives with its own class.
  static std::string message(const std::string& rest) { return Backend::class_name + rest; }

  Backend backend_;
  std::unique_ptr<Db> db_ = open();
};

using Backends = ::testing::Types<DirectoryBackend, SqliteBackend, PostgresBackend>;
TYPED_TEST_SUITE(DatabaseBehaviour, Backends, BackendNames);

TYPED_TEST(DatabaseBehaviour, EmptyDatabaseLookups) {
  Db& db = *this->db_;
  EXPECT_EQ(db.size(), 0);
  EXPECT_EQ(what_of([&] { db.entry(0); }), this->message("::entry( int ) 0 is out of range"));
  EXPECT_EQ(what_of([&] { db.entry(-1); }), this->message("::entry( int ) -1 is out of range"));
  EXPECT_EQ(what_of([&] { db.identifier(0); }), this->message("::entry( int ) 0 is out of range"));
  EXPECT_EQ(what_of([&] { db.entry(Id("X1")); }),
            this->message("::entry( DatabaseEntryIdentifier X1 is not in the database"));
  EXPECT_FALSE(db.find(Id("X1")));
  EXPECT_FALSE(db.identifier_exists(Id("X1")));
  EXPECT_EQ(db.index(Id("X1")), 0);
  Database<Entry>::IdentifierMatch match = Database<Entry>::exact_match;
  EXPECT_EQ(db.nearest_entry(Id("X1"), match), -1);
  EXPECT_EQ(match, Database<Entry>::no_match);
}

TYPED_TEST(DatabaseBehaviour, AppendKeepsOrderRemoveMovesLaterEntriesUpReplaceStays) {
  Db& db = *this->db_;
  this->append_all({"A1", "B1", "D1"});
  EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1", "B1", "D1"}));
  EXPECT_EQ(db.index(Id("D1")), 2);
  EXPECT_EQ(*db.entry(1)->data(), "data of B1");
  EXPECT_EQ(*db.entry(Id("D1"))->data(), "data of D1");
  EXPECT_EQ(*db.find(Id("A1"))->data(), "data of A1");
  EXPECT_FALSE(db.find(Id("a1")));  // another case is another identifier

  db.remove(Id("B1"));
  EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1", "D1"}));
  EXPECT_EQ(db.index(Id("D1")), 1);
  EXPECT_EQ(db.entry(1)->identifier().text(), "D1");
  EXPECT_EQ(db.index(Id("B1")), 2);

  db.append(make_entry("B1", "again"));
  EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1", "D1", "B1"}));

  // A replacement keeps the position, also when shorter than the old data.
  db.replace(make_entry("A1", std::string(100, 'x')));
  db.replace(make_entry("A1", "short"));
  EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1", "D1", "B1"}));
  EXPECT_EQ(*db.entry(0)->data(), "short");
}

TYPED_TEST(DatabaseBehaviour, RefusedChangesSayWhyAndChangeNothing) {
  Db& db = *this->db_;
  this->append_all({"A1", "B1"});
  const std::unique_ptr<Db> reader = this->open(false, false);
  auto batch = reader->batch();
  batch.remove(Id("A1"));
  const std::string read_only = ": database is not opened for writing";
  const struct {
    const char* name;
    std::function<void()> change;
    std::string message;
  } rows[] = {
      {"duplicate append", [&] { db.append(make_entry("A1", "other")); },
       "::append: database already contains an entry with this identifier: A1"},
      {"replace of an absent entry", [&] { db.replace(make_entry("Z9", "z")); },
       "::replace: database does not contain an entry with this identifier: Z9"},
      {"remove of an absent entry", [&] { db.remove(Id("Z9")); },
       "::remove: database does not contain an entry with this identifier: Z9"},
      {"empty identifier", [&] { db.append(make_entry("", "e")); }, "::append: identifier is empty"},
      {"read-only append", [&] { reader->append(make_entry("C1", "c")); }, "::append" + read_only},
      {"read-only replace", [&] { reader->replace(make_entry("A1", "c")); }, "::replace" + read_only},
      {"read-only remove", [&] { reader->remove(Id("A1")); }, "::remove" + read_only},
      {"read-only batch", [&] { reader->apply(batch); }, "::apply" + read_only},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(what_of(row.change), this->message(row.message));
    EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1", "B1"}));
    EXPECT_EQ(*db.entry(0)->data(), "data of A1");
  }
}

TYPED_TEST(DatabaseBehaviour, NearestEntryFindsMatchesAndNeighbours) {
  // Folded groups: AB (0, 2, 7), B (1, 3), C (5), _ (4), \xe9 (6), ABD (8), ABX (9).
  this->append_all({"Ab", "b", "aB", "B", "_", "c", "\xe9", "ab", "ABD", "abx"});
  const struct {
    const char* name;
    const char* target;
    int position;
    Database<Entry>::IdentifierMatch match;
  } rows[] = {
      {"exact wins over an earlier case variant", "ab", 7, Database<Entry>::exact_match},
      {"first case variant in position order", "AB", 0, Database<Entry>::case_insensitive_match},
      {"case variant of a longer identifier", "abd", 8, Database<Entry>::case_insensitive_match},
      {"between two identifiers: the greater", "abe", 9, Database<Entry>::no_match},
      {"above a group: the next group's first position", "Ac", 1, Database<Entry>::no_match},
      {"below everything: the smallest group's first", "a", 0, Database<Entry>::no_match},
      {"underscore sorts above letters once folded", "a_", 1, Database<Entry>::no_match},
      {"bytes compare unsigned", "\xe0", 6, Database<Entry>::no_match},
      {"above everything: the greatest", "\xff", 6, Database<Entry>::no_match},
      {"empty target", "", 0, Database<Entry>::no_match},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Database<Entry>::IdentifierMatch match = Database<Entry>::exact_match;
    EXPECT_EQ(this->db_->nearest_entry(Id(row.target), match), row.position);
    EXPECT_EQ(match, row.match);
  }
}

// The backend's index must answer exactly as the scan over every identifier
// (Database::nearest_entry itself) does, ties and all, while appends (more
// than the directory index keeps unmerged), removals, batches and another
// writer's changes shift the positions, which stay dense and in append order.
TYPED_TEST(DatabaseBehaviour, NearestEntryAgreesWithTheScanAsPositionsShift) {
  Db& db = *this->db_;
  db.set_durability(Durability::relaxed);  // the order is under test, not the disk
  const std::unique_ptr<Db> other = this->open();
  other->set_durability(Durability::relaxed);
  std::mt19937 random(7);
  const std::string letters = "aAbB_~z\x7f\xe9";
  // Stems around the 16 bytes the directory index compares as words.
  const char* const stems[] = {"", "", "0123456789abcde", "0123456789ABCDEF"};
  const auto random_id = [&] {
    std::string id(1 + random() % 3, ' ');
    for (char& c : id) c = letters[random() % letters.size()];
    return stems[random() % 4] + id;
  };
  std::vector<std::string> model;
  const auto ask = [&](int questions) {
    EXPECT_EQ(this->ids(), model);
    for (int q = 0; q < questions; ++q) {
      const Id target(random_id());
      SCOPED_TRACE("target '" + target.text() + "'");
      Database<Entry>::IdentifierMatch fast = Database<Entry>::no_match;
      Database<Entry>::IdentifierMatch scan = Database<Entry>::exact_match;
      EXPECT_EQ(db.nearest_entry(target, fast), db.Database<Entry>::nearest_entry(target, scan));
      EXPECT_EQ(fast, scan);
    }
  };
  const auto toggle = [&](auto& target, const std::string& id) {
    const auto at = std::find(model.begin(), model.end(), id);
    if (at == model.end()) {
      target.append(make_entry(id, "v"));
      model.push_back(id);
    } else if (random() % 3 == 0) {
      target.replace(make_entry(id, "w"));
    } else {
      target.remove(Id(id));
      model.erase(at);
    }
  };
  ask(10);
  for (int i = 0; i < 300; ++i) {
    toggle(db, random_id() + std::to_string(i));
    if (i % 60 == 59) ask(10);
  }
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    if (round % 3 == 0) {
      auto batch = db.batch();
      for (int k = 0; k < 15; ++k) toggle(batch, random_id());
      batch.commit();
    } else if (round % 3 == 1) {
      for (int k = 0; k < 10; ++k) toggle(db, random_id());
    } else {
      toggle(*other, random_id());
      db.reload();
    }
    ask(10);
  }
}

TYPED_TEST(DatabaseBehaviour, BatchIsAllOrNone) {
  Db& db = *this->db_;
  this->append_all({"A1"});
  auto refused = db.batch();
  refused.append(make_entry("B1", "b"));
  refused.remove(Id("A1"));
  refused.remove(Id("A1"));
  EXPECT_EQ(what_of([&] { refused.commit(); }),
            this->message("::remove: database does not contain an entry with this identifier: A1"));
  EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1"}));
  EXPECT_EQ(refused.size(), 3u);

  auto batch = db.batch();
  batch.append(make_entry("B1", "b"));
  batch.replace(make_entry("A1", "a2"));
  batch.append(make_entry("C1", "c"));
  batch.remove(Id("B1"));
  batch.commit();
  EXPECT_EQ(batch.size(), 0u);
  EXPECT_EQ(this->ids(), (std::vector<std::string>{"A1", "C1"}));
  EXPECT_EQ(*db.entry(0)->data(), "a2");
}

// Every backend keeps an entry as the bytes of its directory entry file.
TYPED_TEST(DatabaseBehaviour, EntriesAreStoredAsTheirEntryFileBytes) {
  TempDirectory reference;
  ArchiveDatabase<Entry> files(reference.path, "r", Archive::READ | Archive::WRITE);
  const std::string identifiers[] = {"plain", "caf\xc3\xa9", "\xff\xfe not UTF-8"};
  for (const std::string& id : identifiers) {
    SCOPED_TRACE(id);
    const auto entry = make_entry(id, std::string("data\x01\x02 of ", 10) + id);
    files.append(entry);
    this->db_->append(entry);
    std::string stored;
    ASSERT_TRUE(this->db_->store().read(Id(id), stored, "test"));
    EXPECT_EQ(stored, reference.read("r_" + id + ".ade"));
    EXPECT_EQ(this->db_->entry(Id(id))->identifier().text(), id);
  }
}

// Process `p` appends its own entries, replaces and removes some of them,
// and competes for shared identifiers; the same seed lets the parent replay
// what it acknowledged.
std::map<std::string, std::string> own_changes(int p, Db* db) {
  std::mt19937 random(static_cast<unsigned>(p) + 1u);
  std::map<std::string, std::string> alive;
  std::vector<std::string> live;
  for (int i = 0; i < 200; ++i) {
    const unsigned choice = random() % 10;
    if (choice < 5 || live.size() < 2) {
      const std::string id = "p" + std::to_string(p) + "_" + std::to_string(i);
      if (db) db->append(make_entry(id, id + "_v0"));
      alive[id] = id + "_v0";
      live.push_back(id);
    } else if (choice < 8) {
      const std::string& id = live[random() % live.size()];
      const std::string data = id + "_v" + std::to_string(i);
      if (db) db->replace(make_entry(id, data));
      alive[id] = data;
    } else {
      const std::size_t at = random() % live.size();
      if (db) db->remove(Id(live[at]));
      alive.erase(live[at]);
      live.erase(live.begin() + static_cast<std::ptrdiff_t>(at));
    }
    if (i % 20 == 0 && db) {
      try {
        db->append(make_entry("shared" + std::to_string(i / 20), "from p" + std::to_string(p)));
      } catch (const database_error&) {
      }
    }
  }
  return alive;
}

// Runs `work` in a child process; returns its pid. The child never returns
// into the test and never closes what the parent holds open.
template <class Work>
pid_t spawn(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    int status = 0;
    try {
      work();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "writer %d: %s\n", static_cast<int>(::getpid()), e.what());
      status = 1;
    } catch (...) {
      status = 1;
    }
    ::_exit(status);
  }
  return child;
}

// Eight writers, each of which also creates the database: creators must
// not collide, and the result is the acknowledged changes in some order.
TYPED_TEST(DatabaseBehaviour, ConcurrentProcessesLoseNothing) {
  const TypeParam fresh;
  constexpr int processes = 8;
  std::vector<pid_t> children;
  for (int p = 0; p < processes; ++p) {
    children.push_back(spawn([&, p] {
      const std::unique_ptr<Db> db = this->open(true, true, fresh.locator());
      db->set_durability(Durability::relaxed);
      own_changes(p, db.get());
    }));
    ASSERT_GT(children.back(), 0);
  }
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a writer failed: " << status;
  }
  std::map<std::string, std::string> expected;
  for (int p = 0; p < processes; ++p) {
    for (const auto& item : own_changes(p, nullptr)) expected.insert(item);
  }
  const std::unique_ptr<Db> db = this->open(false, false, fresh.locator());
  std::map<std::string, std::string> found;
  int shared = 0;
  for (const THandle<Entry>& entry : *db) {
    const std::string id = entry->identifier().text();
    if (id.compare(0, 6, "shared") == 0) {
      ++shared;
    } else {
      found[id] = *entry->data();
    }
  }
  EXPECT_EQ(found, expected);
  EXPECT_EQ(shared, 10);
  EXPECT_EQ(static_cast<std::size_t>(db->size()), expected.size() + 10);  // nothing listed twice
}

// A writer killed at some moment of a large batch: the batch is then
// wholly there or not there at all.
TYPED_TEST(DatabaseBehaviour, KilledWriterLeavesItsBatchWholeOrAbsent) {
  this->append_all({"before"});
  constexpr int batch_size = 1500;
  for (const int delay_ms : {0, 5, 20, 60, 150}) {
    SCOPED_TRACE(delay_ms);
    const std::string prefix = "k" + std::to_string(delay_ms) + "_";
    const pid_t child = spawn([&] {
      const std::unique_ptr<Db> db = this->open();
      auto batch = db->batch();
      for (int i = 0; i < batch_size; ++i) batch.append(make_entry(prefix + std::to_string(i), std::string(2000, 'k')));
      batch.commit();
    });
    ASSERT_GT(child, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);

    const std::unique_ptr<Db> db = this->open();
    int listed = 0;
    for (const Id& id : db->identifiers()) listed += id.text().compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
    EXPECT_TRUE(listed == 0 || listed == batch_size) << listed << " of the batch's entries are listed";
    if (listed == batch_size) {
      EXPECT_EQ(db->entry(Id(prefix + "0"))->data()->size(), 2000u);
    }
    EXPECT_EQ(db->identifier(0).text(), "before");
  }
}

}  // namespace
}  // namespace vorn::test
