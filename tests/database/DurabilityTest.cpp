// Writers that exclude each other, atomic and durable changes, and failures
// that are reported and leave nothing behind: checked through the fault
// layer (every operation failed in turn, or the power cut after it), with
// real processes, and on a read-only file system.
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/io/FileSystem.h"
#include "vorn/testing/FaultInjectionFileSystem.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;
using Id = DatabaseEntryIdentifier;
using State = std::map<std::string, std::string>;
using test::TempDirectory;

THandle<Entry> text_entry(const std::string& id, const std::string& data) {
  return THandle<Entry>(new Entry(Id(id), THandle<std::string>(new std::string(data))));
}

std::string what_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

State state_of(const std::string& directory) {
  const Db db(directory, "n", Archive::READ);
  State state;
  for (int i = 0; i < db.size(); ++i) state[db.identifier(i).text()] = *db.entry(i)->data();
  return state;
}

// Names in the directory other than the index, the lock file and the entry
// files the index lists: temporary files and unlisted entry files.
std::set<std::string> stray_files(const std::string& directory) {
  std::set<std::string> expected = {"n.adi", "n.lock", "n.pending"};
  const Db db(directory, "n", Archive::READ);
  for (int i = 0; i < db.size(); ++i) expected.insert("n_" + db.identifier(i).text() + ".ade");
  std::set<std::string> stray;
  for (const auto& item : std::filesystem::directory_iterator(directory)) {
    const std::string name = item.path().filename().string();
    if (expected.count(name) == 0) stray.insert(name);
  }
  return stray;
}

void fill(const std::string& directory, const State& state) {
  Db db(directory, "n", Archive::READ | Archive::WRITE);
  db.set_durability(Durability::relaxed);
  for (const auto& [id, data] : state) db.append(text_entry(id, data));
}

struct Scenario {
  const char* name;
  State before;
  std::function<void(Db&)> change;
  State after;
  std::set<std::string> added;  // identifiers that the change adds
};

// After a power cut during a change: each entry as before or after it, and
// the entries it adds all listed or none.
bool whole(const State& state, const Scenario& scenario) {
  std::set<std::string> ids;
  for (const auto& item : scenario.before) ids.insert(item.first);
  for (const auto& item : scenario.after) ids.insert(item.first);
  for (const auto& [id, data] : state) {
    if (ids.count(id) == 0) return false;
  }
  std::size_t added = 0;
  for (const std::string& id : ids) {
    const auto now = state.find(id);
    const auto before = scenario.before.find(id);
    const auto after = scenario.after.find(id);
    const bool as_before = now == state.end() ? before == scenario.before.end()
                                              : before != scenario.before.end() && before->second == now->second;
    const bool as_after = now == state.end() ? after == scenario.after.end()
                                             : after != scenario.after.end() && after->second == now->second;
    if (!as_before && !as_after) return false;
    if (scenario.added.count(id) == 1 && now != state.end()) ++added;
  }
  return added == 0 || added == scenario.added.size();
}

std::vector<Scenario> scenarios() {
  return {
      {"append", {{"A", "a"}}, [](Db& db) { db.append(text_entry("C", "ccc")); }, {{"A", "a"}, {"C", "ccc"}}, {"C"}},
      {"replace", {{"A", "a long old value"}}, [](Db& db) { db.replace(text_entry("A", "s")); }, {{"A", "s"}}, {}},
      {"remove", {{"A", "a"}, {"B", "b"}}, [](Db& db) { db.remove(Id("A")); }, {{"B", "b"}}, {}},
      {"batch",
       {{"A", "a"}, {"B", "b"}},
       [](Db& db) {
         Db::Batch batch = db.batch();
         batch.append(text_entry("C", "c"));
         batch.append(text_entry("D", "d"));
         batch.replace(text_entry("B", "new b"));
         batch.remove(Id("A"));
         batch.commit();
       },
       {{"B", "new b"}, {"C", "c"}, {"D", "d"}},
       {"C", "D"}},
      // Enough entry files to be made durable by one sync of the file system.
      {"large batch",
       {{"A", "a"}},
       [](Db& db) {
         Db::Batch batch = db.batch();
         for (const char* id : {"C", "D", "E", "F", "G", "H", "I", "J"}) batch.append(text_entry(id, id));
         batch.replace(text_entry("A", "new a"));
         batch.commit();
       },
       {{"A", "new a"}, {"C", "C"}, {"D", "D"}, {"E", "E"}, {"F", "F"}, {"G", "G"}, {"H", "H"}, {"I", "I"}, {"J", "J"}},
       {"C", "D", "E", "F", "G", "H", "I", "J"}},
  };
}

// Runs the change of `scenario` on a fresh copy of its first state, under
// `fs` when given; true when the change was acknowledged.
// A directory for the fault scenarios, on a memory file system when there is
// one: they sync often, and only the order of operations matters to them.
struct ScratchDirectory {
  ScratchDirectory() {
    char name[] = "/dev/shm/vorn_db_durable_XXXXXX";
    root = ::mkdtemp(name) != nullptr ? std::string(name) : fallback.path;
  }
  ~ScratchDirectory() {
    if (root != fallback.path) std::filesystem::remove_all(root);
  }
  std::string database() const { return root + "/db"; }
  TempDirectory fallback;
  std::string root;
};

bool run(const Scenario& scenario, const std::string& directory, FaultInjectionFileSystem* fs) {
  std::filesystem::remove_all(directory);
  std::filesystem::create_directory(directory);
  fill(directory, scenario.before);
  if (fs == nullptr) {
    Db db(directory, "n", Archive::READ | Archive::WRITE);
    scenario.change(db);
    return true;
  }
  FileSystem::Scoped use(*fs);
  try {
    Db db(directory, "n", Archive::READ | Archive::WRITE);
    scenario.change(db);
    return true;
  } catch (const database_error&) {
  } catch (const std::invalid_argument&) {
  }
  return false;
}

std::uint64_t operations_of(const Scenario& scenario, const std::string& directory) {
  std::filesystem::remove_all(directory);
  std::filesystem::create_directory(directory);
  fill(directory, scenario.before);
  FaultInjectionFileSystem counter;
  {
    FileSystem::Scoped use(counter);
    Db db(directory, "n", Archive::READ | Archive::WRITE);
    scenario.change(db);
  }
  return counter.operation_count();
}

TEST(DurableDatabase, EveryFailedOperationLeavesTheOldDatabase) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.database();
  for (const Scenario& scenario : scenarios()) {
    const std::uint64_t total = operations_of(scenario, directory);
    for (const int error : {EIO, ENOSPC}) {
      for (std::uint64_t k = 1; k <= total; ++k) {
        SCOPED_TRACE(std::string(scenario.name) + ", errno " + std::to_string(error) + " at operation " +
                     std::to_string(k));
        FaultInjectionFileSystem fs;
        fs.fail_operation(k, error);
        const bool acknowledged = run(scenario, directory, &fs);
        // Before any recovery: the failed change left no file behind.
        EXPECT_EQ(stray_files(directory), std::set<std::string>());
        EXPECT_EQ(state_of(directory), acknowledged ? scenario.after : scenario.before);
      }
    }
  }
}

TEST(DurableDatabase, PowerCutAfterAnyOperationKeepsAcknowledgedChanges) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.database();
  for (const Scenario& scenario : scenarios()) {
    const std::uint64_t total = operations_of(scenario, directory);
    for (std::uint64_t k = 1; k <= total; ++k) {
      SCOPED_TRACE(std::string(scenario.name) + ", power cut after operation " + std::to_string(k));
      FaultInjectionFileSystem fs;
      fs.crash_after(k);
      const bool acknowledged = run(scenario, directory, &fs);
      fs.drop_unsynced();
      // Opening for writing clears what the interrupted change left.
      { Db reopened(directory, "n", Archive::READ | Archive::WRITE); }
      EXPECT_EQ(stray_files(directory), std::set<std::string>());
      const State state = state_of(directory);
      if (acknowledged) {
        EXPECT_EQ(state, scenario.after);
      } else {
        EXPECT_TRUE(whole(state, scenario)) << "half a change";
      }
    }
  }
}

TEST(DurableDatabase, ChangesWithoutFaults) {
  TempDirectory dir;
  const std::string directory = dir.file("db");
  for (const Scenario& scenario : scenarios()) {
    SCOPED_TRACE(scenario.name);
    run(scenario, directory, nullptr);
    EXPECT_EQ(state_of(directory), scenario.after);
    EXPECT_EQ(stray_files(directory), std::set<std::string>());
  }
}

TEST(DurableDatabase, WritersSeeEachOther) {
  TempDirectory dir;
  Db first(dir.path, "n", Archive::READ | Archive::WRITE);
  Db second(dir.path, "n", Archive::READ | Archive::WRITE);
  first.append(text_entry("A", "a"));
  second.append(text_entry("B", "b"));  // reloads first: A stays listed
  EXPECT_EQ(dir.read("n.adi"), "A\nB\n");
  EXPECT_EQ(what_of([&] { second.append(text_entry("A", "again")); }),
            "ArchiveDatabase::append: database already contains an entry with this identifier: A");
  second.remove(Id("A"));
  EXPECT_EQ(what_of([&] { first.entry(0); }), "ArchiveDatabase::entry: entry was removed from the database: A");
  first.reload();
  EXPECT_EQ(first.size(), 1);
  EXPECT_TRUE(dir.exists("n.lock"));
}

TEST(DurableDatabase, WriterReadsAnIndexItCouldNotReadAtOpening) {
  TempDirectory dir;
  fill(dir.path, {{"A", "a"}});
  std::uint64_t opening = 0;  // the constructor's open of n.adi
  {
    FaultInjectionFileSystem counter;
    FileSystem::Scoped use(counter);
    const Db db(dir.path, "n", Archive::READ | Archive::WRITE);
    const std::vector<std::string>& log = counter.operation_log();
    for (std::size_t i = 0; i < log.size() && opening == 0; ++i) {
      if (log[i] == "FileSystem::open " + dir.file("n.adi")) opening = i + 1;
    }
  }
  ASSERT_NE(opening, 0u);
  FaultInjectionFileSystem fs;
  FileSystem::Scoped use(fs);
  fs.fail_operation(opening, EACCES);
  Db db(dir.path, "n", Archive::READ | Archive::WRITE);
  db.append(text_entry("B", "b"));  // reads A first instead of writing over it
  EXPECT_EQ(dir.read("n.adi"), "A\nB\n");
}

TEST(DurableDatabase, RefusedBatchChangesNothing) {
  TempDirectory dir;
  Db db(dir.path, "n", Archive::READ | Archive::WRITE);
  db.append(text_entry("A", "a"));
  Db::Batch batch = db.batch();
  batch.append(text_entry("B", "b"));
  batch.append(text_entry("A", "twice"));
  EXPECT_EQ(what_of([&] { batch.commit(); }),
            "ArchiveDatabase::append: database already contains an entry with this identifier: A");
  EXPECT_EQ(dir.read("n.adi"), "A\n");
  EXPECT_FALSE(dir.exists("n_B.ade"));
  EXPECT_EQ(batch.size(), 2u);
}

// An entry type of its own, whose writer can fail half-way.
struct Fragile {
  Fragile() = default;
  Fragile(std::string id, int value, bool fail) : id_(std::move(id)), value_(value), fail_(fail) {}
  DatabaseEntryIdentifier identifier() const { return DatabaseEntryIdentifier(id_); }
  void write(Archive& archive) const {
    DatabaseEntryIdentifier(id_).write(archive);
    if (fail_) throw std::runtime_error("writer failed");
    archive << value_;
  }
  void read(Archive& archive) {
    DatabaseEntryIdentifier id;
    id.read(archive);
    id_ = id.text();
    archive >> value_;
  }
  std::string id_;
  int value_ = 0;
  bool fail_ = false;
};

TEST(DurableDatabase, AnyEntryTypeIsReplacedAtomically) {
  TempDirectory dir;
  ArchiveDatabase<Fragile> db(dir.path, "n", Archive::READ | Archive::WRITE);
  db.append(THandle<Fragile>(new Fragile("F", 7, false)));
  const std::string old = dir.read("n_F.ade");
  EXPECT_EQ(what_of([&] { db.replace(THandle<Fragile>(new Fragile("F", 8, true))); }), "writer failed");
  EXPECT_EQ(dir.read("n_F.ade"), old);
  EXPECT_FALSE(dir.exists("n_F.ade.tmp"));
  db.replace(THandle<Fragile>(new Fragile("F", 9, false)));
  EXPECT_EQ(db.entry(0)->value_, 9);
}

// Process `p` of the concurrent test: appends, replaces and removes entries
// of its own, and tries to append the shared identifiers. The same seed lets
// the parent replay what it acknowledged.
State own_changes(int p, Db* db) {
  std::mt19937 random(static_cast<unsigned>(p) + 1u);
  State alive;
  std::vector<std::string> live;
  for (int i = 0; i < 200; ++i) {
    const unsigned choice = random() % 10;
    if (choice < 5 || live.size() < 2) {
      const std::string id = "p" + std::to_string(p) + "_" + std::to_string(i);
      const std::string data = id + "_v0";
      if (db) db->append(text_entry(id, data));
      alive[id] = data;
      live.push_back(id);
    } else if (choice < 8) {
      const std::string& id = live[random() % live.size()];
      const std::string data = id + "_v" + std::to_string(i);
      if (db) db->replace(text_entry(id, data));
      alive[id] = data;
    } else {
      const std::size_t at = random() % live.size();
      if (db) db->remove(Id(live[at]));
      alive.erase(live[at]);
      live.erase(live.begin() + static_cast<std::ptrdiff_t>(at));
    }
    if (i % 20 == 0 && db) {
      try {
        db->append(text_entry("shared" + std::to_string(i / 20), "from p" + std::to_string(p)));
      } catch (const database_error&) {
      }
    }
  }
  return alive;
}

TEST(DurableDatabase, ConcurrentProcessesLoseNothing) {
  TempDirectory dir;
  constexpr int processes = 8;
  std::vector<pid_t> children;
  for (int p = 0; p < processes; ++p) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      int status = 0;
      try {
        Db db(dir.path, "n", Archive::READ | Archive::WRITE);
        db.set_durability(Durability::relaxed);
        own_changes(p, &db);
      } catch (...) {
        status = 1;
      }
      ::_exit(status);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a writer failed: " << status;
  }
  State expected;
  for (int p = 0; p < processes; ++p) {
    for (const auto& item : own_changes(p, nullptr)) expected.insert(item);
  }
  State found = state_of(dir.path);
  std::set<std::string> shared;
  for (auto it = found.begin(); it != found.end();) {
    if (it->first.compare(0, 6, "shared") == 0) {
      shared.insert(it->first);
      it = found.erase(it);
    } else {
      ++it;
    }
  }
  EXPECT_EQ(found, expected);
  EXPECT_EQ(shared.size(), 10u);
  const Db db(dir.path, "n", Archive::READ);
  EXPECT_EQ(static_cast<std::size_t>(db.size()), expected.size() + 10);  // nothing listed twice
  EXPECT_EQ(stray_files(dir.path), std::set<std::string>());
}

TEST(DurableDatabase, ReadOnlyFileSystemRefusesEveryChange) {
  if (::geteuid() != 0) GTEST_SKIP() << "mounting a file system needs root";
  TempDirectory dir;
  const std::string mount_point = dir.file("ro");
  std::filesystem::create_directory(mount_point);
  if (::mount("tmpfs", mount_point.c_str(), "tmpfs", 0, "size=1m") != 0) {
    GTEST_SKIP() << "cannot mount a tmpfs: " << std::strerror(errno);
  }
  fill(mount_point, {{"A", "a"}});
  const std::string index = dir.read("ro/n.adi");
  const std::string entry = dir.read("ro/n_A.ade");
  if (::mount("tmpfs", mount_point.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
    ::umount2(mount_point.c_str(), MNT_DETACH);
    GTEST_SKIP() << "cannot remount read-only: " << std::strerror(errno);
  }
  Db db(mount_point, "n", Archive::READ | Archive::WRITE);
  const struct {
    const char* name;
    std::function<void()> change;
    std::string operation;
  } cases[] = {
      {"append", [&] { db.append(text_entry("B", "b")); }, "append"},
      {"replace", [&] { db.replace(text_entry("A", "new")); }, "replace"},
      {"remove", [&] { db.remove(Id("A")); }, "remove"},
      {"batch",
       [&] {
         Db::Batch batch = db.batch();
         batch.append(text_entry("B", "b"));
         batch.commit();
       },
       "apply"},
      {"index", [&] { db.write_index_file(); }, "write_index_file"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string message = what_of(c.change);
    EXPECT_EQ(message.rfind("ArchiveDatabase::" + c.operation + ": cannot ", 0), 0u) << message;
    EXPECT_NE(message.find(mount_point + "/n."), std::string::npos) << message;
    EXPECT_NE(message.find(std::strerror(EROFS)), std::string::npos) << message;
  }
  EXPECT_EQ(dir.read("ro/n.adi"), index);
  EXPECT_EQ(dir.read("ro/n_A.ade"), entry);
  EXPECT_EQ(db.size(), 1);
  ::umount2(mount_point.c_str(), MNT_DETACH);
}

}  // namespace
}  // namespace vorn
