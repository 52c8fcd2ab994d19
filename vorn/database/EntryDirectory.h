// EntryDirectory: the files of an archive database, whatever its entry type:
// the index D/N.adi, the lock file D/N.lock and the entry files D/N_I.ade as
// byte strings. ArchiveDatabase<Entry> turns entries into bytes and back and
// leaves every file operation to this class, which the library compiles once.
//
//   vorn::EntryDirectory files("/data", "genes", true, vorn::Durability::full);
//   files.apply({{vorn::EntryDirectory::Change::append, vorn::DatabaseEntryIdentifier("X1"), bytes}}, "append");
//   std::string again = files.read_entry(vorn::DatabaseEntryIdentifier("X1"), "entry");
//
// Writers exclude each other: every change holds an exclusive advisory lock
// on D/N.lock (created when missing, never renamed or removed, so that every
// process locks the same file) for its whole duration. Under the lock a
// writer first reloads an index that changed on disk since it last read or
// wrote it, so changes by other objects or processes are never overwritten,
// and then checks the changes against the fresh index. Readers take no lock:
// the index is replaced atomically or grows by one complete line, and a last
// line without its newline is never loaded.
//
// A new entry file is created exclusively under its own name (unlisted, no
// reader looks at it until the index names it); a file that already exists
// is rewritten whole under a temporary name beside it (D/N_I.ade.tmp),
// synced and renamed into place; a replaced entry keeps
// the old tail bytes beyond the new record, as an update in place would. With
// Durability::full the entry files are synced before their rename, their
// directories after it, and the index is synced before a change is
// acknowledged; a batch writes (and syncs) its entry files first and then
// the index once, so after a crash either all of its changes are listed or
// none. With Durability::relaxed nothing is synced.
//
// The lock file stays empty. Before writing files, a full-durability change
// records the identifiers it touches in D/N.pending (synced). Opening for writing reads that record back
// under the lock and deletes the entry file of every recorded identifier the
// index does not list, and every temporary file of a recorded identifier:
// what a crash between writing an entry file and the index left behind.
//
// Throws database_error for every failure: "ArchiveDatabase::<operation>:
// cannot <step> <path>: <system reason>", after undoing the change's files,
// so a failed change leaves the database as it was.
#ifndef VORN_DATABASE_ENTRYDIRECTORY_H_
#define VORN_DATABASE_ENTRYDIRECTORY_H_

#include <memory>
#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseOptions.h"
#include "vorn/database/EntryStore.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class FileLock;
class FileSystem;

class VORN_API EntryDirectory : public EntryStore {
 public:

  // Loads the index (a missing one is an empty database). A writable
  // directory also clears what a crashed writer left behind (see above).
  EntryDirectory(std::string directory, std::string name, bool writable, Durability durability = Durability::full);
  ~EntryDirectory() override;

  const std::string& directory() const noexcept { return directory_; }
  const std::string& name() const noexcept { return name_; }
  bool writable() const noexcept override { return writable_; }
  Durability durability() const noexcept override { return durability_; }
  void set_durability(Durability durability) noexcept override { durability_ = durability; }
  const char* class_name() const noexcept override { return "ArchiveDatabase"; }
  // D/N.adi
  std::string locator() const override { return index_path(); }

  // D/N.adi, D/N.lock, D/N.pending and D/N_I.ade.
  static std::string index_path(const std::string& directory, const std::string& name);
  std::string index_path() const { return index_path(directory_, name_); }
  std::string lock_path() const { return directory_ + "/" + name_ + ".lock"; }
  std::string pending_path() const { return directory_ + "/" + name_ + ".pending"; }
  std::string entry_path(const DatabaseEntryIdentifier& id) const;

  const std::vector<DatabaseEntryIdentifier>& identifiers() const noexcept { return identifiers_; }
  int size() const noexcept override { return static_cast<int>(identifiers_.size()); }
  DatabaseEntryIdentifier identifier(int i) const override;
  // The first position of `id`, or -1, in expected constant time.
  int find(const DatabaseEntryIdentifier& id) const noexcept override;
  // The position Database::nearest_entry finds, in logarithmic time; `match`
  // is set to 0 (none), 1 (equal apart from case) or 2 (exact).
  int nearest(const DatabaseEntryIdentifier& target, int& match) const override;
  // The bytes of the entry file at position i or of identifier `id`, as
  // read_entry() reads them.
  std::string read(int i, const char* operation) const override;
  bool read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const override;
  const char* entry_kind() const noexcept override { return "entry file"; }
  // The entry file's path.
  std::string entry_location(const DatabaseEntryIdentifier& id) const override { return entry_path(id); }

  // Loads the index again from the file.
  void reload() override;
  // Rewrites the index file from the identifiers held, under the lock.
  void write_index();

  // The bytes of the entry file of the listed identifier `id`. A missing
  // file of an identifier that the index on disk no longer lists (another
  // writer removed it) throws database_error "ArchiveDatabase::<operation>:
  // entry was removed from the database: <id>"; a missing file otherwise
  // std::invalid_argument "Archive::open: Couldn't open file: <path>".
  std::string read_entry(const DatabaseEntryIdentifier& id, const char* operation) const;
  // The bytes of the entry file `path` (beneath the directory); errors as
  // above, without the check of the index.
  std::string read_entry_file(const std::string& path, const char* operation) const;
  // Makes the entry file `path` begin with `bytes`, atomically, keeping any
  // longer old content behind them; takes no lock.
  void write_entry_file(const std::string& path, const std::string& bytes, const char* operation) const;

  // Applies `changes` in order under one lock, with one index write. A
  // failure undoes all of them; after a power cut the entries it adds are all
  // listed or none, and each replaced entry is whole, old or new. Refuses the whole batch, before writing
  // anything, for a duplicate or unknown identifier (the messages of
  // ArchiveDatabase::append, replace and remove) or a bad identifier.
  void apply(const std::vector<Change>& changes, const char* operation) override;

  // The identifier checks of append (see ArchiveDatabase::check_identifier).
  static void check_identifier(const std::string& name, const DatabaseEntryIdentifier& id);
  void check_new_identifier(const DatabaseEntryIdentifier& id) const override { check_identifier(name_, id); }
  // The checks of ArchiveDatabase::open.
  static void prepare_to_open(const std::string& directory, const std::string& name, const DatabaseOptions& options);
  // Deletes the index, the record of pending changes and every entry file
  // the index lists, under the lock; the lock file stays.
  static void delete_files(const std::string& directory, const std::string& name);

 private:
  struct Indexes;
  struct Undo;
  struct Pending;
  class LockHold;

  // Takes the lock for one change; the lock file stays open after it for the
  // next one. Throws database_error "ArchiveDatabase::<operation>: cannot
  // lock <path>: <reason>".
  LockHold hold_lock(const char* operation);

  void load(bool strict, const char* operation);
  void refresh(const char* operation);
  void recover();
  void record_intent(const std::vector<Change>& changes, const char* operation);
  void prepare_entry_image(const std::string& path, const std::string& bytes, bool fresh, bool keep_tail,
                           const char* operation, std::vector<Pending>& pending) const;
  void place_entry_images(std::vector<Pending>& pending, const char* operation, Undo* undo) const;
  void discard(std::vector<Pending>& pending) const noexcept;
  void write_entry_image(const std::string& path, const std::string& bytes, bool keep_tail, const char* operation,
                         Undo* undo) const;

  std::string directory_;
  std::string name_;
  bool writable_;
  Durability durability_;
  std::vector<DatabaseEntryIdentifier> identifiers_;
  std::unique_ptr<Indexes> indexes_;
  // The lock file, open (and unlocked between changes) from the first change
  // on, and the file system it was opened on.
  std::unique_ptr<FileLock> lock_;
  FileSystem* lock_system_ = nullptr;
};

}  // namespace vorn

#endif  // VORN_DATABASE_ENTRYDIRECTORY_H_
