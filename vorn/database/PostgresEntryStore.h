// PostgresEntryStore: the entries of a database kept in a PostgreSQL
// database, for PostgresDatabase<Entry> and open_entry_store().
//
// Two tables hold the database:
//   vorn_entries(position integer primary key, identifier bytea, folded bytea, bytes bytea)
//   vorn_meta(key text primary key, value text)    -- ('schema_version', '1')
// with btree indexes on (identifier, position) and (folded, position).
// `folded` is the identifier with its ASCII letters upper-cased, so that
// nearest() finds the case-insensitive neighbours of an identifier through
// the index in logarithmic time instead of a scan. Identifiers and entries
// are bytea: any bytes survive, and `bytes` is the entry image every store
// shares (see EntryStore).
//
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   options.create_if_missing = true;
//   std::unique_ptr<vorn::PostgresEntryStore> store =
//       vorn::PostgresEntryStore::open("postgresql://lab@db.example/genes", options);
//   store->apply({{vorn::EntryStore::Change::append, vorn::DatabaseEntryIdentifier("X1"), image}}, "append");
//
// Opening: the URI names the database. Without the vorn tables it is refused
// unless options.create_if_missing, which creates them (and the database
// itself when the server has none of that name and the user may create
// one); options.error_if_exists refuses one that has them.
//
// Every read asks the server, so changes committed by other processes are
// seen at once; reload() does nothing. Each apply() is one transaction that
// first takes a transaction-level advisory lock, which serialises all
// writers of the database, so positions stay dense and in append order;
// it is all or none, also when the writer is killed. Durability::full
// commits with synchronous_commit on (the server's default), relaxed with
// synchronous_commit off.
//
// When the connection breaks, the next call reconnects once by itself. A
// change whose COMMIT was sent when the connection broke is looked up again
// on a new connection (by its transaction id), and the error says what
// happened: "PostgresDatabase::<operation>: connection lost: <reason>; the
// change was applied", "...; the change was not applied" or "...; whether
// the change was applied is unknown: cannot reconnect: <reason>".
//
// One store is one connection: use it from one thread at a time.
//
// Throws database_error, "PostgresDatabase::open: " followed by "cannot
// connect to <locator>: <server's message>", "no such database: <locator>;
// ...", "not a vorn entry database (...): <locator>; ...", "database
// already exists: <locator>" or "<locator> has schema version N; this library
// reads version 1"; and from the other calls the messages EntryStore lists,
// with "PostgresDatabase" as the class. Messages never show the password.
#ifndef VORN_DATABASE_POSTGRESENTRYSTORE_H_
#define VORN_DATABASE_POSTGRESENTRYSTORE_H_

#include <memory>
#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseLocator.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/EntryStore.h"
#include "vorn/database/PostgresExport.h"

namespace vorn {

class VORN_POSTGRES_API PostgresEntryStore final : public EntryStore {
 public:
  // The schema version this library reads and writes.
  static constexpr int schema_version = 1;

  // Connects to `uri` and opens (or creates) the database as `options` ask.
  PostgresEntryStore(const std::string& uri, const DatabaseOptions& options);
  ~PostgresEntryStore() override;

  static std::unique_ptr<PostgresEntryStore> open(const std::string& uri, const DatabaseOptions& options);
  // The opener registered for postgresql:// and postgres:// locators.
  static std::unique_ptr<EntryStore> open_locator(const DatabaseLocator& locator, const DatabaseOptions& options);
  // `uri` without a password (in the user part or as a parameter).
  static std::string without_password(const std::string& uri);

  const char* class_name() const noexcept override { return "PostgresDatabase"; }
  std::string locator() const override { return locator_; }
  bool writable() const noexcept override { return writable_; }
  Durability durability() const noexcept override { return durability_; }
  void set_durability(Durability durability) override;

  int size() const override;
  DatabaseEntryIdentifier identifier(int i) const override;
  int find(const DatabaseEntryIdentifier& id) const override;
  int nearest(const DatabaseEntryIdentifier& target, int& match) const override;
  std::string read(int i, const char* operation) const override;
  bool read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const override;

  void apply(const std::vector<Change>& changes, const char* operation) override;
  void check_new_identifier(const DatabaseEntryIdentifier& id) const override;
  void reload() override {}

  // The value of the server setting `name` in this store's session, e.g.
  // setting("synchronous_commit") == "off" after set_durability(relaxed).
  std::string setting(const std::string& name) const;

 private:
  struct Session;

  void open_schema(const DatabaseOptions& options);
  // Looks for the tables again under the creators' lock and, when neither
  // exists and `create` is set, creates them. Returns true when it created
  // them; sets `meta` and `entries` to what it found.
  bool create_schema(bool create, bool& meta, bool& entries);
  template <class Action>
  auto reading(const char* operation, Action action) const;
  void apply_once(const std::vector<Change>& changes, bool& commit_sent, long long& transaction);
  [[noreturn]] void lost_commit_error(const char* operation, const std::string& reason, long long transaction);

  std::string locator_;
  bool writable_;
  Durability durability_;
  std::unique_ptr<Session> session_;
};

}  // namespace vorn

#endif  // VORN_DATABASE_POSTGRESENTRYSTORE_H_
