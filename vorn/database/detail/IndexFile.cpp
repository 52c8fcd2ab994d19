#include "vorn/database/detail/IndexFile.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/database/detail/ListText.h"
#include "vorn/io/FileFunctions.h"

namespace vorn::detail {

std::vector<DatabaseEntryIdentifier> parse_index(const std::string& text, bool& canonical) {
  std::vector<DatabaseEntryIdentifier> ids;
  canonical = true;
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const char* p = begin;
  while (p != end) {
    const char* q = p;
    while (q != end && *q != '\n' && *q != '\r') ++q;
    if (q == end) {  // no line end: the reader stops at end of file
      canonical = false;
      break;
    }
    const char* next = q + 1;
    if (*q == '\r') {
      canonical = false;
      if (next == end) break;  // a final "\r" ends the input, not the line
      if (*next == '\n') ++next;
    }
    ids.emplace_back(std::string(p, q));
    if (ids.back().text().size() != static_cast<std::size_t>(q - p)) canonical = false;
    p = next;
  }
  return ids;
}

IndexFile::~IndexFile() { forget(); }

void IndexFile::forget() noexcept {
  file_.reset();  // closes, ignoring errors
  known_ = false;
}

namespace {

bool same_file(const FileStatus& a, const FileStatus& b) noexcept {
  return a.device == b.device && a.inode == b.inode && a.size == b.size && a.modified_ns == b.modified_ns;
}

std::optional<FileStatus> status_of(const std::string& path) {
  try {
    return FileSystem::current().stat(path);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

[[noreturn]] void index_write_error(const char* operation, const std::string& what, const std::string& path,
                                   int error) {
  throw database_error(std::string("ArchiveDatabase::") + operation + ": cannot " + what + " " + path + ": " +
                       std::strerror(error));
}

}  // namespace

void IndexFile::remember_state() {
  const std::optional<FileStatus> now = status_of(path_);
  known_ = now.has_value();
  seen_exists_ = now.has_value();
  if (known_) {
    state_ = *now;
    seen_ = *now;
  }
}

std::vector<DatabaseEntryIdentifier> IndexFile::load(bool strict, const char* operation) {
  forget();
  // The state is trusted only when the file did not change while it was read.
  const std::optional<FileStatus> before = status_of(path_);
  seen_exists_ = before.has_value();
  if (before) seen_ = *before;
  std::string text;
  try {
    text = read_file(path_);
  } catch (const FileError& e) {
    // An index that cannot be opened (missing, or not readable by this
    // process) is an empty database to a reader, as it always was. Something
    // that is not a regular file in its place (a directory, a FIFO) is
    // refused, and so is a failure while reading: either would otherwise pass
    // for an empty index. A writer accepts only a missing index as empty.
    const bool missing = e.error() == ENOENT || e.error() == ENOTDIR;
    if (missing) return {};
    if (!strict && (e.error() == EACCES || e.error() == EPERM)) {
      // Not what the file holds: a writer must read it before changing it.
      seen_exists_ = true;
      seen_ = FileStatus();
      return {};
    }
    throw database_error(std::string("ArchiveDatabase::") + (strict ? operation : "read_index_file") +
                         ": cannot read index file " + shown_in_message(path_) + ": " + std::strerror(e.error()));
  }
  const std::optional<FileStatus> after = status_of(path_);
  bool canonical = false;
  std::vector<DatabaseEntryIdentifier> ids = parse_index(text, canonical);
  if (before && after && same_file(*before, *after) && after->size == text.size()) {
    state_ = *after;
    known_ = canonical;
  } else {
    // Changed while it was read: the next writer reloads it.
    seen_exists_ = true;
    seen_ = FileStatus();
  }
  return ids;
}

bool IndexFile::changed_on_disk() const {
  const std::optional<FileStatus> now = status_of(path_);
  if (!now) return seen_exists_;
  return !seen_exists_ || !same_file(*now, seen_);
}

void IndexFile::rewrite(const std::vector<DatabaseEntryIdentifier>& ids, const char* operation) {
  forget();
  try {
    replace_file_atomically(path_, identifier_lines(ids));
  } catch (const FileError& e) {
    index_write_error(operation, "write", path_, e.error());
  }
  remember_state();
}

void IndexFile::append_last(const std::vector<DatabaseEntryIdentifier>& ids, const char* operation, bool sync) {
  if (!known_ || ids.empty()) {
    rewrite(ids, operation);
    return;
  }
  if (!file_) {
    OpenOptions options;
    options.read = false;
    options.write = true;
    try {
      file_ = FileSystem::current().open(path_, options);
    } catch (const FileError&) {
      rewrite(ids, operation);
      return;
    }
    // The file opened must be the one whose state was remembered.
    const std::optional<FileStatus> opened = status_of(path_);
    if (!opened || opened->inode != state_.inode || opened->device != state_.device) {
      rewrite(ids, operation);
      return;
    }
  }
  const std::string line = ids.back().text() + '\n';
  try {
    file_->write_at(state_.size, line.data(), line.size());
    if (sync) file_->sync();
  } catch (const FileError& e) {
    // Readers never load a line without its end, but the next append would
    // complete it: cut it off again.
    try {
      file_->truncate(state_.size);
    } catch (const FileError&) {
    }
    forget();
    index_write_error(operation, "append to", path_, e.error());
  }
  // The file just written is the one under the lock: its own status saves
  // looking its name up again.
  std::optional<FileStatus> written;
  try {
    written = file_->status();
  } catch (const FileError&) {
  }
  if (written && (written->device != 0 || written->inode != 0)) {
    state_ = *written;
    seen_ = state_;
    seen_exists_ = true;
  } else {
    remember_state();
  }
}

void IndexFile::remove_files(const std::string& path) {
  try_remove_file(path);
  try_remove_file(path + ".tmp");
}

}  // namespace vorn::detail
