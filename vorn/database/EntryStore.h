// EntryStore: where a database keeps its entries, as byte strings under
// identifiers at dense positions 0 .. size() - 1. StoredDatabase<Entry>
// turns entries into bytes and back over any store; the stores are
// EntryDirectory (a directory of files, under ArchiveDatabase),
// SqliteEntryStore (one SQLite file, vorn::sqlite) and PostgresEntryStore (a
// PostgreSQL database, vorn::postgres). The bytes of an entry are exactly
// those of its file in a directory database: the version 6 as a big-endian
// 32-bit integer, then the entry as DatabaseEntry::write stores it, so any
// store copies into any other byte for byte.
//
//   std::unique_ptr<vorn::EntryStore> store = vorn::open_entry_store("sqlite:genes.sqlite", options);
//   for (int i = 0; i < store->size(); ++i) std::string bytes = store->read(i, "copy");
//   store->apply({{vorn::EntryStore::Change::append, vorn::DatabaseEntryIdentifier("X1"), bytes}}, "append");
//
// Every failure is a database_error whose message starts with the class name
// of the database (class_name(), for example "SqliteDatabase") and the
// operation passed in (for example "append"): "SqliteDatabase::append:
// database already contains an entry with this identifier: X1". Positions out
// of range give "<Class>::entry( int ) <i> is out of range".
#ifndef VORN_DATABASE_ENTRYSTORE_H_
#define VORN_DATABASE_ENTRYSTORE_H_

#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API EntryStore {
 public:
  // One change of a batch. `bytes` is the whole entry image (version and
  // entry) for an append or a replace, unused for a remove.
  struct Change {
    enum Kind { append, replace, remove };
    Kind kind;
    DatabaseEntryIdentifier id;
    std::string bytes;
  };

  virtual ~EntryStore();
  EntryStore(const EntryStore&) = delete;
  EntryStore& operator=(const EntryStore&) = delete;

  // The class named in messages: "ArchiveDatabase", "SqliteDatabase" or
  // "PostgresDatabase".
  virtual const char* class_name() const noexcept = 0;
  // The locator that opens this store again: "DIR/NAME.adi", "sqlite:FILE"
  // or the PostgreSQL connection URI (without its password).
  virtual std::string locator() const = 0;
  virtual bool writable() const noexcept = 0;
  virtual Durability durability() const noexcept = 0;
  virtual void set_durability(Durability durability) = 0;

  virtual int size() const = 0;
  // The identifier at position i; out of range throws the positional error.
  virtual DatabaseEntryIdentifier identifier(int i) const = 0;
  // The first position of `id`, or -1 when absent.
  virtual int find(const DatabaseEntryIdentifier& id) const = 0;
  // The position Database::nearest_entry finds; `match` is set to 0 (none),
  // 1 (equal apart from case) or 2 (exact).
  virtual int nearest(const DatabaseEntryIdentifier& target, int& match) const = 0;
  // The bytes of the entry at position i; out of range throws the
  // positional error.
  virtual std::string read(int i, const char* operation) const = 0;
  // The bytes of the first entry with identifier `id` into `bytes`; false
  // when there is none.
  virtual bool read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const = 0;

  // Applies `changes` in order, all or none, and durably unless relaxed.
  // Refuses the whole batch, before changing anything, for a store not
  // opened for writing, a duplicate or unknown identifier or an identifier
  // the store cannot hold.
  virtual void apply(const std::vector<Change>& changes, const char* operation) = 0;
  // Throws the database_error an append of `id` would throw because the
  // store cannot hold that identifier ("<Class>::append: ...").
  virtual void check_new_identifier(const DatabaseEntryIdentifier& id) const = 0;
  // Sees the changes of other objects and processes that the store does not
  // see by itself (a directory loads its index again).
  virtual void reload() = 0;

  // How messages about one entry name it: "entry file" and the file's path
  // for a directory, "entry" and "<id> in <locator>" otherwise.
  virtual const char* entry_kind() const noexcept { return "entry"; }
  virtual std::string entry_location(const DatabaseEntryIdentifier& id) const;

  // Throws "<class_name()>::entry( int ) <i> is out of range".
  [[noreturn]] void position_error(int i) const;

 protected:
  EntryStore() = default;
};

}  // namespace vorn

#endif  // VORN_DATABASE_ENTRYSTORE_H_
