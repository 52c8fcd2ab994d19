#include "vorn/database/SqliteEntryStore.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <thread>
#include <utility>

#include <sqlite3.h>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/CountedString.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/io/FileSystem.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"

namespace vorn {

namespace {

const std::string class_prefix = "SqliteDatabase::";

// The statements a store runs, prepared on first use and kept.
enum StatementId : std::size_t {
  size_statement,
  identifier_statement,
  find_statement,
  read_at_statement,
  read_by_id_statement,
  first_folded_statement,
  above_statement,
  below_statement,
  insert_statement,
  update_statement,
  delete_statement,
  positions_above_statement,
  move_statement,
  begin_statement,
  commit_statement,
  rollback_statement,
  statement_count
};

constexpr std::array<const char*, statement_count> statement_sql = {{
    "SELECT max(position) FROM entries",
    "SELECT identifier FROM entries WHERE position = ?1",
    "SELECT position FROM entries WHERE identifier = ?1 ORDER BY position LIMIT 1",
    "SELECT bytes FROM entries WHERE position = ?1",
    "SELECT bytes FROM entries WHERE identifier = ?1 ORDER BY position LIMIT 1",
    "SELECT position FROM entries WHERE folded = ?1 ORDER BY position LIMIT 1",
    "SELECT position FROM entries WHERE folded > ?1 ORDER BY folded, position LIMIT 1",
    // The greatest folded identifier below; its first position is then
    // found with first_folded_statement, since an index walked backwards
    // gives the last position of a run of equal ones.
    "SELECT folded FROM entries WHERE folded < ?1 ORDER BY folded DESC LIMIT 1",
    "INSERT INTO entries(position, identifier, folded, bytes) VALUES (?1, ?2, ?3, ?4)",
    "UPDATE entries SET bytes = ?2 WHERE position = ?1",
    "DELETE FROM entries WHERE position = ?1",
    "SELECT position FROM entries WHERE position > ?1 ORDER BY position",
    "UPDATE entries SET position = ?2 WHERE position = ?1",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
}};

constexpr const char* schema_sql =
    "CREATE TABLE entries(position INTEGER PRIMARY KEY, identifier BLOB NOT NULL, folded BLOB NOT NULL, "
    "bytes BLOB NOT NULL);"
    "CREATE UNIQUE INDEX entries_by_identifier ON entries(identifier);"
    "CREATE INDEX entries_by_folded ON entries(folded, position);";

// SQLite reads a name that starts with "file:" as a URI when it was built to;
// "./" keeps such a relative name a plain file name.
std::string file_name_for_sqlite(const std::string& file) {
  if (file.compare(0, 5, "file:") == 0) return "./" + file;
  return file;
}

[[noreturn]] void open_error(const std::string& problem, const std::string& file) {
  throw database_error(class_prefix + "open: " + problem + ": " + file);
}

}  // namespace

// The SQLite connection of a store and its cached statements.
struct detail::SqliteConnection {
  explicit SqliteConnection(const std::string& file_name) : file(file_name) {}
  ~SqliteConnection() { close(); }
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  void open(bool read_write) {
    close();
    const int flags = (read_write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) | SQLITE_OPEN_NOMUTEX;
    const int rc = sqlite3_open_v2(file_name_for_sqlite(file).c_str(), &db, flags, nullptr);
    if (rc != SQLITE_OK) fail("open", "open", rc);
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, SqliteEntryStore::busy_timeout_ms);
  }

  void close() noexcept {
    for (sqlite3_stmt*& statement : statements) {
      sqlite3_finalize(statement);
      statement = nullptr;
    }
    sqlite3_close_v2(db);
    db = nullptr;
  }

  [[noreturn]] void fail(const char* operation, const char* step, int rc) const {
    const char* reason = db != nullptr && sqlite3_errcode(db) == rc ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    if ((rc & 0xff) == SQLITE_NOTADB) {
      open_error(std::string("not an SQLite file (") + reason + ")", file);
    }
    throw database_error(class_prefix + operation + ": cannot " + step + " " + file + ": " + reason);
  }

  // Runs `sql` (several statements, no results wanted).
  void execute(const char* sql, const char* operation, const char* step) {
    const int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) fail(operation, step, rc);
  }

  // Puts the file in write-ahead-log mode. The switch needs the file to
  // itself for a moment, and SQLite answers "database is locked" at once,
  // without waiting through the busy timeout, when several connections open
  // a new file together: try again until the timeout has passed.
  void use_write_ahead_log(const char* operation) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(SqliteEntryStore::busy_timeout_ms);
    for (;;) {
      const int rc = sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
      if (rc == SQLITE_OK) return;
      if ((rc & 0xff) != SQLITE_BUSY || std::chrono::steady_clock::now() >= deadline) {
        fail(operation, "use a write-ahead log for", rc);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  // The single integer `sql` yields (a pragma or a count).
  long long integer(const char* sql, const char* operation) {
    sqlite3_stmt* statement = nullptr;
    int rc = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
    if (rc != SQLITE_OK) fail(operation, "read", rc);
    rc = sqlite3_step(statement);
    const long long value = rc == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
    sqlite3_finalize(statement);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) fail(operation, "read", rc);
    return value;
  }

  sqlite3_stmt* statement(StatementId id, const char* operation) {
    sqlite3_stmt*& cached = statements[id];
    if (cached == nullptr) {
      const int rc = sqlite3_prepare_v3(db, statement_sql[id], -1, SQLITE_PREPARE_PERSISTENT, &cached, nullptr);
      if (rc != SQLITE_OK) fail(operation, "read", rc);
    }
    return cached;
  }

  std::string file;
  sqlite3* db = nullptr;
  std::array<sqlite3_stmt*, statement_count> statements{};
};

namespace {

// One run of a cached statement: binds, steps, and resets it at the end, so
// that no read transaction outlives the call and the next read sees every
// committed change.
class Run {
 public:
  Run(detail::SqliteConnection& connection, StatementId id, const char* operation, const char* step)
      : connection_(connection), statement_(connection.statement(id, operation)), operation_(operation), step_(step) {}
  ~Run() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  Run& bind(int index, long long value) {
    check(sqlite3_bind_int64(statement_, index, value));
    return *this;
  }
  // As a BLOB, so that comparisons are bytewise; a zero-length blob is not
  // NULL because a std::string's data() is never null.
  // The bytes are not copied: they must outlive the step, so a temporary
  // string is refused at compile time.
  Run& bind(int index, const std::string& bytes) {
    check(sqlite3_bind_blob64(statement_, index, bytes.data(), bytes.size(), SQLITE_STATIC));
    return *this;
  }
  Run& bind(int index, std::string&& bytes) = delete;
  // True when a row came, false when the statement is done.
  bool step() {
    const int rc = sqlite3_step(statement_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    connection_.fail(operation_, step_, rc);
  }
  // Runs a statement that yields no rows; false when it broke a
  // uniqueness constraint.
  bool execute_unique() {
    const int rc = sqlite3_step(statement_);
    if (rc == SQLITE_DONE) return true;
    if (rc == SQLITE_CONSTRAINT_UNIQUE) return false;
    connection_.fail(operation_, step_, rc);
  }
  void execute() { step(); }
  bool null(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  long long integer(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string blob(int column) const {
    const void* data = sqlite3_column_blob(statement_, column);
    const int size = sqlite3_column_bytes(statement_, column);
    if (data == nullptr || size <= 0) return std::string();
    return std::string(static_cast<const char*>(data), static_cast<std::size_t>(size));
  }

 private:
  void check(int rc) {
    if (rc != SQLITE_OK) connection_.fail(operation_, step_, rc);
  }

  detail::SqliteConnection& connection_;
  sqlite3_stmt* statement_;
  const char* operation_;
  const char* step_;
};

// A BEGIN IMMEDIATE transaction, rolled back unless committed.
class WriteTransaction {
 public:
  WriteTransaction(detail::SqliteConnection& connection, const char* operation)
      : connection_(connection), operation_(operation) {
    Run(connection_, begin_statement, operation_, "begin a transaction on").execute();
  }
  ~WriteTransaction() {
    // SQLite may have rolled back by itself after some errors.
    if (!committed_ && sqlite3_get_autocommit(connection_.db) == 0) {
      sqlite3_stmt* rollback = connection_.statements[rollback_statement];
      if (rollback != nullptr) {
        sqlite3_step(rollback);
        sqlite3_reset(rollback);
      } else {
        sqlite3_exec(connection_.db, "ROLLBACK", nullptr, nullptr, nullptr);
      }
    }
  }
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;

  void commit() {
    connection_.statement(rollback_statement, operation_);  // ready before it may be needed
    Run(connection_, commit_statement, operation_, "commit to").execute();
    committed_ = true;
  }

 private:
  detail::SqliteConnection& connection_;
  const char* operation_;
  bool committed_ = false;
};

int as_position(long long value) { return static_cast<int>(value); }

bool blank(char c) noexcept { return c == ' ' || c == '\t'; }

// The identifier whose text is exactly `text`. The constructor from text
// trims blanks and tabs, which an identifier read from an archive may carry
// at its ends; reading the text back in its archive form keeps them.
DatabaseEntryIdentifier identifier_of(const std::string& text) {
  if (text.empty() || (!blank(text.front()) && !blank(text.back()))) return DatabaseEntryIdentifier(text);
  MemoryDevice device;
  {
    Archive out(device, Archive::WRITE);
    detail::write_counted_string(out, text);
  }
  MemoryDevice bytes(device.take());
  Archive in(bytes, Archive::READ);
  DatabaseEntryIdentifier id;
  id.read(in);
  return id;
}

}  // namespace

SqliteEntryStore::SqliteEntryStore(const std::string& file, const DatabaseOptions& options)
    : file_(file),
      writable_(options.writable),
      durability_(options.durability),
      connection_(std::make_unique<detail::SqliteConnection>(file)) {
  // Whether the file is there decides between the missing-database error,
  // error_if_exists and creation; an exclusive create makes that decision
  // once even when several processes create the same database together.
  FileSystem& files = FileSystem::current();
  bool created = false;
  try {
    const std::optional<FileStatus> status = files.stat(file_);
    if (!status) {
      if (!options.create_if_missing) {
        open_error("no database (no such file)", file_ + "; create it with create_if_missing (vorn db create)");
      }
      OpenOptions create;
      create.write = true;
      create.create = true;
      create.exclusive = true;
      try {
        files.open(file_, create)->close();
        created = true;
      } catch (const FileError& e) {
        if (e.error() != EEXIST) throw;
      }
    } else if (status->type == FileStatus::Type::directory) {
      open_error("not an SQLite file (a directory)", file_);
    }
  } catch (const FileError& e) {
    throw database_error(class_prefix + "open: cannot create " + file_ + ": " + e.code().message());
  }
  if (options.error_if_exists && !created) open_error("database already exists", file_);

  detail::SqliteConnection& c = *connection_;
  c.open(writable_ || options.create_if_missing);
  if (is_empty_database()) {
    if (!options.create_if_missing) open_error("not a vorn entry database (an empty SQLite file)", file_);
    create_schema();
  }
  check_schema();
  if (!writable_ && options.create_if_missing) c.open(false);
  // SQLite quietly opens a write-protected file for reading only.
  if (writable_ && sqlite3_db_readonly(c.db, "main") == 1) {
    open_error("cannot open for writing (the file is read-only)", file_);
  }
  if (writable_) c.use_write_ahead_log("open");
  set_durability(durability_);
}

SqliteEntryStore::~SqliteEntryStore() = default;

bool SqliteEntryStore::is_empty_database() {
  detail::SqliteConnection& c = *connection_;
  return c.integer("PRAGMA application_id", "open") == 0 && c.integer("PRAGMA user_version", "open") == 0 &&
         c.integer("SELECT count(*) FROM sqlite_master", "open") == 0;
}

void SqliteEntryStore::create_schema() {
  detail::SqliteConnection& c = *connection_;
  // The journal mode cannot change inside a transaction; it stays in the
  // file for every later connection.
  c.use_write_ahead_log("open");
  WriteTransaction transaction(c, "open");
  // Another process may have created the schema since the check.
  if (!is_empty_database()) return;
  c.execute(schema_sql, "open", "create the schema in");
  const std::string marks = "PRAGMA application_id = " + std::to_string(static_cast<long long>(application_id)) +
                            "; PRAGMA user_version = " + std::to_string(schema_version) + ";";
  c.execute(marks.c_str(), "open", "create the schema in");
  transaction.commit();
}

void SqliteEntryStore::check_schema() {
  detail::SqliteConnection& c = *connection_;
  const long long id = c.integer("PRAGMA application_id", "open");
  if (static_cast<std::uint32_t>(id) != application_id) open_error("not a vorn entry database (no vorn application id)", file_);
  const long long version = c.integer("PRAGMA user_version", "open");
  if (version != schema_version) {
    throw database_error(class_prefix + "open: " + file_ + " has schema version " + std::to_string(version) +
                         "; this library reads version " + std::to_string(schema_version));
  }
}

std::unique_ptr<EntryStore> SqliteEntryStore::open_locator(const DatabaseLocator& locator,
                                                           const DatabaseOptions& options) {
  return std::make_unique<SqliteEntryStore>(locator.target(), options);
}

// Relaxed is NORMAL, not OFF: with a write-ahead log NORMAL syncs only at
// checkpoints, so commits cost no sync, yet a power cut loses at most the
// latest transactions; OFF would not sync checkpoints either, and a power cut
// during one could damage entries committed long before.
void SqliteEntryStore::set_durability(Durability durability) {
  connection_->execute(durability == Durability::full ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL",
                       "set_durability", "set the durability of");
  durability_ = durability;
}

int SqliteEntryStore::size() const {
  Run run(*connection_, size_statement, "size", "read");
  if (!run.step() || run.null(0)) return 0;
  return as_position(run.integer(0) + 1);
}

DatabaseEntryIdentifier SqliteEntryStore::identifier(int i) const {
  Run run(*connection_, identifier_statement, "identifier", "read");
  run.bind(1, i);
  if (!run.step()) position_error(i);
  return identifier_of(run.blob(0));
}

int SqliteEntryStore::find(const DatabaseEntryIdentifier& id) const {
  Run run(*connection_, find_statement, "index", "read");
  run.bind(1, id.text());
  return run.step() ? as_position(run.integer(0)) : -1;
}

int SqliteEntryStore::nearest(const DatabaseEntryIdentifier& target, int& match) const {
  const int exact = find(target);
  if (exact >= 0) {
    match = 2;
    return exact;
  }
  match = 0;
  detail::SqliteConnection& c = *connection_;
  const std::string folded = toupper(target.text());
  const auto first_with = [&](const std::string& key) {
    Run run(c, first_folded_statement, "nearest_entry", "read");
    run.bind(1, key);
    return run.step() ? as_position(run.integer(0)) : -1;
  };
  const int same = first_with(folded);
  if (same >= 0) {
    match = 1;
    return same;
  }
  {
    Run run(c, above_statement, "nearest_entry", "read");
    run.bind(1, folded);
    if (run.step()) return as_position(run.integer(0));
  }
  std::string below;
  {
    Run run(c, below_statement, "nearest_entry", "read");
    run.bind(1, folded);
    if (!run.step()) return -1;
    below = run.blob(0);
  }
  return first_with(below);
}

std::string SqliteEntryStore::read(int i, const char* operation) const {
  Run run(*connection_, read_at_statement, operation, "read");
  run.bind(1, i);
  if (!run.step()) position_error(i);
  return run.blob(0);
}

bool SqliteEntryStore::read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const {
  Run run(*connection_, read_by_id_statement, operation, "read");
  run.bind(1, id.text());
  if (!run.step()) return false;
  bytes = run.blob(0);
  return true;
}

std::string SqliteEntryStore::entry_location(const DatabaseEntryIdentifier& id) const {
  return id.text() + " in " + locator();
}

void SqliteEntryStore::check_new_identifier(const DatabaseEntryIdentifier& id) const {
  const std::string& text = id.text();
  if (text.empty()) throw database_error(class_prefix + "append: identifier is empty");
  if (text.size() > DatabaseEntryIdentifier::maximum_length_) {
    throw database_error(class_prefix + "append: identifier longer than " +
                         std::to_string(DatabaseEntryIdentifier::maximum_length_) +
                         " bytes: " + detail::shown_in_message(text));
  }
  if (text.find('\0') != std::string::npos) {
    throw database_error(class_prefix + "append: identifier holds a zero byte: " + detail::shown_in_message(text));
  }
}

namespace {

// Moves every entry above the lowest removed position down by the number of
// positions removed below it, so that positions are dense again and keep
// their order. The entries are moved in ascending order: each one's new
// position is free by then (removed, or left by an entry already moved),
// which a single UPDATE of them all could not promise.
void close_gaps(detail::SqliteConnection& c, std::vector<long long>& removed, const char* operation) {
  if (removed.empty()) return;
  std::sort(removed.begin(), removed.end());
  std::vector<long long> above;
  {
    Run select(c, positions_above_statement, operation, "read");
    select.bind(1, removed.front());
    while (select.step()) above.push_back(select.integer(0));
  }
  std::size_t below = 0;  // removed positions below the current one
  for (const long long position : above) {
    while (below < removed.size() && removed[below] < position) ++below;
    Run(c, move_statement, operation, "write to").bind(1, position).bind(2, position - static_cast<long long>(below)).execute();
  }
}

}  // namespace

void SqliteEntryStore::apply(const std::vector<Change>& changes, const char* operation) {
  if (!writable_) throw database_error(class_prefix + operation + ": database is not opened for writing");
  detail::SqliteConnection& c = *connection_;
  WriteTransaction transaction(c, operation);
  // Removals leave gaps, closed once at the end of the batch; until then
  // an entry keeps the position it had, and appends take fresh ones.
  int next = size();
  std::vector<long long> removed;
  for (const Change& change : changes) {
    switch (change.kind) {
      case Change::append: {
        check_new_identifier(change.id);
        // The unique index on identifier finds a duplicate without a
        // separate lookup.
        const std::string folded = toupper(change.id.text());
        Run insert(c, insert_statement, operation, "write to");
        insert.bind(1, next).bind(2, change.id.text()).bind(3, folded).bind(4, change.bytes);
        if (!insert.execute_unique()) {
          throw database_error(class_prefix + "append: database already contains an entry with this identifier: " +
                               change.id);
        }
        ++next;
        break;
      }
      case Change::replace: {
        const int position = find(change.id);
        if (position < 0) {
          throw database_error(class_prefix + "replace: database does not contain an entry with this identifier: " +
                               change.id);
        }
        Run update(c, update_statement, operation, "write to");
        update.bind(1, position).bind(2, change.bytes);
        update.execute();
        break;
      }
      case Change::remove: {
        const int position = find(change.id);
        if (position < 0) {
          throw database_error(class_prefix + "remove: database does not contain an entry with this identifier: " +
                               change.id);
        }
        Run(c, delete_statement, operation, "write to").bind(1, position).execute();
        removed.push_back(position);
        break;
      }
    }
  }
  close_gaps(c, removed, operation);
  transaction.commit();
}

}  // namespace vorn
