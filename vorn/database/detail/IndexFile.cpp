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

[[noreturn]] void index_write_error(const std::string& what, const std::string& path, int error) {
  throw database_error("ArchiveDatabase::write_index_file: cannot " + what + " " + path + ": " + std::strerror(error));
}

}  // namespace

void IndexFile::remember_state() {
  const std::optional<FileStatus> now = status_of(path_);
  known_ = now.has_value();
  if (known_) state_ = *now;
}

std::vector<DatabaseEntryIdentifier> IndexFile::load() {
  forget();
  // The state is trusted only when the file did not change while it was read.
  const std::optional<FileStatus> before = status_of(path_);
  std::string text;
  try {
    text = read_file(path_);
  } catch (const FileError& e) {
    // An index that cannot be opened (missing, or not readable by this
    // process) is an empty database, as it always was. Something that is not
    // a regular file in its place (a directory, a FIFO) is refused, and so is
    // a failure while reading: either would otherwise pass for an empty index.
    if (e.error() == ENOENT || e.error() == ENOTDIR || e.error() == EACCES || e.error() == EPERM) return {};
    throw database_error("ArchiveDatabase::read_index_file: cannot read index file " + shown_in_message(path_) +
                         ": " + std::strerror(e.error()));
  }
  const std::optional<FileStatus> after = status_of(path_);
  bool canonical = false;
  std::vector<DatabaseEntryIdentifier> ids = parse_index(text, canonical);
  if (canonical && before && after && same_file(*before, *after) && after->size == text.size()) {
    state_ = *after;
    known_ = true;
  }
  return ids;
}

bool IndexFile::unchanged_on_disk() const {
  const std::optional<FileStatus> now = status_of(path_);
  return now && same_file(*now, state_);
}

bool IndexFile::rewrite(const std::vector<DatabaseEntryIdentifier>& ids) {
  forget();
  FileSystem& fs = FileSystem::current();
  const std::string text = identifier_lines(ids);
  const std::string temporary = path_ + ".tmp";
  OpenOptions options;
  options.read = false;
  options.write = true;
  options.create = true;
  options.truncate = true;
  std::unique_ptr<File> file;
  try {
    file = fs.open(temporary, options);
  } catch (const FileError&) {
    // The directory takes no new files; an existing, writable index is still
    // rewritten, in place.
    options.create = false;
    try {
      file = fs.open(path_, options);
    } catch (const FileError&) {
      return false;  // like an index that cannot be opened: not reported
    }
    try {
      file->write_at(0, text.data(), text.size());
    } catch (const FileError& e) {
      index_write_error("write", path_, e.error());
    }
    file_ = std::move(file);
    remember_state();
    return true;
  }
  try {
    file->write_at(0, text.data(), text.size());
    fs.rename(temporary, path_);
  } catch (const FileError& e) {
    file.reset();
    try_remove_file(temporary);
    index_write_error("write", path_, e.error());
  }
  file_ = std::move(file);
  remember_state();
  return true;
}

void IndexFile::append_last(const std::vector<DatabaseEntryIdentifier>& ids) {
  if (!known_ || ids.empty() || !unchanged_on_disk()) {
    rewrite(ids);
    return;
  }
  if (!file_) {
    OpenOptions options;
    options.read = false;
    options.write = true;
    try {
      file_ = FileSystem::current().open(path_, options);
    } catch (const FileError&) {
      rewrite(ids);
      return;
    }
    // The file opened must be the one whose state was remembered.
    const std::optional<FileStatus> opened = status_of(path_);
    if (!opened || opened->inode != state_.inode || opened->device != state_.device) {
      rewrite(ids);
      return;
    }
  }
  const std::string line = ids.back().text() + '\n';
  try {
    file_->write_at(state_.size, line.data(), line.size());
  } catch (const FileError& e) {
    forget();
    index_write_error("append to", path_, e.error());
  }
  remember_state();
}

void IndexFile::remove_files(const std::string& path) {
  try_remove_file(path);
  try_remove_file(path + ".tmp");
}

}  // namespace vorn::detail
