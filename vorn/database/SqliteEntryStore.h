// SqliteEntryStore: an EntryStore in one SQLite file, the store under
// SqliteDatabase<Entry> (vorn::sqlite). Each entry is a row of the table
//
//   entries(position INTEGER PRIMARY KEY, identifier BLOB NOT NULL,
//           folded BLOB NOT NULL, bytes BLOB NOT NULL)
//
// with a unique index on identifier and an index on (folded, position),
// where `folded` is the identifier with its ASCII letters upper-cased, so
// that nearest() answers from the index in logarithmic time exactly as the
// scan of Database::nearest_entry would. `bytes` is the whole entry image (version
// 6, then the entry), byte for byte the content of a directory database's
// entry file. The file is marked with PRAGMA application_id = 0x766F726E
// ("vorn") and PRAGMA user_version = 1, the schema version.
//
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   options.create_if_missing = true;
//   vorn::SqliteEntryStore store("genes.sqlite", options);
//   store.apply({{vorn::EntryStore::Change::append, vorn::DatabaseEntryIdentifier("X1"), bytes}}, "append");
//   int position = store.find(vorn::DatabaseEntryIdentifier("X1"));   // 0
//
// Several processes read and write one file at once: the file is kept in
// write-ahead-log mode, every change runs in one BEGIN IMMEDIATE transaction
// (writers queue for up to busy_timeout_ms), and every read asks the file
// again, so a change another process committed is seen at once. A batch is
// one transaction: all of it or none, also when the writer is killed.
// Durability::full runs with PRAGMA synchronous=FULL: every commit is synced,
// so an acknowledged change survives a power cut. Durability::relaxed runs
// with synchronous=NORMAL: commits are not synced (only the log's
// checkpoints into the file are), so a change survives the end of the
// process at any point, but a power cut may lose the latest acknowledged
// transactions; what is left is a consistent earlier state, never a damaged
// file.
//
// A store opened for reading uses a read-only connection. SQLite still needs
// the "-shm" and "-wal" files beside the database (it creates them when the
// directory is writable): a database in a directory the reader cannot write
// to opens only while they exist.
//
// Throws database_error, each naming the file:
// - "SqliteDatabase::open: no database (no such file): <file>; create it
//   with create_if_missing (vorn db create)", and nothing is created;
// - "SqliteDatabase::open: database already exists: <file>" with
//   error_if_exists;
// - "SqliteDatabase::open: cannot open for writing (the file is read-only):
//   <file>" for a write-protected file opened for writing;
// - "SqliteDatabase::open: not an SQLite file (<SQLite's reason>): <file>";
// - "SqliteDatabase::open: not a vorn entry database (no vorn application id):
//   <file>";
// - "SqliteDatabase::open: <file> has schema version <N>; this library reads
//   version 1";
// - "SqliteDatabase::<operation>: cannot <step> <file>: <SQLite's message>"
//   for any other failure of SQLite;
// - the messages of EntryStore for a store not opened for writing, duplicate
//   or unknown identifiers and positions out of range; an identifier that
//   is empty, longer than 255 bytes (one read from an archive may be) or
//   holds a zero byte ("SqliteDatabase::append: identifier is empty",
//   "...: identifier longer than 255 bytes: <id>", "...: identifier holds a
//   zero byte: <id>"). Any other bytes are kept exactly, blanks at the ends
//   included.
#ifndef VORN_DATABASE_SQLITEENTRYSTORE_H_
#define VORN_DATABASE_SQLITEENTRYSTORE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseLocator.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/EntryStore.h"
#include "vorn/database/SqliteExport.h"

namespace vorn {

namespace detail {
struct SqliteConnection;
}  // namespace detail

class VORN_SQLITE_API SqliteEntryStore final : public EntryStore {
 public:
  // PRAGMA application_id of every vorn entry database: "vorn" in ASCII.
  static constexpr std::uint32_t application_id = 0x766F726E;
  // PRAGMA user_version: the version of the schema this class reads.
  static constexpr int schema_version = 1;
  // How long a writer waits for another one before giving up.
  static constexpr int busy_timeout_ms = 60000;

  // Opens (or, with options.create_if_missing, creates) the database file
  // `file` as `options` ask. The directory is never created.
  SqliteEntryStore(const std::string& file, const DatabaseOptions& options);
  ~SqliteEntryStore() override;

  // The opener of "sqlite:FILE" locators (see DatabaseLocator).
  static std::unique_ptr<EntryStore> open_locator(const DatabaseLocator& locator, const DatabaseOptions& options);

  const std::string& file() const noexcept { return file_; }
  const char* class_name() const noexcept override { return "SqliteDatabase"; }
  // "sqlite:" + file()
  std::string locator() const override { return "sqlite:" + file_; }
  bool writable() const noexcept override { return writable_; }
  Durability durability() const noexcept override { return durability_; }
  void set_durability(Durability durability) override;

  // max(position) + 1, from the end of the primary key.
  int size() const override;
  DatabaseEntryIdentifier identifier(int i) const override;
  int find(const DatabaseEntryIdentifier& id) const override;
  int nearest(const DatabaseEntryIdentifier& target, int& match) const override;
  std::string read(int i, const char* operation) const override;
  bool read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const override;
  // "<id> in sqlite:<file>"
  std::string entry_location(const DatabaseEntryIdentifier& id) const override;

  void apply(const std::vector<Change>& changes, const char* operation) override;
  void check_new_identifier(const DatabaseEntryIdentifier& id) const override;
  // Does nothing: every read already asks the file.
  void reload() override {}

 private:
  bool is_empty_database();
  void create_schema();
  void check_schema();

  std::string file_;
  bool writable_;
  Durability durability_;
  std::unique_ptr<detail::SqliteConnection> connection_;
};

}  // namespace vorn

#endif  // VORN_DATABASE_SQLITEENTRYSTORE_H_
