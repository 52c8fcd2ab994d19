// SqliteDatabase<Entry>: an entry database in one SQLite file (vorn::sqlite),
// with the same lookups, messages and batches as a directory database and
// entries stored as the same bytes, so that copies between the two are byte
// for byte. Several processes may read and write one file at once.
//
//   using Entry = vorn::DatabaseEntry<std::string>;
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   options.create_if_missing = true;
//   auto db = vorn::SqliteDatabase<Entry>::open("genes.sqlite", options);
//   db->append(vorn::make_handle<Entry>(vorn::DatabaseEntryIdentifier("X1"), vorn::make_handle<std::string>("hello")));
//   db->locator();   // "sqlite:genes.sqlite"
//
// Including this header (and linking vorn::sqlite) also makes
// open_database<Entry>("sqlite:FILE", options) and open_entry_store() open
// SQLite locators.
//
// The file, its schema, its guarantees and its errors are SqliteEntryStore's
// (see vorn/database/SqliteEntryStore.h); every failure is a database_error
// whose message starts with "SqliteDatabase::<operation>: ".
#ifndef VORN_DATABASE_SQLITEDATABASE_H_
#define VORN_DATABASE_SQLITEDATABASE_H_

#include <memory>
#include <string>

#include "vorn/database/DatabaseLocator.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/SqliteEntryStore.h"
#include "vorn/database/StoredDatabase.h"

namespace vorn {

template <class Entry>
class SqliteDatabase : public StoredDatabase<Entry> {
 public:
  // Opens the database file `file_or_uri`, given as a file name or as the
  // locator "sqlite:FILE" (so a file whose name itself starts with "sqlite:"
  // is given as "./sqlite:..."), as `options` ask.
  SqliteDatabase(const std::string& file_or_uri, const DatabaseOptions& options)
      : StoredDatabase<Entry>(std::make_unique<SqliteEntryStore>(file_of(file_or_uri), options)) {}

  static std::unique_ptr<SqliteDatabase> open(const std::string& file_or_uri, const DatabaseOptions& options) {
    return std::make_unique<SqliteDatabase>(file_or_uri, options);
  }

  // The database file.
  const std::string& file() const noexcept { return static_cast<const SqliteEntryStore&>(this->store()).file(); }

 private:
  static std::string file_of(const std::string& file_or_uri) {
    static const std::string prefix = "sqlite:";
    if (file_or_uri.compare(0, prefix.size(), prefix) == 0) return file_or_uri.substr(prefix.size());
    return file_or_uri;
  }
};

namespace detail {
inline const bool sqlite_locators_registered =
    register_entry_store_opener(DatabaseLocator::Kind::sqlite, &SqliteEntryStore::open_locator);
}  // namespace detail

}  // namespace vorn

#endif  // VORN_DATABASE_SQLITEDATABASE_H_
