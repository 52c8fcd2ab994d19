#include "vorn/database/PostgresEntryStore.h"

#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/database/detail/PostgresConnection.h"

namespace vorn {

using detail::PostgresConnection;
using detail::PostgresConnectionLost;
using detail::PostgresParameter;
using detail::PostgresResult;
using detail::PostgresStatement;
using detail::PostgresStatementError;

struct PostgresEntryStore::Session {
  explicit Session(const std::string& uri) : connection(uri) {}
  PostgresConnection connection;
};

namespace {

// Advisory lock keys ("vorn" and a number): one serialises the writers of a
// database, one its creation. Advisory locks are per database, so separate
// databases on one server do not wait for each other.
constexpr const char* write_lock_sql = "SELECT pg_advisory_xact_lock(130300009185281), txid_current()";
constexpr const char* create_lock_sql = "SELECT pg_advisory_xact_lock(130300009185282)";

const PostgresStatement lock_statement{"vorn_lock", write_lock_sql};
const PostgresStatement size_statement{"vorn_size", "SELECT coalesce(max(position) + 1, 0) FROM vorn_entries"};
const PostgresStatement identifier_statement{"vorn_identifier",
                                             "SELECT identifier FROM vorn_entries WHERE position = $1::int4"};
const PostgresStatement bytes_at_statement{"vorn_bytes_at", "SELECT bytes FROM vorn_entries WHERE position = $1::int4"};
const PostgresStatement find_statement{"vorn_find",
                                       "SELECT min(position) FROM vorn_entries WHERE identifier = $1::bytea"};
const PostgresStatement bytes_of_statement{
    "vorn_bytes_of", "SELECT bytes FROM vorn_entries WHERE identifier = $1::bytea ORDER BY position LIMIT 1"};
// The exact match, the first equal apart from case, the first of the
// smallest folded identifier above and the first of the greatest below: each
// one probe of an index.
const PostgresStatement nearest_statement{
    "vorn_nearest",
    "SELECT (SELECT min(position) FROM vorn_entries WHERE identifier = $1::bytea),"
    " (SELECT min(position) FROM vorn_entries WHERE folded = $2::bytea),"
    " (SELECT position FROM vorn_entries WHERE folded > $2::bytea ORDER BY folded, position LIMIT 1),"
    " (SELECT min(position) FROM vorn_entries WHERE folded ="
    "  (SELECT folded FROM vorn_entries WHERE folded < $2::bytea ORDER BY folded DESC LIMIT 1))"};
// An append that touches nothing when the identifier is already there.
const PostgresStatement append_statement{
    "vorn_append",
    "INSERT INTO vorn_entries (position, identifier, folded, bytes)"
    " SELECT $1::int4, $2::bytea, $3::bytea, $4::bytea"
    " WHERE NOT EXISTS (SELECT 1 FROM vorn_entries WHERE identifier = $2::bytea)"};
const PostgresStatement replace_statement{"vorn_replace",
                                          "UPDATE vorn_entries SET bytes = $2::bytea WHERE identifier = $1::bytea"};
const PostgresStatement remove_statement{
    "vorn_remove",
    "DELETE FROM vorn_entries WHERE position ="
    " (SELECT min(position) FROM vorn_entries WHERE identifier = $1::bytea) RETURNING position"};
// Moving the later positions down by one in a single UPDATE would collide
// with the primary key row by row; going through the negatives never does.
const PostgresStatement negate_statement{"vorn_negate",
                                         "UPDATE vorn_entries SET position = -position WHERE position > $1::int4"};
const PostgresStatement settle_statement{"vorn_settle",
                                         "UPDATE vorn_entries SET position = -position - 1 WHERE position < 0"};
const PostgresStatement status_statement{"vorn_status", "SELECT txid_status($1::int8)"};
const PostgresStatement setting_statement{"vorn_setting", "SELECT current_setting($1::text)"};

constexpr const char* schema_sql =
    "CREATE TABLE vorn_meta (key text PRIMARY KEY, value text NOT NULL);"
    "CREATE TABLE vorn_entries (position integer PRIMARY KEY, identifier bytea NOT NULL,"
    " folded bytea NOT NULL, bytes bytea NOT NULL);"
    "CREATE INDEX vorn_entries_identifier ON vorn_entries (identifier, position);"
    "CREATE INDEX vorn_entries_folded ON vorn_entries (folded, position);"
    "INSERT INTO vorn_meta (key, value) VALUES ('schema_version', '1');";

// How long a writer whose COMMIT was cut off keeps trying to learn its fate.
constexpr std::chrono::seconds outcome_patience(10);

std::string folded(const std::string& text) {
  std::string result = text;
  for (char& c : result) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return result;
}

[[noreturn]] void open_error(const std::string& what) { throw database_error("PostgresDatabase::open: " + what); }

std::string prefix(const char* operation) { return std::string("PostgresDatabase::") + operation + ": "; }

void roll_back(PostgresConnection& connection) noexcept {
  try {
    connection.execute("ROLLBACK");
  } catch (const std::exception&) {
  }
}

}  // namespace

std::string PostgresEntryStore::without_password(const std::string& uri) {
  std::string text = uri;
  const std::size_t scheme = text.find("://");
  if (scheme != std::string::npos) {
    const std::size_t start = scheme + 3;
    const std::size_t end = text.find_first_of("/?#", start);
    const std::size_t authority_end = end == std::string::npos ? text.size() : end;
    const std::size_t at = text.rfind('@', authority_end);
    if (at != std::string::npos && at >= start) {
      const std::size_t colon = text.find(':', start);
      if (colon != std::string::npos && colon < at) text.erase(colon, at - colon);
    }
  }
  const std::size_t query = text.find('?');
  if (query == std::string::npos) return text;
  std::string kept;
  std::size_t begin = query + 1;
  while (begin <= text.size()) {
    std::size_t end = text.find('&', begin);
    if (end == std::string::npos) end = text.size();
    const std::string parameter = text.substr(begin, end - begin);
    if (parameter.compare(0, 9, "password=") != 0 && parameter != "password" && !parameter.empty()) {
      kept += (kept.empty() ? "" : "&") + parameter;
    }
    begin = end + 1;
  }
  return text.substr(0, query) + (kept.empty() ? "" : "?" + kept);
}

PostgresEntryStore::PostgresEntryStore(const std::string& uri, const DatabaseOptions& options)
    : locator_(without_password(uri)),
      writable_(options.writable),
      durability_(options.durability),
      session_(std::make_unique<Session>(uri)) {
  PostgresConnection& connection = session_->connection;
  try {
    connection.connect();
  } catch (const PostgresConnectionLost& e) {
    // Tell a missing database from a server that cannot be reached by
    // asking the server's maintenance database.
    std::unique_ptr<PostgresConnection> maintenance;
    try {
      maintenance = PostgresConnection::to_database(uri, "postgres");
    } catch (const PostgresConnectionLost&) {
      open_error("cannot connect to " + locator_ + ": " + e.what());
    }
    const std::string name = PostgresConnection::database_of(uri, maintenance->user());
    const PostgresStatement exists{"vorn_database_exists", "SELECT 1 FROM pg_database WHERE datname = $1::text"};
    try {
      if (maintenance->run(exists, {name}).rows() > 0) open_error("cannot connect to " + locator_ + ": " + e.what());
      if (!options.create_if_missing) {
        open_error("no such database: " + locator_ + "; create it with create_if_missing or vorn db create");
      }
      try {
        maintenance->execute(("CREATE DATABASE " + maintenance->quote_identifier(name)).c_str());
      } catch (const PostgresStatementError& created) {
        if (created.state() != "42P04") throw;  // 42P04: another process created it first
      }
      connection.connect();
    } catch (const PostgresConnectionLost& again) {
      open_error("cannot connect to " + locator_ + ": " + again.what());
    } catch (const PostgresStatementError& refused) {
      open_error("cannot create " + locator_ + ": " + refused.what());
    }
  }
  try {
    open_schema(options);
    if (durability_ == Durability::relaxed) connection.set_session_setup("SET synchronous_commit = off");
  } catch (const PostgresConnectionLost& e) {
    open_error("connection lost: " + std::string(e.what()) + ": " + locator_);
  } catch (const PostgresStatementError& e) {
    open_error(std::string(e.what()) + ": " + locator_);
  }
}

PostgresEntryStore::~PostgresEntryStore() = default;

std::unique_ptr<PostgresEntryStore> PostgresEntryStore::open(const std::string& uri, const DatabaseOptions& options) {
  return std::make_unique<PostgresEntryStore>(uri, options);
}

std::unique_ptr<EntryStore> PostgresEntryStore::open_locator(const DatabaseLocator& locator,
                                                             const DatabaseOptions& options) {
  return open(locator.target(), options);
}

void PostgresEntryStore::open_schema(const DatabaseOptions& options) {
  PostgresConnection& connection = session_->connection;
  const PostgresStatement tables{"vorn_tables",
                                 "SELECT to_regclass('vorn_meta') IS NOT NULL, to_regclass('vorn_entries') IS NOT NULL"};
  PostgresResult found = connection.run(tables, {});
  bool meta = found.bytes(0, 0) == std::string(1, '\1');
  bool entries = found.bytes(0, 1) == std::string(1, '\1');
  if (!meta || !entries) {
    // Another process may be creating the tables just now, and the two
    // lookups above may fall on either side of its commit: look again, as
    // one snapshot, under the creators' lock.
    if (create_schema(options.create_if_missing, meta, entries)) return;
    if (!meta && !entries) {
      open_error("not a vorn entry database (no vorn tables): " + locator_ +
                 "; create one with create_if_missing or vorn db create");
    }
  }
  if (!meta) open_error("not a vorn entry database (no vorn_meta table): " + locator_);
  if (!entries) open_error("not a vorn entry database (no vorn_entries table): " + locator_);
  if (options.error_if_exists) open_error("database already exists: " + locator_);
  const PostgresStatement version{"vorn_version", "SELECT value FROM vorn_meta WHERE key = 'schema_version'"};
  PostgresResult row = connection.run(version, {});
  if (row.rows() == 0 || row.null(0, 0)) open_error("not a vorn entry database (no schema version): " + locator_);
  const std::string text = row.bytes(0, 0);
  if (text != std::to_string(schema_version)) {
    open_error(locator_ + " has schema version " + detail::shown_in_message(text) + "; this library reads version " +
               std::to_string(schema_version));
  }
}

bool PostgresEntryStore::create_schema(bool create, bool& meta, bool& entries) {
  PostgresConnection& connection = session_->connection;
  // Concurrent creators queue on the lock; the later ones find the tables.
  connection.execute("BEGIN");
  bool created = false;
  try {
    connection.execute(create_lock_sql);
    // Read pg_class itself: to_regclass() may answer from a cache that has
    // not yet seen the tables another creator committed while we waited.
    PostgresResult found = connection.execute(
        "SELECT count(*) FILTER (WHERE c.relname = 'vorn_meta'), count(*) FILTER (WHERE c.relname = 'vorn_entries')"
        " FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace"
        " WHERE c.relname IN ('vorn_meta', 'vorn_entries') AND n.nspname = current_schema()");
    meta = found.bytes(0, 0) != "0";
    entries = found.bytes(0, 1) != "0";
    if (create && !meta && !entries) {
      connection.execute(schema_sql);
      created = true;
    }
    connection.execute("COMMIT");
  } catch (...) {
    roll_back(connection);
    throw;
  }
  return created;
}

void PostgresEntryStore::set_durability(Durability durability) {
  try {
    session_->connection.set_session_setup(durability == Durability::relaxed ? "SET synchronous_commit = off"
                                                                             : "SET synchronous_commit = on");
  } catch (const PostgresConnectionLost&) {
    // The next connection runs the setting.
  } catch (const PostgresStatementError& e) {
    throw database_error(prefix("set_durability") + e.what());
  }
  durability_ = durability;
}

// Runs `action` on a working connection. A connection found broken is
// replaced once, before or during the action (reads can be repeated).
template <class Action>
auto PostgresEntryStore::reading(const char* operation, Action action) const {
  PostgresConnection& connection = session_->connection;
  for (int attempt = 0;; ++attempt) {
    try {
      connection.ensure();
      return action(connection);
    } catch (const PostgresConnectionLost& e) {
      if (attempt == 0) continue;
      throw database_error(prefix(operation) + "connection lost: " + e.what());
    } catch (const PostgresStatementError& e) {
      throw database_error(prefix(operation) + e.what());
    }
  }
}

int PostgresEntryStore::size() const {
  return reading("size", [](PostgresConnection& c) { return static_cast<int>(c.run(size_statement, {}).int32(0, 0)); });
}

DatabaseEntryIdentifier PostgresEntryStore::identifier(int i) const {
  if (i < 0) position_error(i);
  std::string text;
  const bool found = reading("identifier", [&](PostgresConnection& c) {
    PostgresResult row = c.run(identifier_statement, {std::int32_t{i}});
    if (row.rows() == 0) return false;
    text = row.bytes(0, 0);
    return true;
  });
  if (!found) position_error(i);
  return DatabaseEntryIdentifier(text);
}

int PostgresEntryStore::find(const DatabaseEntryIdentifier& id) const {
  return reading("find", [&](PostgresConnection& c) {
    PostgresResult row = c.run(find_statement, {id.text()});
    return row.null(0, 0) ? -1 : static_cast<int>(row.int32(0, 0));
  });
}

int PostgresEntryStore::nearest(const DatabaseEntryIdentifier& target, int& match) const {
  const std::string key = folded(target.text());
  int kind = 0;
  const int position = reading("nearest_entry", [&](PostgresConnection& c) {
    PostgresResult row = c.run(nearest_statement, {target.text(), key});
    const int kinds[] = {2, 1, 0, 0};
    for (int column = 0; column < 4; ++column) {
      if (!row.null(0, column)) {
        kind = kinds[column];
        return static_cast<int>(row.int32(0, column));
      }
    }
    kind = 0;
    return -1;
  });
  match = kind;
  return position;
}

std::string PostgresEntryStore::read(int i, const char* operation) const {
  if (i < 0) position_error(i);
  std::string bytes;
  const bool found = reading(operation, [&](PostgresConnection& c) {
    PostgresResult row = c.run(bytes_at_statement, {std::int32_t{i}});
    if (row.rows() == 0) return false;
    bytes = row.bytes(0, 0);
    return true;
  });
  if (!found) position_error(i);
  return bytes;
}

bool PostgresEntryStore::read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const {
  return reading(operation, [&](PostgresConnection& c) {
    PostgresResult row = c.run(bytes_of_statement, {id.text()});
    if (row.rows() == 0) return false;
    bytes = row.bytes(0, 0);
    return true;
  });
}

std::string PostgresEntryStore::setting(const std::string& name) const {
  return reading("setting", [&](PostgresConnection& c) { return c.run(setting_statement, {name}).bytes(0, 0); });
}

void PostgresEntryStore::check_new_identifier(const DatabaseEntryIdentifier& id) const {
  const std::string& text = id.text();
  if (text.empty()) throw database_error("PostgresDatabase::append: identifier is empty");
  if (text.find('\0') != std::string::npos) {
    throw database_error("PostgresDatabase::append: identifier holds a zero byte: " +
                         detail::shown_in_message(text));
  }
}

void PostgresEntryStore::apply(const std::vector<Change>& changes, const char* operation) {
  if (!writable_) throw database_error(prefix(operation) + "database is not opened for writing");
  if (changes.empty()) return;
  // A transaction cut off before its COMMIT was sent changed nothing, so it
  // is run once more on a new connection (the server may have restarted).
  for (int attempt = 0;; ++attempt) {
    bool commit_sent = false;
    long long transaction = -1;
    try {
      apply_once(changes, commit_sent, transaction);
      return;
    } catch (const PostgresConnectionLost& e) {
      if (commit_sent) lost_commit_error(operation, e.what(), transaction);
      if (attempt == 0) continue;
      throw database_error(prefix(operation) + "connection lost: " + e.what() + "; the change was not applied");
    } catch (const PostgresStatementError& e) {
      roll_back(session_->connection);
      throw database_error(prefix(operation) + e.what() + "; the change was not applied");
    }
  }
}

void PostgresEntryStore::apply_once(const std::vector<Change>& changes, bool& commit_sent, long long& transaction) {
  PostgresConnection& connection = session_->connection;
  connection.ensure();
  connection.execute("BEGIN");
  // The size is read after the lock is held, by a statement of its own:
  // its snapshot then includes every writer that went before.
  transaction = connection.run(lock_statement, {}).int64(0, 1);
  int size = connection.run(size_statement, {}).int32(0, 0);
  const auto refuse = [&](const std::string& message) {
    roll_back(connection);
    throw database_error(message);
  };
  for (const Change& change : changes) {
    const std::string& text = change.id.text();
    switch (change.kind) {
      case Change::append: {
        try {
          check_new_identifier(change.id);
        } catch (const database_error&) {
          roll_back(connection);
          throw;
        }
        const std::string key = folded(text);
        if (connection.run(append_statement, {std::int32_t{size}, text, key, change.bytes}).affected() == 0) {
          refuse("PostgresDatabase::append: database already contains an entry with this identifier: " + text);
        }
        ++size;
        break;
      }
      case Change::replace:
        if (connection.run(replace_statement, {text, change.bytes}).affected() == 0) {
          refuse("PostgresDatabase::replace: database does not contain an entry with this identifier: " + text);
        }
        break;
      case Change::remove: {
        PostgresResult removed = connection.run(remove_statement, {text});
        if (removed.rows() == 0) {
          refuse("PostgresDatabase::remove: database does not contain an entry with this identifier: " + text);
        }
        const std::int32_t position = removed.int32(0, 0);
        if (position < size - 1) {
          connection.run(negate_statement, {position});
          connection.run(settle_statement, {});
        }
        --size;
        break;
      }
    }
  }
  commit_sent = true;
  connection.execute("COMMIT");
}

void PostgresEntryStore::lost_commit_error(const char* operation, const std::string& reason, long long transaction) {
  const std::string lost = prefix(operation) + "connection lost: " + reason;
  PostgresConnection& connection = session_->connection;
  const auto deadline = std::chrono::steady_clock::now() + outcome_patience;
  for (;;) {
    std::string failure;
    try {
      connection.ensure();
      PostgresResult row = connection.run(status_statement, {static_cast<std::int64_t>(transaction)});
      const std::string status = row.null(0, 0) ? std::string() : row.bytes(0, 0);
      if (status == "committed") throw database_error(lost + "; the change was applied");
      if (status == "aborted") throw database_error(lost + "; the change was not applied");
      if (status != "in progress") {
        throw database_error(lost + "; whether the change was applied is unknown: the server no longer knows "
                             "transaction " + std::to_string(transaction));
      }
      failure = "transaction " + std::to_string(transaction) + " is still in progress";
    } catch (const PostgresConnectionLost& e) {
      failure = std::string("cannot reconnect: ") + e.what();
    } catch (const PostgresStatementError& e) {
      throw database_error(lost + "; whether the change was applied is unknown: " + e.what());
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      throw database_error(lost + "; whether the change was applied is unknown: " + failure);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

}  // namespace vorn
