// ArchiveDatabase<Entry>: an entry database kept in a directory as a text
// index plus one archive file per entry.
//
// For directory D and name N the index D/N.adi lists the identifiers one per
// line ("\n" after each, in the order of appending), and the entry with
// identifier I lives in D/N_I.ade: the version 6 as a big-endian 32-bit
// integer, then the entry as DatabaseEntry::write stores it. Every change is
// on disk when the call returns; the index is loaded once, at construction.
//
//   using Entry = vorn::DatabaseEntry<std::string>;
//   vorn::ArchiveDatabase<Entry> db("/data", "genes", vorn::Archive::READ | vorn::Archive::WRITE);
//   db.append(THandle<Entry>(new Entry(vorn::DatabaseEntryIdentifier("X1"),
//                                      THandle<std::string>(new std::string("hello")))));
//   THandle<Entry> e = db.entry(vorn::DatabaseEntryIdentifier("X1"));
//   db.remove(vorn::DatabaseEntryIdentifier("X1"));
//
// open() is the checked way in: it refuses a missing directory or a missing
// database instead of starting an empty one there.
//
//   vorn::DatabaseOptions options;
//   options.writable = true;
//   std::unique_ptr<vorn::ArchiveDatabase<Entry>> db = vorn::ArchiveDatabase<Entry>::open("/data", "genes", options);
//   // database_error "ArchiveDatabase::open: no database (no index file): /data/genes.adi" when absent
//
// Lookups by identifier take expected constant time (a hash index of first
// positions); nearest_entry() answers in logarithmic time from an index
// ordered case-insensitively, which its first call builds.
//
// Changes are safe against other writers and against crashes (the file work
// is EntryDirectory's, which tells the details):
// - Every change (append, replace, remove, a batch) holds an exclusive lock
//   on D/N.lock, a file that is created once and never renamed or removed.
//   Under it the writer first reloads an index that another object or
//   process changed, so no acknowledged change is overwritten and the
//   duplicate check sees every entry. reload() loads the index on demand.
// - An existing entry file is rewritten whole under D/N_I.ade.tmp and
//   renamed into place (a new one is created exclusively, unlisted until the
//   index names it); a replacing entry that is shorter keeps the old tail
//   bytes behind the new record, exactly as an update in place would. An
//   entry whose write throws leaves the old file untouched.
// - With the default Durability::full, an acknowledged change survives a
//   power cut: entry files and the index are synced, and so are the
//   directories. DatabaseOptions::durability = Durability::relaxed syncs
//   nothing, for bulk loads.
// - A batch applies many changes under one lock with one index write; a
//   failure undoes all of them, and after a power cut its new entries are all
//   listed or none (each replaced entry is whole, old or new):
//
//     ArchiveDatabase<Entry>::Batch batch = db.batch();
//     batch.append(e1);
//     batch.remove(DatabaseEntryIdentifier("old"));
//     batch.commit();
//
// - Every failure to write, sync, rename or remove a file is a database_error
//   "ArchiveDatabase::<operation>: cannot <step> <path>: <system reason>",
//   also for the index, and the failed change leaves no file behind.
//
// Every entry file is opened beneath the directory: a symbolic link on the
// way (D/N_a pointing elsewhere, or the entry file itself) is refused, never
// followed, and so is anything that is not a regular file (a FIFO, a device,
// a directory), without blocking on it. An identifier must name exactly one
// file inside the directory: empty identifiers, empty, "." and ".." path
// components ("s//b", "s/./b", "/x", "x/") and identifiers whose entry file
// name, with room for a 32-byte temporary suffix, exceeds 255 bytes are
// refused before anything is written (check_identifier tells in advance).
//
// Throws database_error for a database not opened for writing, a duplicate
// or unknown identifier, an out-of-range position, an identifier refused as
// above or that cannot be stored as an index line (quoted up to 80 bytes), a
// truncated or corrupt entry file (naming the file), an entry file refused as
// above ("cannot open entry file <path>: <reason>"), an index that exists but
// is not a readable regular file, an index that cannot be written, and an
// entry that another writer removed since the index was loaded
// ("ArchiveDatabase::entry: entry was removed from the database: <id>"). A missing entry file gives the archive's std::invalid_argument
// "Archive::open: Couldn't open file: <path>"; an index line longer than 255
// characters makes the constructor throw the identifier's
// std::invalid_argument.
#ifndef VORN_DATABASE_ARCHIVEDATABASE_H_
#define VORN_DATABASE_ARCHIVEDATABASE_H_

#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vorn/database/Database.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/EntryDirectory.h"
#include "vorn/database/StoredDatabase.h"
#include "vorn/database/database_error.h"
#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn {

template <class Entry>
class ArchiveDatabase : public StoredDatabase<Entry> {
 public:
  // ArchiveDatabase<Entry>::Batch is StoredDatabase<Entry>::Batch: changes
  // applied by commit() under one lock with one index write, all or none.
  using typename StoredDatabase<Entry>::Batch;

  // Loads the index of D/N.adi; a missing index gives an empty database.
  // `mode` is a bit set of Archive::READ and Archive::WRITE; only WRITE is
  // consulted.
  ArchiveDatabase(const std::string& directory, const std::string& name, unsigned int mode)
      : StoredDatabase<Entry>(std::make_unique<EntryDirectory>(directory, name, (mode & Archive::WRITE) != 0)),
        directory_(directory),
        name_(name),
        mode_(mode),
        files_(static_cast<EntryDirectory*>(&this->store())) {}
  ~ArchiveDatabase() override = default;

  // Opens the database `name` in `directory` as `options` ask. The directory
  // must exist (it is never created). Without an index file D/N.adi the
  // database is refused unless options.create_if_missing, which creates an
  // empty index file; with one, options.error_if_exists refuses it. Throws
  // database_error "ArchiveDatabase::open: no such directory: <D>", "...: no
  // database (no index file): <D/N.adi>", "...: database already exists:
  // <D/N.adi>", "...: index is a directory: <D/N.adi>", or
  // "ArchiveDatabase::open: " followed by the file system's message.
  static std::unique_ptr<ArchiveDatabase> open(const std::string& directory, const std::string& name,
                                               const DatabaseOptions& options) {
    EntryDirectory::prepare_to_open(directory, name, options);
    auto database = std::make_unique<ArchiveDatabase>(
        directory, name, options.writable ? Archive::READ | Archive::WRITE : Archive::READ);
    database->set_durability(options.durability);
    return database;
  }

  // directory + "/" + name + ".adi"
  static std::string index_file_path(const std::string& directory, const std::string& name) {
    return EntryDirectory::index_path(directory, name);
  }
  std::string absolute_database_name() const { return index_file_path(directory_, name_); }
  // directory + "/" + name + "_" + id + ".ade", the identifier unescaped.
  std::string absolute_entry_file_name(const DatabaseEntryIdentifier& id) const { return files_->entry_path(id); }
  // directory + "/" + name + ".lock", the file every writer locks.
  std::string lock_file_name() const { return files_->lock_path(); }

  const std::string& directory() const noexcept { return directory_; }
  const std::string& name() const noexcept { return name_; }
  unsigned int mode() const noexcept { return mode_; }

  void read_index_file() { files_->reload(); }
  // Rewrites the index from the identifiers held (atomically, under the
  // lock); a failure throws database_error.
  void write_index_file() const { files_->write_index(); }

  // Reads the entry file `path` into `entry`; a short or failed read throws
  // database_error "ArchiveDatabase::read_entry: truncated or corrupt entry
  // file: <path>", and any other exception of the entry's reader becomes a
  // database_error "ArchiveDatabase::read_entry: cannot read entry file
  // <path>: <the reader's message>".
  void read_entry(const std::string& path, Entry& entry) const {
    this->parse_entry_image(
        "ArchiveDatabase", "entry file", [&] { return path; }, files_->read_entry_file(path, "read_entry"), entry);
  }
  // Makes `path` begin with version 6 and `entry`, atomically, keeping any
  // longer old content behind them.
  void write_entry(const std::string& path, const Entry& entry) const {
    files_->write_entry_file(path, this->entry_image(entry), "write_entry");
  }

  // Throws the database_error append() would throw for an identifier that
  // cannot be stored in the database `name` (empty; an empty, "." or ".."
  // path component or a zero byte; an entry file name too long; not
  // storable as an index line), so that callers can check a batch first.
  static void check_identifier(const std::string& name, const DatabaseEntryIdentifier& id) {
    EntryDirectory::check_identifier(name, id);
  }

  // Deletes the index file and every entry file it lists (identifiers that
  // would name a file outside the directory are left alone). The lock file
  // stays.
  static void delete_database_files(const std::string& directory, const std::string& name) {
    EntryDirectory::delete_files(directory, name);
  }

 private:
  std::string directory_;
  std::string name_;
  unsigned int mode_;
  EntryDirectory* files_;  // the store, owned by StoredDatabase
};

extern template class VORN_API Database<DatabaseEntry<std::string>>;
extern template class VORN_API StoredDatabase<DatabaseEntry<std::string>>;
extern template class VORN_API ArchiveDatabase<DatabaseEntry<std::string>>;

}  // namespace vorn

#endif  // VORN_DATABASE_ARCHIVEDATABASE_H_
