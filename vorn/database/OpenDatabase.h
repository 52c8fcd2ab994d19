// open_database<Entry>(locator, options): opens a database of entries named
// by a locator (see DatabaseLocator), whatever its backend.
//
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   options.create_if_missing = true;
//   auto db = vorn::open_database<Entry>("sqlite:genes.sqlite", options);
//   auto same = vorn::open_database<Entry>("data/genes.adi", vorn::Archive::READ);
//
// A directory locator gives an ArchiveDatabase<Entry> (ArchiveDatabase::open
// with the same options); the others a StoredDatabase<Entry> over the
// backend's store. The form with Archive mode bits opens an existing
// database only, for writing when the bits hold Archive::WRITE.
//
// Throws database_error: the locator's errors (see DatabaseLocator) and the
// backend's when the database is missing (unless create_if_missing), exists
// (with error_if_exists) or cannot be opened.
#ifndef VORN_DATABASE_OPENDATABASE_H_
#define VORN_DATABASE_OPENDATABASE_H_

#include <memory>
#include <string>

#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseLocator.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/StoredDatabase.h"
#include "vorn/persistence/Archive.h"

namespace vorn {

template <class Entry>
std::unique_ptr<StoredDatabase<Entry>> open_database(const std::string& locator, const DatabaseOptions& options) {
  const DatabaseLocator where = DatabaseLocator::parse(locator);
  if (where.kind() == DatabaseLocator::Kind::directory) {
    return ArchiveDatabase<Entry>::open(where.directory(), where.name(), options);
  }
  return std::make_unique<StoredDatabase<Entry>>(open_entry_store(locator, options));
}

template <class Entry>
std::unique_ptr<StoredDatabase<Entry>> open_database(const std::string& locator, unsigned int mode) {
  DatabaseOptions options;
  options.writable = (mode & Archive::WRITE) != 0;
  return open_database<Entry>(locator, options);
}

}  // namespace vorn

#endif  // VORN_DATABASE_OPENDATABASE_H_
