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
// positions); appending writes one index line while the index file is still
// what this object last wrote, and otherwise rewrites it. Rewrites of the
// index and of an existing entry file go through a temporary file that is
// renamed into place (D/N.adi.tmp, D/N_I.ade.tmp), so a crash leaves the old
// or the new file. remove() rewrites the index before deleting the entry
// file, so the index never lists a removed file. nearest_entry() answers in
// logarithmic time from an index ordered case-insensitively, which its first
// call builds (so opening costs nothing more) and append() and remove() then
// keep up to date. Nothing is synced to the
// disk: a killed process loses nothing that a call had finished, but a power
// cut may lose the most recent changes.
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
// is not a readable regular file, or an index that cannot be written. A missing entry file gives the archive's std::invalid_argument
// "Archive::open: Couldn't open file: <path>"; an index line longer than 255
// characters makes the constructor throw the identifier's
// std::invalid_argument.
#ifndef VORN_DATABASE_ARCHIVEDATABASE_H_
#define VORN_DATABASE_ARCHIVEDATABASE_H_

#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "vorn/database/Database.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/database_error.h"
#include "vorn/database/detail/CaseInsensitiveIndex.h"
#include "vorn/database/detail/DatabaseOpening.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/database/detail/FileIo.h"
#include "vorn/database/detail/FirstPositionIndex.h"
#include "vorn/database/detail/IndexFile.h"
#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn {

template <class Entry>
class ArchiveDatabase : public Database<Entry> {
 public:
  // Loads the index of D/N.adi; a missing index gives an empty database.
  // `mode` is a bit set of Archive::READ and Archive::WRITE; only WRITE is
  // consulted.
  ArchiveDatabase(const std::string& directory, const std::string& name, unsigned int mode);
  ~ArchiveDatabase() override;
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
                                               const DatabaseOptions& options);

  // directory + "/" + name + ".adi"
  static std::string index_file_path(const std::string& directory, const std::string& name);
  std::string absolute_database_name() const { return index_file_path(directory_, name_); }
  // directory + "/" + name + "_" + id + ".ade", the identifier unescaped.
  std::string absolute_entry_file_name(const DatabaseEntryIdentifier& id) const {
    std::string path;
    path.reserve(directory_.size() + name_.size() + id.text().size() + 6);
    path.append(directory_).append("/").append(name_).append("_").append(id.text()).append(".ade");
    return path;
  }

  const std::string& directory() const noexcept { return directory_; }
  const std::string& name() const noexcept { return name_; }
  unsigned int mode() const noexcept { return mode_; }

  void read_index_file();
  void write_index_file() const;

  // Reads the entry file `path` into `entry`; a short or failed read throws
  // database_error "ArchiveDatabase::read_entry: truncated or corrupt entry
  // file: <path>", and any other exception of the entry's reader becomes a
  // database_error "ArchiveDatabase::read_entry: cannot read entry file
  // <path>: <the reader's message>".
  void read_entry(const std::string& path, Entry& entry) const;
  // Writes version 6 and `entry` at the start of `path`, keeping any longer
  // old content behind it.
  void write_entry(const std::string& path, const Entry& entry) const;

  int size() const override { return static_cast<int>(identifiers_.size()); }
  // The same position and match as Database::nearest_entry, in logarithmic
  // time (the first call orders the identifiers, in N log N).
  int nearest_entry(const DatabaseEntryIdentifier& target,
                    typename Database<Entry>::IdentifierMatch& match) const override;
  DatabaseEntryIdentifier identifier(int i) const override;
  bool identifier_exists(const DatabaseEntryIdentifier& id) const override { return index(id) != size(); }
  int index(const DatabaseEntryIdentifier& id) const override;
  THandle<Entry> entry(int i) const override;
  THandle<Entry> entry(const DatabaseEntryIdentifier& id) const override;
  bool writable() const override { return (mode_ & Archive::WRITE) != 0; }

  void append(THandle<Entry> entry) override;
  void replace(THandle<Entry> entry) override;
  void remove(const DatabaseEntryIdentifier& id) override;
  void flush() override {}

  // Throws the database_error append() would throw for an identifier that
  // cannot be stored in the database `name` (empty; an empty, "." or ".."
  // path component or a zero byte; an entry file name too long; not
  // storable as an index line), so that callers can check a batch first.
  static void check_identifier(const std::string& name, const DatabaseEntryIdentifier& id);

  // Deletes the index file and every entry file it lists (identifiers that
  // would name a file outside the directory are left alone).
  static void delete_database_files(const std::string& directory, const std::string& name);

 private:
  void check_position(int i) const {
    if (i < 0 || i >= size()) this->entry_error("ArchiveDatabase", i);
  }

  std::string directory_;
  std::string name_;
  std::vector<DatabaseEntryIdentifier> identifiers_;
  unsigned int mode_;
  detail::FirstPositionIndex positions_;
  // Built by the first nearest_entry(), hence mutable.
  mutable detail::CaseInsensitiveIndex folded_;
  std::unique_ptr<detail::IndexFile> index_file_;
};

template <class Entry>
ArchiveDatabase<Entry>::ArchiveDatabase(const std::string& directory, const std::string& name, unsigned int mode)
    : directory_(directory),
      name_(name),
      mode_(mode),
      index_file_(std::make_unique<detail::IndexFile>(index_file_path(directory, name))) {
  read_index_file();
}

// Out of line, so that applications destroy a database through the
// library's instantiation and never reach the internal index file.
template <class Entry>
ArchiveDatabase<Entry>::~ArchiveDatabase() = default;

template <class Entry>
std::string ArchiveDatabase<Entry>::index_file_path(const std::string& directory, const std::string& name) {
  return directory + "/" + name + ".adi";
}

// Out of line, so that applications reach the checks through the library's
// instantiation.
template <class Entry>
void ArchiveDatabase<Entry>::check_identifier(const std::string& name, const DatabaseEntryIdentifier& id) {
  detail::check_entry_file_identifier("append", name, id);
  detail::check_index_identifier("append", id);
}

template <class Entry>
void ArchiveDatabase<Entry>::read_index_file() {
  identifiers_.clear();
  positions_.rebuild(identifiers_);
  identifiers_ = index_file_->load();
  positions_.rebuild(identifiers_);
  folded_.clear();
}

template <class Entry>
void ArchiveDatabase<Entry>::write_index_file() const {
  index_file_->rewrite(identifiers_);
}

template <class Entry>
void ArchiveDatabase<Entry>::read_entry(const std::string& path, Entry& entry) const {
  detail::check_entry_file_opens("read_entry", directory_, path);
  VersionedArchive archive(path, Archive::READ);
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

template <class Entry>
void ArchiveDatabase<Entry>::write_entry(const std::string& path, const Entry& entry) const {
  if constexpr (std::is_same_v<Entry, DatabaseEntry<std::string>>) {
    detail::overwrite_file_start(directory_, path, detail::string_entry_image(entry.identifier(), *entry.data()));
  } else {
    detail::check_entry_file_opens("write_entry", directory_, path);
    VersionedArchive archive(path, Archive::READ | Archive::WRITE);
    archive << static_cast<int>(VersionedArchive::current_version);
    entry.write(archive);
    archive.close();
    if (archive.failed()) throw database_error("ArchiveDatabase::write_entry: cannot write " + path);
  }
}

template <class Entry>
std::unique_ptr<ArchiveDatabase<Entry>> ArchiveDatabase<Entry>::open(const std::string& directory,
                                                                     const std::string& name,
                                                                     const DatabaseOptions& options) {
  detail::prepare_to_open(directory, index_file_path(directory, name), options);
  return std::make_unique<ArchiveDatabase>(directory, name,
                                           options.writable ? Archive::READ | Archive::WRITE : Archive::READ);
}

template <class Entry>
int ArchiveDatabase<Entry>::nearest_entry(const DatabaseEntryIdentifier& target,
                                          typename Database<Entry>::IdentifierMatch& match) const {
  const int exact = positions_.find(identifiers_, target);
  if (exact >= 0) {
    match = Database<Entry>::exact_match;
    return exact;
  }
  if (!folded_.built()) folded_.build(identifiers_);
  const detail::CaseInsensitiveIndex::Neighbours near = folded_.neighbours(identifiers_, target);
  if (near.folded >= 0) {
    match = Database<Entry>::case_insensitive_match;
    return near.folded;
  }
  match = Database<Entry>::no_match;
  return near.above >= 0 ? near.above : near.below;
}

template <class Entry>
DatabaseEntryIdentifier ArchiveDatabase<Entry>::identifier(int i) const {
  check_position(i);
  return identifiers_[static_cast<std::size_t>(i)];
}

template <class Entry>
int ArchiveDatabase<Entry>::index(const DatabaseEntryIdentifier& id) const {
  const int i = positions_.find(identifiers_, id);
  return i < 0 ? size() : i;
}

template <class Entry>
THandle<Entry> ArchiveDatabase<Entry>::entry(int i) const {
  check_position(i);
  THandle<Entry> result(new Entry());
  read_entry(absolute_entry_file_name(identifiers_[static_cast<std::size_t>(i)]), *result);
  return result;
}

template <class Entry>
THandle<Entry> ArchiveDatabase<Entry>::entry(const DatabaseEntryIdentifier& id) const {
  const int i = index(id);
  if (i == size()) this->entry_error("ArchiveDatabase", id);
  return entry(i);
}

template <class Entry>
void ArchiveDatabase<Entry>::append(THandle<Entry> entry) {
  if (!writable()) throw database_error("ArchiveDatabase::append: database is not opened for writing");
  const DatabaseEntryIdentifier id = entry->identifier();
  check_identifier(name_, id);
  if (identifier_exists(id)) {
    throw database_error("ArchiveDatabase::append: database already contains an entry with this identifier: " + id);
  }
  write_entry(absolute_entry_file_name(id), *entry);
  identifiers_.push_back(id);
  positions_.add(identifiers_, size() - 1);
  try {
    index_file_->append_last(identifiers_);
  } catch (...) {
    identifiers_.pop_back();
    positions_.rebuild(identifiers_);
    throw;
  }
  folded_.appended(identifiers_);
}

template <class Entry>
void ArchiveDatabase<Entry>::replace(THandle<Entry> entry) {
  if (!writable()) throw database_error("ArchiveDatabase::replace: database is not opened for writing");
  const DatabaseEntryIdentifier id = entry->identifier();
  detail::check_entry_file_identifier("replace", name_, id);
  if (!identifier_exists(id)) {
    throw database_error("ArchiveDatabase::replace: database does not contain an entry with this identifier: " +
                         id);
  }
  write_entry(absolute_entry_file_name(id), *entry);
}

template <class Entry>
void ArchiveDatabase<Entry>::remove(const DatabaseEntryIdentifier& id) {
  if (!writable()) throw database_error("ArchiveDatabase::remove: database is not opened for writing");
  detail::check_entry_file_identifier("remove", name_, id);
  const int i = index(id);
  if (i == size()) {
    throw database_error("ArchiveDatabase::remove: database does not contain an entry with this identifier: " + id);
  }
  detail::check_entry_file_removable(directory_, absolute_entry_file_name(id));
  const DatabaseEntryIdentifier removed = identifiers_[static_cast<std::size_t>(i)];
  identifiers_.erase(identifiers_.begin() + i);
  bool index_written = false;
  try {
    index_written = index_file_->rewrite(identifiers_);
  } catch (...) {
    identifiers_.insert(identifiers_.begin() + i, removed);
    positions_.rebuild(identifiers_);
    throw;
  }
  positions_.rebuild(identifiers_);
  folded_.erased(i);
  // An index that could not be rewritten still lists the entry: keep its file.
  if (index_written) try_remove_file(absolute_entry_file_name(removed));
}

template <class Entry>
void ArchiveDatabase<Entry>::delete_database_files(const std::string& directory, const std::string& name) {
  ArchiveDatabase database(directory, name, Archive::WRITE);
  // The index goes first: a crash part-way leaves unlisted files, never an
  // index that lists missing ones.
  detail::IndexFile::remove_files(database.absolute_database_name());
  for (auto it = database.identifiers_.rbegin(); it != database.identifiers_.rend(); ++it) {
    try {
      detail::check_entry_file_identifier("remove", name, *it);
      detail::check_entry_file_removable(directory, database.absolute_entry_file_name(*it));
    } catch (const database_error&) {
      continue;
    }
    const std::string path = database.absolute_entry_file_name(*it);
    try_remove_file(path);
    try_remove_file(path + ".tmp");
  }
}

extern template class VORN_API Database<DatabaseEntry<std::string>>;
extern template class VORN_API ArchiveDatabase<DatabaseEntry<std::string>>;

}  // namespace vorn

#endif  // VORN_DATABASE_ARCHIVEDATABASE_H_
