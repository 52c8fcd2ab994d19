// The entry database against its limits and against other tools:
//   1. appending 100,000 entries of 100 bytes: ArchiveDatabase, a bare loop
//      creating the same files with open/write/close, the same loop with the
//      lock and index steps any multi-process append needs, and SQLite (one
//      table of identifier and blob, one transaction);
//   1b. 10,000 appends of 100 bytes on the real disk ($VORN_BENCH_DIR, else
//      the current directory): durable one at a time, durable in one batch,
//      relaxed; SQLite with synchronous=FULL, one transaction per insert and
//      all in one transaction;
//   2. opening a database of 1,000,000 identifiers and looking up 100,000;
//      nearest_entry at 100,000 and 1,000,000 identifiers, against the scan
//      of the abstract interface at the same sizes;
//   3. two gcd files of 1,000,000 lines read, sorted, made unique, their
//      difference written: identifier lists against `LC_ALL=C sort -u` and
//      `comm -23`.
// Scratch files go to $TMPDIR (default /tmp).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseEntryIdentifierList.h"
#include "vorn/database/detail/EntryPaths.h"

namespace {

using vorn::THandle;
using Entry = vorn::DatabaseEntry<std::string>;
using Db = vorn::ArchiveDatabase<Entry>;

// A fresh directory under $`variable` (else `fallback`), removed with
// everything in it at the end of the scope.
class ScratchDirectory {
 public:
  // By default under $TMPDIR (default /tmp): point it at a tmpfs to take the
  // disk out of the comparison.
  explicit ScratchDirectory(const char* variable = "TMPDIR", const char* fallback = "/tmp") {
    const char* base = std::getenv(variable);
    std::string name = std::string(base != nullptr && *base != '\0' ? base : fallback) + "/vorn_bench_db_XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
  }
  ~ScratchDirectory() {
    if (keep_until_exit_) {
      leftovers().push_back(path_);
      return;
    }
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  const std::string& path() const { return path_; }

 protected:
  // Removes the directory at the end of the process instead of at the end
  // of the scope. ext4 does not hand out an inode number freed in the last
  // seconds before scanning past it, so files created right after thousands
  // were deleted cost several times as much: a benchmark must not pay for
  // the clean-up of the one before it.
  void keep_until_exit() { keep_until_exit_ = true; }

 private:
  static std::vector<std::string>& leftovers() {
    static struct Leftovers {
      std::vector<std::string> paths;
      ~Leftovers() {
        std::error_code ignored;
        for (const std::string& path : paths) std::filesystem::remove_all(path, ignored);
      }
    } leftovers;
    return leftovers.paths;
  }

  std::string path_;
  bool keep_until_exit_ = false;
};

std::string entry_id(std::size_t i) {
  char text[32];
  std::snprintf(text, sizeof text, "E%07zu", i);
  return text;
}

const std::size_t append_count = vorn::bench::problem_size(100000, 100);
const std::string payload(100, 'p');

void BM_AppendArchiveDatabase(benchmark::State& state) {
  std::vector<THandle<Entry>> entries;
  for (std::size_t i = 0; i < append_count; ++i) {
    entries.emplace_back(new Entry(vorn::DatabaseEntryIdentifier(entry_id(i)), THandle<std::string>(new std::string(payload))));
  }
  for (auto _ : state) {
    state.PauseTiming();
    {
      ScratchDirectory dir;
      state.ResumeTiming();
      Db db(dir.path(), "bench", vorn::Archive::READ | vorn::Archive::WRITE);
      db.set_durability(vorn::Durability::relaxed);  // against files that are not synced either
      for (const auto& e : entries) db.append(e);
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendArchiveDatabase)->Unit(benchmark::kMillisecond)->Iterations(3);

// The floor: the same files, same bytes, one open/write/close each.
void BM_AppendFilesOnly(benchmark::State& state) {
  std::vector<std::string> images;
  for (std::size_t i = 0; i < append_count; ++i) {
    images.push_back(vorn::detail::string_entry_image(vorn::DatabaseEntryIdentifier(entry_id(i)), payload));
  }
  for (auto _ : state) {
    state.PauseTiming();
    {
      ScratchDirectory dir;
      std::vector<std::string> paths;
      for (std::size_t i = 0; i < append_count; ++i) paths.push_back(dir.path() + "/bench_" + entry_id(i) + ".ade");
      state.ResumeTiming();
      for (std::size_t i = 0; i < append_count; ++i) {
        const int fd = ::open(paths[i].c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (fd < 0 || ::write(fd, images[i].data(), images[i].size()) != static_cast<ssize_t>(images[i].size())) {
          state.SkipWithError("write failed");
        }
        ::close(fd);
      }
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendFilesOnly)->Unit(benchmark::kMillisecond)->Iterations(3);

// The floor of an append that other processes can share: the files above,
// plus what no such design can skip: the lock taken and let go, the index
// looked at for other writers' changes, one index line written and its new
// state read. Bare system calls, without the library.
void BM_AppendFilesLockedAndIndexed(benchmark::State& state) {
  std::vector<std::string> images;
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < append_count; ++i) {
    images.push_back(vorn::detail::string_entry_image(vorn::DatabaseEntryIdentifier(entry_id(i)), payload));
    lines.push_back(entry_id(i) + "\n");
  }
  for (auto _ : state) {
    state.PauseTiming();
    {
      ScratchDirectory dir;
      std::vector<std::string> paths;
      for (std::size_t i = 0; i < append_count; ++i) paths.push_back(dir.path() + "/bench_" + entry_id(i) + ".ade");
      const std::string index = dir.path() + "/bench.adi";
      const int index_fd = ::open(index.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
      const int lock_fd = ::open((dir.path() + "/bench.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
      off_t end = 0;
      struct stat status {};
      state.ResumeTiming();
      for (std::size_t i = 0; i < append_count; ++i) {
        ::flock(lock_fd, LOCK_EX);
        ::stat(index.c_str(), &status);
        const int fd = ::open(paths[i].c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0 || ::write(fd, images[i].data(), images[i].size()) != static_cast<ssize_t>(images[i].size())) {
          state.SkipWithError("write failed");
        }
        ::close(fd);
        end += ::pwrite(index_fd, lines[i].data(), lines[i].size(), end);
        ::fstat(index_fd, &status);
        ::flock(lock_fd, LOCK_UN);
      }
      state.PauseTiming();
      ::close(index_fd);
      ::close(lock_fd);
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendFilesLockedAndIndexed)->Unit(benchmark::kMillisecond)->Iterations(3);

// Inserts one row of (identifier, payload) per identifier into a new SQLite
// file `file`: with synchronous=FULL when asked (else SQLite's default), in
// one transaction or one per insert.
void insert_into_sqlite(benchmark::State& state, const std::string& file, const std::vector<std::string>& ids,
                        bool synchronous_full, bool one_transaction) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  if (synchronous_full) sqlite3_exec(db, "PRAGMA synchronous=FULL", nullptr, nullptr, nullptr);
  sqlite3_exec(db, "CREATE TABLE entries (identifier TEXT PRIMARY KEY, data BLOB)", nullptr, nullptr, nullptr);
  if (one_transaction) sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO entries VALUES (?, ?)", -1, &insert, nullptr);
  for (const auto& id : ids) {
    sqlite3_bind_text(insert, 1, id.data(), static_cast<int>(id.size()), SQLITE_STATIC);
    sqlite3_bind_blob(insert, 2, payload.data(), static_cast<int>(payload.size()), SQLITE_STATIC);
    if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError("insert failed");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  if (one_transaction) sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(db);
}

void BM_AppendSqlite(benchmark::State& state) {
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < append_count; ++i) ids.push_back(entry_id(i));
  for (auto _ : state) {
    state.PauseTiming();
    {
      ScratchDirectory dir;
      state.ResumeTiming();
      insert_into_sqlite(state, dir.path() + "/bench.sqlite", ids, false, true);
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendSqlite)->Unit(benchmark::kMillisecond)->Iterations(3);

// On the disk itself: $VORN_BENCH_DIR, else the current directory (the build
// tree), never a memory file system by default.
class DiskDirectory : public ScratchDirectory {
 public:
  DiskDirectory() : ScratchDirectory("VORN_BENCH_DIR", ".") { keep_until_exit(); }
};

const std::size_t disk_count = vorn::bench::problem_size(10000, 100);

std::vector<THandle<Entry>> disk_entries() {
  std::vector<THandle<Entry>> entries;
  for (std::size_t i = 0; i < disk_count; ++i) {
    entries.emplace_back(new Entry(vorn::DatabaseEntryIdentifier(entry_id(i)), THandle<std::string>(new std::string(payload))));
  }
  return entries;
}

enum class DiskWay { durable, durable_batch, relaxed };

void BM_DiskAppend(benchmark::State& state, DiskWay way) {
  const std::vector<THandle<Entry>> entries = disk_entries();
  for (auto _ : state) {
    state.PauseTiming();
    {
      DiskDirectory dir;
      state.ResumeTiming();
      Db db(dir.path(), "bench", vorn::Archive::READ | vorn::Archive::WRITE);
      if (way == DiskWay::relaxed) db.set_durability(vorn::Durability::relaxed);
      if (way == DiskWay::durable_batch) {
        Db::Batch batch = db.batch();
        for (const auto& e : entries) batch.append(e);
        batch.commit();
      } else {
        for (const auto& e : entries) db.append(e);
      }
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * disk_count));
}
BENCHMARK_CAPTURE(BM_DiskAppend, durable_one_at_a_time, DiskWay::durable)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(BM_DiskAppend, durable_batch, DiskWay::durable_batch)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(BM_DiskAppend, relaxed, DiskWay::relaxed)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_DiskSqlite(benchmark::State& state, bool one_transaction) {
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < disk_count; ++i) ids.push_back(entry_id(i));
  for (auto _ : state) {
    state.PauseTiming();
    {
      DiskDirectory dir;
      state.ResumeTiming();
      insert_into_sqlite(state, dir.path() + "/bench.sqlite", ids, true, one_transaction);
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * disk_count));
}
BENCHMARK_CAPTURE(BM_DiskSqlite, full_per_insert, false)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(BM_DiskSqlite, full_one_transaction, true)->Unit(benchmark::kMillisecond)->Iterations(1);

// A database index of many identifiers (the entry files are not needed to
// open it or to look identifiers up).
class LargeIndex {
 public:
  LargeIndex() : count_(vorn::bench::problem_size(1000000, 1000)) {
    std::ofstream out(dir_.path() + "/big.adi", std::ios::binary);
    for (std::size_t i = 0; i < count_; ++i) out << "ID" << (i * 2654435761u % 1000000007u) << '\n';
  }
  const std::string& directory() const { return dir_.path(); }
  std::size_t count() const { return count_; }

 private:
  ScratchDirectory dir_;
  std::size_t count_;
};

void BM_OpenLargeDatabase(benchmark::State& state) {
  const LargeIndex index;
  for (auto _ : state) {
    Db db(index.directory(), "big", vorn::Archive::READ);
    if (static_cast<std::size_t>(db.size()) != index.count()) state.SkipWithError("wrong size");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * index.count()));
}
BENCHMARK(BM_OpenLargeDatabase)->Unit(benchmark::kMillisecond);

void BM_LookUpInLargeDatabase(benchmark::State& state) {
  const LargeIndex index;
  const Db db(index.directory(), "big", vorn::Archive::READ);
  const std::size_t lookups = vorn::bench::problem_size(100000, 100);
  std::vector<vorn::DatabaseEntryIdentifier> wanted;
  std::mt19937 random(1);
  for (std::size_t i = 0; i < lookups; ++i) {
    // Half present, half absent.
    wanted.push_back(i % 2 == 0 ? db.identifier(static_cast<int>(random() % index.count()))
                                : vorn::DatabaseEntryIdentifier("absent" + std::to_string(i)));
  }
  for (auto _ : state) {
    std::size_t found = 0;
    for (const auto& id : wanted) found += static_cast<std::size_t>(db.index(id) != db.size());
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * lookups));
}
BENCHMARK(BM_LookUpInLargeDatabase)->Unit(benchmark::kMillisecond);

// An index of `count` identifiers in three case variants (ID, Id, id) and
// questions for nearest_entry: half name an identifier in another case, half
// are absent and land between neighbours.
class CaseVariantIndex {
 public:
  explicit CaseVariantIndex(std::size_t count) : count_(count) {
    static const char* const prefixes[] = {"ID", "Id", "id"};
    std::ofstream out(dir_.path() + "/near.adi", std::ios::binary);
    std::mt19937 random(3);
    for (std::size_t i = 0; i < count_; ++i) {
      const unsigned long number = i * 2654435761u % 1000000007u;
      out << prefixes[i % 3] << number << '\n';
      if (i % 2 == 0) {
        targets_.emplace_back("iD" + std::to_string(number));
      } else {
        targets_.emplace_back("iD" + std::to_string(random() % 1000000007u) + "x");
      }
    }
    std::shuffle(targets_.begin(), targets_.end(), random);
  }
  const std::string& directory() const { return dir_.path(); }
  const vorn::DatabaseEntryIdentifier& target(std::size_t i) const { return targets_[i % targets_.size()]; }

 private:
  ScratchDirectory dir_;
  std::size_t count_;
  std::vector<vorn::DatabaseEntryIdentifier> targets_;
};

// nearest_entry of the archive database: an ordered index, built by the
// first call (outside the timing here; see BM_NearestEntryFirstCall).
void BM_NearestEntry(benchmark::State& state) {
  const CaseVariantIndex index(vorn::bench::problem_size(static_cast<std::size_t>(state.range(0)), 1000));
  const Db db(index.directory(), "near", vorn::Archive::READ);
  Db::IdentifierMatch match;
  db.nearest_entry(index.target(0), match);
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(db.nearest_entry(index.target(i++), match));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_NearestEntry)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// The other side: the scan of Database<Entry>, reading every identifier.
void BM_NearestEntryScan(benchmark::State& state) {
  const CaseVariantIndex index(vorn::bench::problem_size(static_cast<std::size_t>(state.range(0)), 1000));
  const Db db(index.directory(), "near", vorn::Archive::READ);
  Db::IdentifierMatch match;
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(db.Database<Entry>::nearest_entry(index.target(i++), match));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_NearestEntryScan)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// Opening alone (first_call 0), and opening with the first nearest_entry,
// which orders the identifiers (first_call 1).
void BM_NearestEntryFirstCall(benchmark::State& state) {
  const CaseVariantIndex index(vorn::bench::problem_size(static_cast<std::size_t>(state.range(0)), 1000));
  for (auto _ : state) {
    const Db db(index.directory(), "near", vorn::Archive::READ);
    Db::IdentifierMatch match;
    if (state.range(1) != 0) benchmark::DoNotOptimize(db.nearest_entry(index.target(0), match));
  }
}
BENCHMARK(BM_NearestEntryFirstCall)
    ->ArgNames({"n", "first_call"})
    ->ArgsProduct({{100000, 1000000}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

// Two gcd files of random identifiers with repeats, overlapping by half.
class GcdFiles {
 public:
  GcdFiles() {
    const std::size_t lines = vorn::bench::problem_size(1000000, 1000);
    std::mt19937_64 random(7);
    std::ofstream a(a_path()), b(b_path());
    for (std::size_t i = 0; i < lines; ++i) {
      a << "GENE" << random() % (lines * 3 / 4) << '\n';
      b << "GENE" << (lines / 3 + random() % (lines * 3 / 4)) << '\n';
    }
  }
  std::string a_path() const { return dir_.path() + "/a.gcd"; }
  std::string b_path() const { return dir_.path() + "/b.gcd"; }
  std::string path(const char* name) const { return dir_.path() + "/" + name; }

 private:
  ScratchDirectory dir_;
};

std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void list_difference(const GcdFiles& files, const std::string& out_path) {
  vorn::DatabaseEntryIdentifierList a, b, only_a, only_b;
  std::ifstream in_a(files.a_path()), in_b(files.b_path());
  a.read_from_file(in_a);
  b.read_from_file(in_b);
  a.sort();
  a.remove_duplicates();
  b.sort();
  b.remove_duplicates();
  vorn::difference(a, b, only_a, only_b);
  std::ofstream out(out_path);
  only_a.write_gcd_file(out);
}

void coreutils_difference(const GcdFiles& files, const std::string& out_path) {
  const std::string command = "LC_ALL=C sort -u " + files.a_path() + " > " + files.path("a.sorted") +
                              " && LC_ALL=C sort -u " + files.b_path() + " > " + files.path("b.sorted") +
                              " && LC_ALL=C comm -23 " + files.path("a.sorted") + " " + files.path("b.sorted") +
                              " > " + out_path;
  if (std::system(command.c_str()) != 0) std::abort();
}

void BM_ListDifferenceIdentifierList(benchmark::State& state) {
  const GcdFiles files;
  for (auto _ : state) list_difference(files, files.path("vorn.gcd"));
  coreutils_difference(files, files.path("coreutils.gcd"));
  if (file_text(files.path("vorn.gcd")) != file_text(files.path("coreutils.gcd"))) {
    state.SkipWithError("results differ from sort and comm");
  }
}
BENCHMARK(BM_ListDifferenceIdentifierList)->Unit(benchmark::kMillisecond);

void BM_ListDifferenceCoreutils(benchmark::State& state) {
  const GcdFiles files;
  for (auto _ : state) coreutils_difference(files, files.path("coreutils.gcd"));
}
BENCHMARK(BM_ListDifferenceCoreutils)->Unit(benchmark::kMillisecond);

}  // namespace
