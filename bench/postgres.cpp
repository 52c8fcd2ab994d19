// The PostgreSQL entry database against libpq used directly, on a server
// the benchmark starts itself (a private Unix socket, fsync off):
//   1. 100,000 appends of 100-byte entries: PostgresDatabase in one batch,
//      against prepared INSERTs of the same rows into a table of the same
//      shape and indexes, in one transaction (counter vorn_over_raw);
//   2. 100,000 random lookups entry(id), against a prepared SELECT of the
//      bytes (counter vorn_over_raw);
//   3. nearest_entry among 100,000 and 1,000,000 identifiers through the
//      index (the second database is filled by the server itself).
// VORN_BENCH_QUICK shrinks every size a hundredfold.
#include <benchmark/benchmark.h>
#include <arpa/inet.h>
#include <libpq-fe.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "tests/support/PostgresServer.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/PostgresDatabase.h"

namespace {

using Entry = vorn::DatabaseEntry<std::string>;
using Db = vorn::PostgresDatabase<Entry>;
using vorn::test::PostgresServer;

const std::size_t append_count = vorn::bench::problem_size(100000, 100);
const std::size_t lookup_count = vorn::bench::problem_size(100000, 100);

std::string identifier(std::size_t i) {
  char text[32];
  std::snprintf(text, sizeof text, "ID%09zu", i);
  return text;
}

// 100 bytes of entry data.
const std::string payload(100, 'p');

// Seconds of the raw side of each comparison, for the ratio counters.
double raw_append_seconds = 0;
double raw_lookup_seconds = 0;

std::string fresh_database(const std::string& name) {
  PostgresServer& server = PostgresServer::shared();
  server.drop_database(name);
  server.create_database(name);
  return server.uri(name);
}

vorn::DatabaseOptions writing() {
  vorn::DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = true;
  return options;
}

PGconn* raw_connection(const std::string& uri) {
  PGconn* connection = PQconnectdb(uri.c_str());
  if (PQstatus(connection) != CONNECTION_OK) {
    std::fprintf(stderr, "%s\n", PQerrorMessage(connection));
    std::abort();
  }
  return connection;
}

void raw_execute(PGconn* connection, const char* sql) {
  PGresult* result = PQexec(connection, sql);
  if (PQresultStatus(result) != PGRES_COMMAND_OK && PQresultStatus(result) != PGRES_TUPLES_OK) {
    std::fprintf(stderr, "%s\n", PQerrorMessage(connection));
    std::abort();
  }
  PQclear(result);
}

void BM_AppendRawLibpq(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    PGconn* connection = raw_connection(fresh_database("bench_raw"));
    raw_execute(connection,
                "CREATE TABLE entries (position integer PRIMARY KEY, identifier bytea NOT NULL,"
                " folded bytea NOT NULL, bytes bytea NOT NULL);"
                "CREATE INDEX ON entries (identifier, position); CREATE INDEX ON entries (folded, position)");
    PQclear(PQprepare(connection, "insert", "INSERT INTO entries VALUES ($1::int4, $2::bytea, $3::bytea, $4::bytea)",
                      4, nullptr));
    state.ResumeTiming();
    const auto start = std::chrono::steady_clock::now();
    raw_execute(connection, "BEGIN");
    for (std::size_t i = 0; i < append_count; ++i) {
      const std::string id = identifier(i);
      const std::uint32_t position = htonl(static_cast<std::uint32_t>(i));
      const char* values[] = {reinterpret_cast<const char*>(&position), id.data(), id.data(), payload.data()};
      const int lengths[] = {4, static_cast<int>(id.size()), static_cast<int>(id.size()),
                             static_cast<int>(payload.size())};
      const int formats[] = {1, 1, 1, 1};
      PGresult* result = PQexecPrepared(connection, "insert", 4, values, lengths, formats, 1);
      if (PQresultStatus(result) != PGRES_COMMAND_OK) std::abort();
      PQclear(result);
    }
    raw_execute(connection, "COMMIT");
    raw_append_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    state.PauseTiming();
    PQfinish(connection);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendRawLibpq)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

void BM_AppendPostgresDatabase(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto db = Db::open(fresh_database("bench_vorn"), writing());
    state.ResumeTiming();
    const auto start = std::chrono::steady_clock::now();
    auto batch = db->batch();
    for (std::size_t i = 0; i < append_count; ++i) {
      batch.append(vorn::make_handle<Entry>(vorn::DatabaseEntryIdentifier(identifier(i)),
                                            vorn::make_handle<std::string>(payload)));
    }
    batch.commit();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (raw_append_seconds > 0) state.counters["vorn_over_raw"] = seconds / raw_append_seconds;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * append_count));
}
BENCHMARK(BM_AppendPostgresDatabase)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

std::vector<std::string> random_identifiers(std::size_t count, std::size_t among) {
  std::mt19937_64 random(42);
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < count; ++i) ids.push_back(identifier(random() % among));
  return ids;
}

// Both lookups read the databases the append benchmarks left behind.
void BM_LookupRawLibpq(benchmark::State& state) {
  PGconn* connection = raw_connection(PostgresServer::shared().uri("bench_raw"));
  PQclear(PQprepare(connection, "get",
                    "SELECT bytes FROM entries WHERE identifier = $1::bytea ORDER BY position LIMIT 1", 1, nullptr));
  const std::vector<std::string> ids = random_identifiers(lookup_count, append_count);
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& id : ids) {
      const char* values[] = {id.data()};
      const int lengths[] = {static_cast<int>(id.size())};
      const int formats[] = {1};
      PGresult* result = PQexecPrepared(connection, "get", 1, values, lengths, formats, 1);
      if (PQntuples(result) != 1) std::abort();
      benchmark::DoNotOptimize(PQgetvalue(result, 0, 0));
      PQclear(result);
    }
    raw_lookup_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  PQfinish(connection);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * lookup_count));
}
BENCHMARK(BM_LookupRawLibpq)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

void BM_LookupPostgresDatabase(benchmark::State& state) {
  vorn::DatabaseOptions reading;
  auto db = Db::open(PostgresServer::shared().uri("bench_vorn"), reading);
  const std::vector<std::string> ids = random_identifiers(lookup_count, append_count);
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& id : ids) benchmark::DoNotOptimize(db->entry(vorn::DatabaseEntryIdentifier(id)));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (raw_lookup_seconds > 0) state.counters["vorn_over_raw"] = seconds / raw_lookup_seconds;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * lookup_count));
}
BENCHMARK(BM_LookupPostgresDatabase)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

// A database of `count` identifiers "ID000000000" ... in mixed case, filled
// by the server (a million appends through the library would dominate the
// run), then opened as a PostgresDatabase.
std::unique_ptr<Db> nearest_fixture(std::size_t count) {
  const std::string name = "bench_nearest_" + std::to_string(count);
  const std::string uri = fresh_database(name);
  Db::open(uri, writing());
  PGconn* connection = raw_connection(uri);
  const std::string fill =
      "INSERT INTO vorn_entries SELECT i, convert_to(t, 'UTF8'), convert_to(upper(t), 'UTF8'), '\\x'::bytea"
      " FROM (SELECT i - 1 AS i, (CASE WHEN i % 2 = 0 THEN 'id' ELSE 'ID' END) || lpad(((i::bigint * 7919) % " +
      std::to_string(count) + ")::text, 9, '0') AS t FROM generate_series(1, " + std::to_string(count) +
      ") AS i) AS s; ANALYZE vorn_entries";
  raw_execute(connection, fill.c_str());
  PQfinish(connection);
  vorn::DatabaseOptions reading;
  return Db::open(uri, reading);
}

void BM_NearestEntry(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const std::unique_ptr<Db> db = nearest_fixture(count);
  std::mt19937_64 random(7);
  std::vector<vorn::DatabaseEntryIdentifier> targets;
  // Targets between the stored identifiers ("Id...5x"): no exact match.
  for (int i = 0; i < 1000; ++i) targets.emplace_back("Id" + identifier(random() % count).substr(2) + "x");
  Db::IdentifierMatch match;
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(db->nearest_entry(targets[next], match));
    next = (next + 1) % targets.size();
  }
}
BENCHMARK(BM_NearestEntry)
    ->Arg(static_cast<std::int64_t>(vorn::bench::problem_size(100000, 100)))
    ->Arg(static_cast<std::int64_t>(vorn::bench::problem_size(1000000, 1000)))
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(5000)
    ->UseRealTime();

}  // namespace
