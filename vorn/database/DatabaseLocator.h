// DatabaseLocator: one string that names an entry database of any backend.
//
//   "data/proteins.adi"                     a directory database: D/N.adi
//   "sqlite:proteins.sqlite"                an SQLite file (vorn::sqlite)
//   "postgresql://host:5432/lab?sslmode=require"
//   "postgres://..."                        a PostgreSQL database (vorn::postgres)
//
//   vorn::DatabaseLocator where = vorn::DatabaseLocator::parse("data/proteins.adi");
//   // where.kind() == Kind::directory, where.directory() == "data", where.name() == "proteins"
//   std::unique_ptr<vorn::EntryStore> store = vorn::open_entry_store("sqlite:p.sqlite", options);
//
// The SQLite and PostgreSQL backends live in their own libraries; including
// vorn/database/SqliteDatabase.h or PostgresDatabase.h (and linking the
// library) registers their kind of locator. open_database<Entry>() in
// vorn/database/OpenDatabase.h opens a locator as a database of entries.
//
// Throws database_error "open_database: not a database locator: '<text>'
// (give DIR/NAME.adi, sqlite:FILE or a postgresql:// URI)", "open_database:
// ... names no file" and, for a backend that is not linked, "open_database:
// <kind> locators need the vorn::<kind> library (link it and include
// vorn/database/<Class>.h): <text>"; the backend's own errors when it cannot
// open what the locator names.
#ifndef VORN_DATABASE_DATABASELOCATOR_H_
#define VORN_DATABASE_DATABASELOCATOR_H_

#include <memory>
#include <string>

#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/EntryStore.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API DatabaseLocator {
 public:
  enum class Kind { directory, sqlite, postgres };

  // Throws database_error for a text that names no database (see above).
  static DatabaseLocator parse(const std::string& text);
  // True when `text` has the form of a locator: ends in ".adi", or starts
  // with "sqlite:", "postgresql://" or "postgres://".
  static bool looks_like_locator(const std::string& text) noexcept;
  // The locator of the directory database `name` in `directory`.
  static DatabaseLocator of_directory(const std::string& directory, const std::string& name);

  Kind kind() const noexcept { return kind_; }
  // The text as given.
  const std::string& text() const noexcept { return text_; }
  // For a directory database: the directory (without a trailing "/", "."
  // when the locator has none) and the name.
  const std::string& directory() const noexcept { return directory_; }
  const std::string& name() const noexcept { return name_; }
  // For SQLite: the file; for PostgreSQL: the connection URI.
  const std::string& target() const noexcept { return target_; }

 private:
  DatabaseLocator() = default;

  Kind kind_ = Kind::directory;
  std::string text_;
  std::string directory_;
  std::string name_;
  std::string target_;
};

// Opens the store a locator names as `options` ask (see
// ArchiveDatabase::open for what they mean; every backend reads them alike).
using EntryStoreOpener = std::unique_ptr<EntryStore> (*)(const DatabaseLocator& locator,
                                                         const DatabaseOptions& options);

// Makes `opener` open the locators of `kind`; returns true. The SQLite and
// PostgreSQL headers call it. The directory kind is always registered.
VORN_API bool register_entry_store_opener(DatabaseLocator::Kind kind, EntryStoreOpener opener);

// Opens the store `locator` names; see DatabaseLocator for the errors.
VORN_API std::unique_ptr<EntryStore> open_entry_store(const std::string& locator, const DatabaseOptions& options);

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASELOCATOR_H_
