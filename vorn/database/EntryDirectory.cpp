#include "vorn/database/EntryDirectory.h"

#include <cerrno>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/CaseInsensitiveIndex.h"
#include "vorn/database/detail/DatabaseOpening.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/database/detail/FileIo.h"
#include "vorn/database/detail/FirstPositionIndex.h"
#include "vorn/database/detail/IndexFile.h"
#include "vorn/database/detail/ListText.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"

namespace vorn {

struct EntryDirectory::Indexes {
  explicit Indexes(std::string path) : file(std::move(path)) {}
  detail::FirstPositionIndex positions;
  // Built by the first nearest(), hence mutable.
  mutable detail::CaseInsensitiveIndex folded;
  detail::IndexFile file;
};

// The entry files a change has put in place so far, to be put back when a
// later step fails.
struct EntryDirectory::Undo {
  struct Written {
    std::string path;
    bool existed;
    std::string old;
  };
  std::vector<Written> written;
};

namespace {

[[noreturn]] void step_error(const char* operation, const char* step, const std::string& path, int error) {
  throw database_error(std::string("ArchiveDatabase::") + operation + ": cannot " + step + " " +
                       detail::shown_in_message(path) + ": " + std::strerror(error));
}

[[noreturn]] void refused_error(const char* operation, const std::string& path, int error) {
  throw database_error(std::string("ArchiveDatabase::") + operation + ": cannot open entry file " +
                       detail::shown_in_message(path) + ": " + std::strerror(error));
}

[[noreturn]] void missing_error(const std::string& path) {
  throw std::invalid_argument("Archive::open: Couldn't open file: " + path);
}

std::string temporary_of(const std::string& path) { return path + ".tmp"; }

bool sync_wanted(Durability durability) noexcept { return durability == Durability::full; }

// From this many entry files written together on, they are made durable by
// one sync of the file system instead of one sync each.
constexpr std::size_t sync_together_from = 8;

}  // namespace

EntryDirectory::EntryDirectory(std::string directory, std::string name, bool writable, Durability durability)
    : directory_(std::move(directory)),
      name_(std::move(name)),
      writable_(writable),
      durability_(durability),
      indexes_(std::make_unique<Indexes>(index_path(directory_, name_))) {
  load(false, "read_index_file");
  if (writable_) recover();
}

EntryDirectory::~EntryDirectory() = default;

std::string EntryDirectory::index_path(const std::string& directory, const std::string& name) {
  return directory + "/" + name + ".adi";
}

std::string EntryDirectory::entry_path(const DatabaseEntryIdentifier& id) const {
  std::string path;
  path.reserve(directory_.size() + name_.size() + id.text().size() + 6);
  path.append(directory_).append("/").append(name_).append("_").append(id.text()).append(".ade");
  return path;
}

DatabaseEntryIdentifier EntryDirectory::identifier(int i) const {
  if (i < 0 || i >= size()) position_error(i);
  return identifiers_[static_cast<std::size_t>(i)];
}

std::string EntryDirectory::read(int i, const char* operation) const {
  if (i < 0 || i >= size()) position_error(i);
  return read_entry(identifiers_[static_cast<std::size_t>(i)], operation);
}

bool EntryDirectory::read(const DatabaseEntryIdentifier& id, std::string& bytes, const char* operation) const {
  if (find(id) < 0) return false;
  bytes = read_entry(id, operation);
  return true;
}

int EntryDirectory::find(const DatabaseEntryIdentifier& id) const noexcept {
  return indexes_->positions.find(identifiers_, id);
}

int EntryDirectory::nearest(const DatabaseEntryIdentifier& target, int& match) const {
  const int exact = find(target);
  if (exact >= 0) {
    match = 2;
    return exact;
  }
  if (!indexes_->folded.built()) indexes_->folded.build(identifiers_);
  const detail::CaseInsensitiveIndex::Neighbours near = indexes_->folded.neighbours(identifiers_, target);
  if (near.folded >= 0) {
    match = 1;
    return near.folded;
  }
  match = 0;
  return near.above >= 0 ? near.above : near.below;
}

void EntryDirectory::load(bool strict, const char* operation) {
  identifiers_.clear();
  indexes_->positions.rebuild(identifiers_);
  indexes_->folded.clear();
  identifiers_ = indexes_->file.load(strict, operation);
  indexes_->positions.rebuild(identifiers_);
}

void EntryDirectory::reload() { load(false, "read_index_file"); }

void EntryDirectory::refresh(const char* operation) {
  if (indexes_->file.changed_on_disk()) load(true, operation);
}

// Holds the lock for the scope of one change.
class EntryDirectory::LockHold {
 public:
  explicit LockHold(FileLock& lock) noexcept : lock_(lock) {}
  ~LockHold() { lock_.unlock(); }
  LockHold(const LockHold&) = delete;
  LockHold& operator=(const LockHold&) = delete;

 private:
  FileLock& lock_;
};

EntryDirectory::LockHold EntryDirectory::hold_lock(const char* operation) {
  FileSystem& fs = FileSystem::current();
  try {
    if (lock_ && lock_system_ == &fs) {
      lock_->relock();
    } else {
      lock_.reset();
      lock_ = fs.lock(lock_path());
      lock_system_ = &fs;
    }
  } catch (const FileError& e) {
    lock_.reset();
    step_error(operation, "lock", lock_path(), e.error());
  }
  return LockHold(*lock_);
}

void EntryDirectory::write_index() {
  const LockHold lock = hold_lock("write_index_file");
  indexes_->file.rewrite(identifiers_, "write_index_file");
}

std::string EntryDirectory::read_entry_file(const std::string& path, const char* operation) const {
  try {
    return detail::read_entry_file(directory_, path);
  } catch (const FileError& e) {
    if (e.error() == ENOENT) missing_error(path);
    refused_error(operation, path, e.error());
  }
}

std::string EntryDirectory::read_entry(const DatabaseEntryIdentifier& id, const char* operation) const {
  const std::string path = entry_path(id);
  try {
    return detail::read_entry_file(directory_, path);
  } catch (const FileError& e) {
    if (e.error() != ENOENT) refused_error(operation, path, e.error());
  }
  // Another writer may have removed the entry since the index was loaded.
  detail::IndexFile now(index_path());
  bool listed = false;
  for (const DatabaseEntryIdentifier& other : now.load()) {
    if (other == id) listed = true;
  }
  if (!listed) {
    throw database_error("ArchiveDatabase::entry: entry was removed from the database: " + id);
  }
  missing_error(path);
}

// An entry file written under its temporary name, not yet synced or renamed.
struct EntryDirectory::Pending {
  std::string path;
  bool existed;
  std::string old;
  std::unique_ptr<File> file;
  bool direct;  // written under its own name: a new file, unlisted until the index names it
};

void EntryDirectory::prepare_entry_image(const std::string& path, const std::string& bytes, bool fresh,
                                         bool keep_tail, const char* operation, std::vector<Pending>& pending) const {
  FileSystem& fs = FileSystem::current();
  try {
    check_directories_beneath(directory_, path);
  } catch (const FileError& e) {
    refused_error("write_entry", path, e.error());
  }
  OpenOptions options;
  options.beneath = directory_;
  options.read = false;
  options.write = true;
  options.create = true;
  if (fresh) {
    // A new entry's file is created under its own name, exclusively: no
    // reader looks at it before the index lists it, and a failure or a crash
    // (through the record of pending changes) removes it again.
    options.exclusive = true;
    std::unique_ptr<File> file;
    try {
      file = fs.open(path, options);
    } catch (const FileError& e) {
      if (e.error() != EEXIST) {
        if (e.error() == ENOENT) missing_error(path);  // no such directory
        step_error(operation, "create", path, e.error());
      }
    }
    if (file) {
      try {
        file->write_at(0, bytes.data(), bytes.size());
      } catch (const FileError& e) {
        file.reset();
        try_remove_file(path);
        step_error(operation, "write", path, e.error());
      }
      pending.push_back({path, false, std::string(), std::move(file), true});
      return;
    }
    options.exclusive = false;
  }
  bool existed = true;
  std::string old;
  try {
    old = detail::read_entry_file(directory_, path);
  } catch (const FileError& e) {
    if (e.error() != ENOENT) refused_error("write_entry", path, e.error());
    existed = false;
  }
  std::string image = bytes;
  if (keep_tail && old.size() > bytes.size()) image.append(old, bytes.size(), std::string::npos);
  const std::string temporary = temporary_of(path);
  options.truncate = true;
  std::unique_ptr<File> file;
  try {
    file = fs.open(temporary, options);
  } catch (const FileError& e) {
    if (e.error() == ENOENT) missing_error(path);  // no such directory
    step_error(operation, "create", temporary, e.error());
  }
  try {
    file->write_at(0, image.data(), image.size());
  } catch (const FileError& e) {
    file.reset();
    try_remove_file(temporary);
    step_error(operation, "write", path, e.error());
  }
  pending.push_back({path, existed, std::move(old), std::move(file), false});
}

void EntryDirectory::place_entry_images(std::vector<Pending>& pending, const char* operation, Undo* undo) const {
  FileSystem& fs = FileSystem::current();
  // All syncs before the first rename. A few files are synced one by one;
  // for a group, one sync of the whole file system costs about what a single
  // file's sync does, where a sync per file would commit the file system's
  // journal once per file.
  std::size_t placed = 0;
  try {
    const char* step = "sync";
    std::string path;
    try {
      const bool one_by_one = pending.size() < sync_together_from;
      for (Pending& p : pending) {
        if (!p.file) continue;  // closed when written
        path = p.path;
        step = "sync";
        if (sync_wanted(durability_) && one_by_one) p.file->sync();
        step = "write";
        p.file->close();
      }
      if (sync_wanted(durability_) && !one_by_one) {
        path = directory_;
        step = "sync";
        fs.sync_file_system(directory_);
      }
      for (Pending& p : pending) {
        path = p.path;
        step = "rename";
        if (!p.direct) fs.rename(temporary_of(p.path), p.path);
        if (undo) undo->written.push_back({p.path, p.existed, std::move(p.old)});
        ++placed;
      }
    } catch (const FileError& e) {
      step_error(operation, step, path, e.error());
    }
  } catch (...) {
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(placed));
    discard(pending);
    throw;
  }
  pending.clear();
}

void EntryDirectory::discard(std::vector<Pending>& pending) const noexcept {
  for (Pending& p : pending) {
    p.file.reset();
    try_remove_file(p.direct ? p.path : temporary_of(p.path));
  }
  pending.clear();
}

void EntryDirectory::write_entry_image(const std::string& path, const std::string& bytes, bool keep_tail,
                                       const char* operation, Undo* undo) const {
  std::vector<Pending> pending;
  prepare_entry_image(path, bytes, false, keep_tail, operation, pending);
  place_entry_images(pending, operation, undo);
}

void EntryDirectory::write_entry_file(const std::string& path, const std::string& bytes,
                                      const char* operation) const {
  Undo undo;
  write_entry_image(path, bytes, true, operation, &undo);
  if (!sync_wanted(durability_)) return;
  const std::string parent = parent_directory(path);
  try {
    FileSystem::current().sync_directory(parent);
  } catch (const FileError& e) {
    step_error(operation, "sync", parent, e.error());
  }
}

void EntryDirectory::record_intent(const std::vector<Change>& changes, const char* operation) {
  std::string text;
  for (const Change& change : changes) text.append(change.id.text()).append("\n");
  FileSystem& fs = FileSystem::current();
  const std::string path = pending_path();
  OpenOptions options;
  options.read = false;
  options.write = true;
  const char* step = "write";
  try {
    std::unique_ptr<File> file;
    bool created = false;
    try {
      file = fs.open(path, options);
    } catch (const FileError& e) {
      if (e.error() != ENOENT) throw;
      options.create = true;
      file = fs.open(path, options);
      created = true;
    }
    file->write_at(0, text.data(), text.size());
    file->truncate(text.size());
    step = "sync";
    file->sync();
    step = "write";
    file->close();
    step = "sync";
    if (created) fs.sync_directory(directory_);
  } catch (const FileError& e) {
    step_error(operation, step, path, e.error());
  }
}

void EntryDirectory::recover() {
  // Best effort: a directory that cannot be locked or written (a read-only
  // file system) still opens, and its changes report the failure.
  try {
    FileSystem& fs = FileSystem::current();
    const LockHold lock = hold_lock("read_index_file");
    if (indexes_->file.changed_on_disk()) load(false, "read_index_file");
    const std::string record = read_file(pending_path());
    std::set<std::string> directories;
    detail::for_each_trimmed_line(record, [&](std::string_view line) {
      try {
        const DatabaseEntryIdentifier id{std::string(line)};
        detail::check_entry_file_identifier("remove", name_, id);
        const std::string path = entry_path(id);
        check_directories_beneath(directory_, path);
        bool removed = try_remove_file(temporary_of(path));
        if (find(id) < 0) removed = try_remove_file(path) || removed;
        if (removed) directories.insert(parent_directory(path));
      } catch (const std::exception&) {
      }
    });
    for (const std::string& directory : directories) fs.sync_directory(directory);
  } catch (const std::exception&) {
  }
}

void EntryDirectory::apply(const std::vector<Change>& changes, const char* operation) {
  if (changes.empty()) return;
  FileSystem& fs = FileSystem::current();
  const LockHold lock = hold_lock(operation);
  refresh(operation);

  // Check every change against the fresh index, as if applied in order.
  std::unordered_map<std::string, bool> present;  // overrides of the index
  const auto exists = [&](const DatabaseEntryIdentifier& id) {
    const auto it = present.find(id.text());
    return it != present.end() ? it->second : find(id) >= 0;
  };
  for (const Change& change : changes) {
    switch (change.kind) {
      case Change::append:
        check_identifier(name_, change.id);
        if (exists(change.id)) {
          throw database_error("ArchiveDatabase::append: database already contains an entry with this identifier: " +
                               change.id);
        }
        present[change.id.text()] = true;
        break;
      case Change::replace:
        detail::check_entry_file_identifier("replace", name_, change.id);
        if (!exists(change.id)) {
          throw database_error(
              "ArchiveDatabase::replace: database does not contain an entry with this identifier: " + change.id);
        }
        break;
      case Change::remove:
        detail::check_entry_file_identifier("remove", name_, change.id);
        if (!exists(change.id)) {
          throw database_error(
              "ArchiveDatabase::remove: database does not contain an entry with this identifier: " + change.id);
        }
        detail::check_entry_file_removable(directory_, entry_path(change.id));
        present[change.id.text()] = false;
        break;
    }
  }
  const bool full = sync_wanted(durability_);
  if (full) record_intent(changes, operation);

  // Entry files first, each complete and (fully durable) synced before it
  // takes its name; then the directories; then the index, the commit point.
  Undo undo;
  std::set<std::string> directories;
  const auto undo_files = [&]() noexcept {
    for (auto it = undo.written.rbegin(); it != undo.written.rend(); ++it) {
      try {
        if (it->existed) {
          write_entry_image(it->path, it->old, false, operation, nullptr);
        } else {
          fs.remove(it->path);
        }
      } catch (const std::exception&) {
      }
    }
    if (!full) return;
    for (const std::string& directory : directories) {
      try {
        fs.sync_directory(directory);
      } catch (const FileError&) {
      }
    }
  };
  bool touches_index = false;
  for (const Change& change : changes) touches_index = touches_index || change.kind != Change::replace;
  const bool only_one_append = changes.size() == 1 && changes.front().kind == Change::append;
  std::vector<DatabaseEntryIdentifier> next;
  std::vector<std::string> doomed;
  std::vector<Pending> pending;
  std::set<std::string> pending_paths;
  std::size_t closed = 0;  // pending[0, closed) are closed
  bool index_written = false;
  try {
    for (const Change& change : changes) {
      if (change.kind == Change::remove) continue;
      const std::string path = entry_path(change.id);
      // A file left unlisted by a crash is updated like any other: its
      // longer tail stays, never read. Files are synced and renamed
      // together once all are written; a second change of one file waits for the first.
      if (pending_paths.count(path) == 1) {
        place_entry_images(pending, operation, &undo);
        pending_paths.clear();
        closed = 0;
      }
      prepare_entry_image(path, change.bytes, change.kind == Change::append, true, operation, pending);
      pending_paths.insert(path);
      directories.insert(parent_directory(path));
      // A group this large is made durable by one sync of the whole file
      // system, which needs no descriptor: close each file once written, so
      // that a batch of any size holds a handful of them.
      if (pending.size() >= sync_together_from) {
        for (; closed < pending.size(); ++closed) {
          try {
            pending[closed].file->close();
          } catch (const FileError& e) {
            step_error(operation, "write", pending[closed].path, e.error());
          }
          pending[closed].file.reset();
        }
      }
    }
    place_entry_images(pending, operation, &undo);
    if (full) {
      for (const std::string& directory : directories) {
        try {
          fs.sync_directory(directory);
        } catch (const FileError& e) {
          step_error(operation, "sync", directory, e.error());
        }
      }
    }
    if (only_one_append) {
      identifiers_.push_back(changes.front().id);
      try {
        indexes_->file.append_last(identifiers_, operation, full);
      } catch (...) {
        identifiers_.pop_back();
        throw;
      }
    } else if (touches_index) {
      next = identifiers_;
      for (const Change& change : changes) {
        if (change.kind == Change::append) next.push_back(change.id);
        if (change.kind != Change::remove) continue;
        for (auto it = next.begin(); it != next.end(); ++it) {
          if (*it == change.id) {
            next.erase(it);
            break;
          }
        }
        if (!exists(change.id)) doomed.push_back(entry_path(change.id));
      }
      indexes_->file.rewrite(next, operation);
      index_written = true;
    }
    // Entry files of removed identifiers go last, so the index never lists a
    // missing file. Their bytes are kept until the change is complete, so
    // that a failure can still put everything back.
    std::set<std::string> removed;
    std::set<std::string> emptied;
    for (const std::string& path : doomed) {
      if (!removed.insert(path).second) continue;
      std::string old;
      try {
        check_directories_beneath(directory_, path);
        old = detail::read_entry_file(directory_, path);
        fs.remove(path);
      } catch (const FileError& e) {
        if (e.error() == ENOENT) continue;
        step_error(operation, "remove", path, e.error());
      }
      undo.written.push_back({path, true, std::move(old)});
      directories.insert(parent_directory(path));
      emptied.insert(parent_directory(path));
    }
    if (full) {
      for (const std::string& directory : emptied) {
        try {
          fs.sync_directory(directory);
        } catch (const FileError& e) {
          step_error(operation, "sync", directory, e.error());
        }
      }
    }
  } catch (...) {
    discard(pending);
    // A failure after the new index took its name puts the old one back
    // before the entry files.
    if (index_written || (touches_index && indexes_->file.changed_on_disk())) {
      try {
        indexes_->file.rewrite(identifiers_, operation);
      } catch (const std::exception&) {
      }
    }
    undo_files();
    throw;
  }

  // Committed: bring the lookups in step.
  if (only_one_append) {
    indexes_->positions.add(identifiers_, size() - 1);
    indexes_->folded.appended(identifiers_);
  } else if (touches_index) {
    identifiers_ = std::move(next);
    indexes_->positions.rebuild(identifiers_);
    indexes_->folded.clear();
  }
}

void EntryDirectory::check_identifier(const std::string& name, const DatabaseEntryIdentifier& id) {
  detail::check_entry_file_identifier("append", name, id);
  detail::check_index_identifier("append", id);
}

void EntryDirectory::prepare_to_open(const std::string& directory, const std::string& name,
                                     const DatabaseOptions& options) {
  detail::prepare_to_open(directory, index_path(directory, name), options);
}

void EntryDirectory::delete_files(const std::string& directory, const std::string& name) {
  EntryDirectory files(directory, name, true);
  std::unique_ptr<FileLock> lock;
  try {
    lock = FileSystem::current().lock(files.lock_path());
  } catch (const FileError&) {
  }
  // The index goes first: a crash part-way leaves unlisted files, never an
  // index that lists missing ones.
  detail::IndexFile::remove_files(files.index_path());
  try_remove_file(files.pending_path());
  for (auto it = files.identifiers_.rbegin(); it != files.identifiers_.rend(); ++it) {
    const std::string path = files.entry_path(*it);
    try {
      detail::check_entry_file_identifier("remove", name, *it);
      detail::check_entry_file_removable(directory, path);
    } catch (const database_error&) {
      continue;
    }
    try_remove_file(path);
    try_remove_file(temporary_of(path));
  }
}

}  // namespace vorn
