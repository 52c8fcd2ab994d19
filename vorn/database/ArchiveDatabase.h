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
#include "vorn/database/database_error.h"
#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn {

template <class Entry>
class ArchiveDatabase : public Database<Entry> {
 public:
  // Changes gathered to be applied together by commit() (or
  // ArchiveDatabase::apply): under one lock, with one index write, all or
  // none. Each entry is turned into its file bytes when it is added, so an
  // entry whose write throws is refused there and touches no file.
  class Batch {
   public:
    void append(THandle<Entry> entry) { add(EntryDirectory::Change::append, *entry); }
    void replace(THandle<Entry> entry) { add(EntryDirectory::Change::replace, *entry); }
    void remove(const DatabaseEntryIdentifier& id) {
      changes_.push_back({EntryDirectory::Change::remove, id, std::string()});
    }
    std::size_t size() const noexcept { return changes_.size(); }
    // Applies the changes to the database that made the batch and empties
    // the batch; on failure the batch and the database stay as they were.
    void commit() { database_->apply(*this); }

   private:
    friend class ArchiveDatabase;
    explicit Batch(ArchiveDatabase& database) : database_(&database) {}
    void add(typename EntryDirectory::Change::Kind kind, const Entry& entry) {
      changes_.push_back({kind, entry.identifier(), entry_bytes(entry)});
    }

    ArchiveDatabase* database_;
    std::vector<EntryDirectory::Change> changes_;
  };

  // Loads the index of D/N.adi; a missing index gives an empty database.
  // `mode` is a bit set of Archive::READ and Archive::WRITE; only WRITE is
  // consulted.
  ArchiveDatabase(const std::string& directory, const std::string& name, unsigned int mode)
      : directory_(directory),
        name_(name),
        mode_(mode),
        files_(std::make_unique<EntryDirectory>(directory, name, (mode & Archive::WRITE) != 0)) {}
  ~ArchiveDatabase() override = default;
  ArchiveDatabase(const ArchiveDatabase&) = delete;
  ArchiveDatabase& operator=(const ArchiveDatabase&) = delete;

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
  Durability durability() const noexcept { return files_->durability(); }
  void set_durability(Durability durability) noexcept { files_->set_durability(durability); }

  void read_index_file() { files_->reload(); }
  // Rewrites the index from the identifiers held (atomically, under the
  // lock); a failure throws database_error.
  void write_index_file() const { files_->write_index(); }
  // Loads the index again, to see the changes of other writers.
  void reload() { files_->reload(); }

  // Reads the entry file `path` into `entry`; a short or failed read throws
  // database_error "ArchiveDatabase::read_entry: truncated or corrupt entry
  // file: <path>", and any other exception of the entry's reader becomes a
  // database_error "ArchiveDatabase::read_entry: cannot read entry file
  // <path>: <the reader's message>".
  void read_entry(const std::string& path, Entry& entry) const {
    parse_entry(path, files_->read_entry_file(path, "read_entry"), entry);
  }
  // Makes `path` begin with version 6 and `entry`, atomically, keeping any
  // longer old content behind them.
  void write_entry(const std::string& path, const Entry& entry) const {
    files_->write_entry_file(path, entry_bytes(entry), "write_entry");
  }

  int size() const override { return files_->size(); }
  // The same position and match as Database::nearest_entry, in logarithmic
  // time (the first call orders the identifiers, in N log N).
  int nearest_entry(const DatabaseEntryIdentifier& target,
                    typename Database<Entry>::IdentifierMatch& match) const override {
    int kind = 0;
    const int position = files_->nearest(target, kind);
    match = static_cast<typename Database<Entry>::IdentifierMatch>(kind);
    return position;
  }
  DatabaseEntryIdentifier identifier(int i) const override {
    check_position(i);
    return files_->identifiers()[static_cast<std::size_t>(i)];
  }
  bool identifier_exists(const DatabaseEntryIdentifier& id) const override { return files_->find(id) >= 0; }
  int index(const DatabaseEntryIdentifier& id) const override {
    const int i = files_->find(id);
    return i < 0 ? size() : i;
  }
  THandle<Entry> entry(int i) const override {
    check_position(i);
    const DatabaseEntryIdentifier& id = files_->identifiers()[static_cast<std::size_t>(i)];
    THandle<Entry> result(new Entry());
    parse_entry(files_->entry_path(id), files_->read_entry(id, "read_entry"), *result);
    return result;
  }
  THandle<Entry> entry(const DatabaseEntryIdentifier& id) const override {
    const int i = files_->find(id);
    if (i < 0) this->entry_error("ArchiveDatabase", id);
    return entry(i);
  }
  bool writable() const override { return (mode_ & Archive::WRITE) != 0; }

  void append(THandle<Entry> entry) override {
    if (!writable()) throw database_error("ArchiveDatabase::append: database is not opened for writing");
    const DatabaseEntryIdentifier id = entry->identifier();
    check_identifier(name_, id);
    files_->apply({{EntryDirectory::Change::append, id, entry_bytes(*entry)}}, "append");
  }
  void replace(THandle<Entry> entry) override {
    if (!writable()) throw database_error("ArchiveDatabase::replace: database is not opened for writing");
    files_->apply({{EntryDirectory::Change::replace, entry->identifier(), entry_bytes(*entry)}}, "replace");
  }
  void remove(const DatabaseEntryIdentifier& id) override {
    if (!writable()) throw database_error("ArchiveDatabase::remove: database is not opened for writing");
    files_->apply({{EntryDirectory::Change::remove, id, std::string()}}, "remove");
  }
  void flush() override {}

  // A new, empty batch of changes to this database.
  Batch batch() { return Batch(*this); }
  // Applies and empties `batch` (see Batch); throws database_error
  // "ArchiveDatabase::apply: database is not opened for writing" when not
  // writable.
  void apply(Batch& batch) {
    if (!writable()) throw database_error("ArchiveDatabase::apply: database is not opened for writing");
    files_->apply(batch.changes_, "apply");
    batch.changes_.clear();
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
  // Version 6, then the entry as Entry::write stores it.
  static std::string entry_bytes(const Entry& entry) {
    MemoryDevice image;
    {
      VersionedArchive archive(image, Archive::WRITE);
      archive << static_cast<int>(VersionedArchive::current_version);
      entry.write(archive);
    }
    return image.take();
  }

  static void parse_entry(const std::string& path, const std::string& bytes, Entry& entry) {
    MemoryDevice device(bytes.data(), bytes.size());
    VersionedArchive archive(device, Archive::READ);
    int version = 0;
    archive >> version;
    archive.file_version = version;
    try {
      entry.read(archive);
    } catch (const database_error&) {
      throw;
    } catch (const std::exception& e) {
      throw database_error("ArchiveDatabase::read_entry: cannot read entry file " + path + ": " + e.what());
    }
    if (archive.failed()) {
      throw database_error("ArchiveDatabase::read_entry: truncated or corrupt entry file: " + path);
    }
  }

  void check_position(int i) const {
    if (i < 0 || i >= size()) this->entry_error("ArchiveDatabase", i);
  }

  std::string directory_;
  std::string name_;
  unsigned int mode_;
  std::unique_ptr<EntryDirectory> files_;
};

extern template class VORN_API Database<DatabaseEntry<std::string>>;
extern template class VORN_API ArchiveDatabase<DatabaseEntry<std::string>>;

}  // namespace vorn

#endif  // VORN_DATABASE_ARCHIVEDATABASE_H_
