// PostgresDatabase<Entry>: an entry database kept in a PostgreSQL database
// (see PostgresEntryStore for the tables and the guarantees), with the
// interface of every StoredDatabase: lookups by position and identifier,
// nearest_entry() through an index, append/replace/remove and batches that
// are all or none.
//
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   options.create_if_missing = true;
//   auto db = vorn::PostgresDatabase<Entry>::open("postgresql://lab@db.example:5432/genes", options);
//   db->append(vorn::make_handle<Entry>(vorn::DatabaseEntryIdentifier("X1"), vorn::make_handle<std::string>("hi")));
//   // db->locator() == "postgresql://lab@db.example:5432/genes"
//
// Including this header registers postgresql:// and postgres:// locators,
// so that open_database<Entry>() and open_entry_store() open them (link
// vorn::postgres).
//
// Throws database_error: PostgresEntryStore's errors and StoredDatabase's.
#ifndef VORN_DATABASE_POSTGRESDATABASE_H_
#define VORN_DATABASE_POSTGRESDATABASE_H_

#include <memory>
#include <string>

#include "vorn/database/DatabaseLocator.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/PostgresEntryStore.h"
#include "vorn/database/StoredDatabase.h"

namespace vorn {

template <class Entry>
class PostgresDatabase : public StoredDatabase<Entry> {
 public:
  // Connects to `uri` and opens the database as `options` ask.
  PostgresDatabase(const std::string& uri, const DatabaseOptions& options)
      : StoredDatabase<Entry>(PostgresEntryStore::open(uri, options)) {}

  static std::unique_ptr<PostgresDatabase> open(const std::string& uri, const DatabaseOptions& options) {
    return std::make_unique<PostgresDatabase>(uri, options);
  }
};

namespace detail {
inline const bool postgres_locators_registered =
    register_entry_store_opener(DatabaseLocator::Kind::postgres, &PostgresEntryStore::open_locator);
}  // namespace detail

}  // namespace vorn

#endif  // VORN_DATABASE_POSTGRESDATABASE_H_
