// The SQLite entry database against the SQLite C API it is built on:
//   1. 100,000 appends of 100-byte entries through SqliteDatabase in one
//      batch, against raw sqlite3 calls inserting the same rows (the same
//      schema, the same entry images, one transaction); the counter
//      `vs_raw` of the second is its time over the raw time (wall clock,
//      opening, creating and committing included on both sides);
//   2. 100,000 random lookups entry(id) in a database of 100,000 entries;
//   3. nearest_entry among 100,000 and 1,000,000 identifiers through the
//      case-folded index; the counter `vs_100k` of the larger is its time
//      per call over that of the smaller (logarithmic growth keeps it near 1).
// Scratch files go to $TMPDIR (default /tmp).
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/SqliteDatabase.h"
#include "vorn/foundation/StringFunctions.h"

namespace {

using Entry = vorn::DatabaseEntry<std::string>;
using Db = vorn::SqliteDatabase<Entry>;
using vorn::DatabaseEntryIdentifier;

// A fresh database file name under $TMPDIR; the file and its -wal and -shm
// companions are removed at the end of the scope.
class ScratchFile {
 public:
  ScratchFile() {
    const char* base = std::getenv("TMPDIR");
    std::string name = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/vorn_bench_sqlite_XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    directory_ = name;
  }
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  std::string path() const { return directory_ + "/bench.sqlite"; }

 private:
  std::string directory_;
};

std::string entry_id(std::size_t i) {
  char text[32];
  std::snprintf(text, sizeof text, "E%07zu", i);
  return text;
}

const std::size_t append_count = vorn::bench::problem_size(100000, 100);
const std::string payload(100, 'p');

vorn::DatabaseOptions create_options() {
  vorn::DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = true;
  return options;
}

std::vector<vorn::THandle<Entry>> append_entries() {
  std::vector<vorn::THandle<Entry>> entries;
  for (std::size_t i = 0; i < append_count; ++i) {
    entries.push_back(vorn::make_handle<Entry>(DatabaseEntryIdentifier(entry_id(i)), vorn::make_handle<std::string>(payload)));
  }
  return entries;
}

// Seconds of the timed parts of each append benchmark, over its iterations.
std::map<std::string, double> append_seconds;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The same rows SqliteDatabase writes (same schema, settings and entry
// images), inserted with the C API alone.
void BM_AppendRawSqlite(benchmark::State& state) {
  std::vector<std::string> ids;
  std::vector<std::string> images;
  for (const auto& e : append_entries()) {
    ids.push_back(e->identifier().text());
    images.push_back(vorn::StoredDatabase<Entry>::entry_image(*e));
  }
  for (auto _ : state) {
    state.PauseTiming();
    {
      ScratchFile scratch;
      const std::string file = scratch.path();
      state.ResumeTiming();
      const auto start = std::chrono::steady_clock::now();
      sqlite3* db = nullptr;
      sqlite3_open(file.c_str(), &db);
      sqlite3_exec(db,
                   "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                   "CREATE TABLE entries(position INTEGER PRIMARY KEY, identifier BLOB NOT NULL, "
                   "folded BLOB NOT NULL, bytes BLOB NOT NULL);"
                   "CREATE UNIQUE INDEX entries_by_identifier ON entries(identifier);"
                   "CREATE INDEX entries_by_folded ON entries(folded, position);",
                   nullptr, nullptr, nullptr);
      sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
      sqlite3_stmt* insert = nullptr;
      sqlite3_prepare_v2(db, "INSERT INTO entries VALUES (?, ?, ?, ?)", -1, &insert, nullptr);
      for (std::size_t i = 0; i < ids.size(); ++i) {
        const std::string folded = vorn::toupper(ids[i]);
        sqlite3_bind_int64(insert, 1, static_cast<sqlite3_int64>(i));
        sqlite3_bind_blob(insert, 2, ids[i].data(), static_cast<int>(ids[i].size()), SQLITE_STATIC);
        sqlite3_bind_blob(insert, 3, folded.data(), static_cast<int>(folded.size()), SQLITE_STATIC);
        sqlite3_bind_blob(insert, 4, images[i].data(), static_cast<int>(images[i].size()), SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError("insert failed");
        sqlite3_reset(insert);
      }
      sqlite3_finalize(insert);
      if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) state.SkipWithError("commit failed");
      sqlite3_close(db);
      append_seconds["raw"] += seconds_since(start);
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendRawSqlite)->Unit(benchmark::kMillisecond)->Iterations(3);

// The entries are built beforehand, as the raw side's rows are; turning them
// into entry images is part of the timed work here.
void BM_AppendSqliteDatabase(benchmark::State& state) {
  const std::vector<vorn::THandle<Entry>> entries = append_entries();
  for (auto _ : state) {
    state.PauseTiming();
    {
      ScratchFile scratch;
      state.ResumeTiming();
      const auto start = std::chrono::steady_clock::now();
      Db db(scratch.path(), create_options());
      Db::Batch batch = db.batch();
      for (const auto& e : entries) batch.append(e);
      batch.commit();
      append_seconds["vorn"] += seconds_since(start);
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  // Both run the same number of iterations.
  if (append_seconds.count("raw") != 0) state.counters["vs_raw"] = append_seconds["vorn"] / append_seconds["raw"];
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendSqliteDatabase)->Unit(benchmark::kMillisecond)->Iterations(3);

// Databases of n entries with random-looking identifiers, built once per
// size (relaxed, in one batch) and kept for the lookups.
class Filled {
 public:
  explicit Filled(std::size_t n) : ids_(n) {
    std::mt19937_64 random(n);
    for (std::size_t i = 0; i < n; ++i) {
      char text[40];
      std::snprintf(text, sizeof text, "%c%016llx_%zu", "AbCd"[i % 4], static_cast<unsigned long long>(random()), i);
      ids_[i] = text;
    }
    vorn::DatabaseOptions options = create_options();
    options.durability = vorn::Durability::relaxed;
    db_ = std::make_unique<Db>(scratch_.path(), options);
    Db::Batch batch = db_->batch();
    for (const std::string& id : ids_) {
      batch.append(vorn::make_handle<Entry>(DatabaseEntryIdentifier(id), vorn::make_handle<std::string>(payload)));
    }
    batch.commit();
  }
  const Db& db() const { return *db_; }
  const std::vector<std::string>& ids() const { return ids_; }

  static const Filled& of(std::size_t n) {
    static std::map<std::size_t, std::unique_ptr<Filled>> made;
    std::unique_ptr<Filled>& slot = made[n];
    if (!slot) slot = std::make_unique<Filled>(n);
    return *slot;
  }

 private:
  ScratchFile scratch_;
  std::vector<std::string> ids_;
  std::unique_ptr<Db> db_;
};

const std::size_t lookup_count = vorn::bench::problem_size(100000, 100);

void BM_LookUpById(benchmark::State& state) {
  const Filled& filled = Filled::of(vorn::bench::problem_size(100000, 100));
  std::mt19937 random(7);
  std::vector<DatabaseEntryIdentifier> targets;
  for (std::size_t i = 0; i < lookup_count; ++i) {
    targets.emplace_back(filled.ids()[random() % filled.ids().size()]);
  }
  for (auto _ : state) {
    std::size_t bytes = 0;
    for (const DatabaseEntryIdentifier& id : targets) bytes += filled.db().entry(id)->data()->size();
    benchmark::DoNotOptimize(bytes);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * lookup_count));
}
BENCHMARK(BM_LookUpById)->Unit(benchmark::kMillisecond)->Iterations(1);

// Seconds per nearest_entry call, by database size.
std::map<std::size_t, double> nearest_seconds;

void BM_NearestEntry(benchmark::State& state) {
  const std::size_t n = vorn::bench::problem_size(static_cast<std::size_t>(state.range(0)), 1000);
  const Filled& filled = Filled::of(n);
  std::mt19937 random(11);
  // Misses in case and in content: each call walks the index several times.
  std::vector<DatabaseEntryIdentifier> targets;
  for (int i = 0; i < 1000; ++i) {
    std::string id = filled.ids()[random() % n];
    id[0] = static_cast<char>(id[0] ^ 0x20);
    if (i % 2 == 0) id.back() = '~';
    targets.emplace_back(id);
  }
  vorn::Database<Entry>::IdentifierMatch match;
  const auto start = std::chrono::steady_clock::now();
  std::size_t calls = 0;
  for (auto _ : state) {
    for (const DatabaseEntryIdentifier& target : targets) benchmark::DoNotOptimize(filled.db().nearest_entry(target, match));
    calls += targets.size();
  }
  nearest_seconds[n] = seconds_since(start) / static_cast<double>(calls);
  const std::size_t smaller = vorn::bench::problem_size(100000, 1000);
  if (n != smaller && nearest_seconds.count(smaller) != 0) {
    state.counters["vs_100k"] = nearest_seconds[n] / nearest_seconds[smaller];
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(calls));
}
BENCHMARK(BM_NearestEntry)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

}  // namespace
