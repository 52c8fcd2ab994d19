// Writers that exclude each other, atomic and durable changes, and failures
// that are reported and leave nothing behind: checked through the fault
// layer (every operation failed in turn, or the writer killed or the power
// cut after it) and on a read-only file system. Concurrent writer processes are in tests/backends.
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
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
using test::make_entry;
using test::TempDirectory;

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
  for (const auto& [id, data] : state) db.append(make_entry(id, data));
}

struct Scenario {
  const char* name;
  State before;
  std::function<void(Db&)> change;
  State after;
  std::set<std::string> added;  // identifiers that the change adds
};

// After a writer stopped during a change: each entry as before or after it,
// and the entries it adds all listed or none.
bool whole(const State& state, const Scenario& scenario) {
  const auto as_in = [&state](const State& other, const std::string& id) {
    const auto now = state.find(id), then = other.find(id);
    return now == state.end() ? then == other.end() : then != other.end() && then->second == now->second;
  };
  std::size_t added = 0;
  for (const State* side : {&scenario.before, &scenario.after, &state}) {
    for (const auto& item : *side) {
      if (!as_in(scenario.before, item.first) && !as_in(scenario.after, item.first)) return false;
    }
  }
  for (const std::string& id : scenario.added) added += state.count(id);
  return added == 0 || added == scenario.added.size();
}

std::vector<Scenario> scenarios() {
  return {
      {"append", {{"A", "a"}}, [](Db& db) { db.append(make_entry("C", "ccc")); }, {{"A", "a"}, {"C", "ccc"}}, {"C"}},
      {"replace", {{"A", "a long old value"}}, [](Db& db) { db.replace(make_entry("A", "s")); }, {{"A", "s"}}, {}},
      {"remove", {{"A", "a"}, {"B", "b"}}, [](Db& db) { db.remove(Id("A")); }, {{"B", "b"}}, {}},
      {"batch",
       {{"A", "a"}, {"B", "b"}},
       [](Db& db) {
         Db::Batch batch = db.batch();
         batch.append(make_entry("C", "c"));
         batch.append(make_entry("D", "d"));
         batch.replace(make_entry("B", "new b"));
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
         for (const char* id : {"C", "D", "E", "F", "G", "H", "I", "J"}) batch.append(make_entry(id, id));
         batch.replace(make_entry("A", "new a"));
         batch.commit();
       },
       {{"A", "new a"}, {"C", "C"}, {"D", "D"}, {"E", "E"}, {"F", "F"}, {"G", "G"}, {"H", "H"}, {"I", "I"}, {"J", "J"}},
       {"C", "D", "E", "F", "G", "H", "I", "J"}},
  };
}

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

// Runs the change of `scenario` on a fresh copy of its first state, under
// `fs`; true when the change was acknowledged.
bool run(const Scenario& scenario, const std::string& directory, FaultInjectionFileSystem& fs) {
  std::filesystem::remove_all(directory);
  std::filesystem::create_directory(directory);
  fill(directory, scenario.before);
  FileSystem::Scoped use(fs);
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
  // Without a fault the change is whole and leaves no stray file.
  EXPECT_EQ(state_of(directory), scenario.after) << scenario.name;
  EXPECT_EQ(stray_files(directory), std::set<std::string>()) << scenario.name;
  return counter.operation_count();
}

// Every operation of every change failed in turn with EIO and with ENOSPC,
// the writer killed after it (nothing more reaches the files), and the power
// cut after it (and what was not synced dropped).
TEST(DurableDatabase, FaultAtAnyOperationKeepsAcknowledgedChangesWhole) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.database();
  enum Fault { eio = EIO, enospc = ENOSPC, kill = -1, power_cut = -2 };
  const std::pair<Fault, const char*> faults[] = {
      {eio, "EIO at"}, {enospc, "ENOSPC at"}, {kill, "killed after"}, {power_cut, "power cut after"}};
  for (const Scenario& scenario : scenarios()) {
    const std::uint64_t total = operations_of(scenario, directory);
    for (const auto& [fault, name] : faults) {
      for (std::uint64_t k = 1; k <= total; ++k) {
        SCOPED_TRACE(std::string(scenario.name) + ", " + name + " operation " + std::to_string(k));
        FaultInjectionFileSystem fs;
        fault < 0 ? fs.crash_after(k) : fs.fail_operation(k, fault);
        const bool acknowledged = run(scenario, directory, fs);
        if (fault == power_cut) fs.drop_unsynced();
        // Opening for writing clears what an interrupted change left (but
        // not the temporary files of a live process, as the killed writer
        // here still is); a failed change leaves nothing behind even before.
        if (fault < 0) Db reopened(directory, "n", Archive::READ | Archive::WRITE);
        if (fault != kill) {
          EXPECT_EQ(stray_files(directory), std::set<std::string>());
        }
        const State state = state_of(directory);
        if (acknowledged) {
          EXPECT_EQ(state, scenario.after);
        } else if (fault < 0) {
          EXPECT_TRUE(whole(state, scenario)) << "half a change";
        } else {
          EXPECT_EQ(state, scenario.before);
        }
      }
    }
  }
}

TEST(DurableDatabase, WritersSeeEachOther) {
  TempDirectory dir;
  Db first(dir.path, "n", Archive::READ | Archive::WRITE);
  Db second(dir.path, "n", Archive::READ | Archive::WRITE);
  first.append(make_entry("A", "a"));
  second.append(make_entry("B", "b"));  // reloads first: A stays listed
  EXPECT_EQ(dir.read("n.adi"), "A\nB\n");
  EXPECT_EQ(what_of([&] { second.append(make_entry("A", "again")); }),
            "ArchiveDatabase::append: database already contains an entry with this identifier: A");
  second.remove(Id("A"));
  EXPECT_EQ(what_of([&] { first.entry(0); }), "ArchiveDatabase::entry: entry was removed from the database: A");
  first.reload();
  EXPECT_EQ(first.size(), 1);
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
  db.append(make_entry("B", "b"));  // reads A first instead of writing over it
  EXPECT_EQ(dir.read("n.adi"), "A\nB\n");
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
      {"append", [&] { db.append(make_entry("B", "b")); }, "append"},
      {"replace", [&] { db.replace(make_entry("A", "new")); }, "replace"},
      {"remove", [&] { db.remove(Id("A")); }, "remove"},
      {"batch",
       [&] {
         Db::Batch batch = db.batch();
         batch.append(make_entry("B", "b"));
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
