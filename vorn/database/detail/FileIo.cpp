#include "vorn/database/detail/FileIo.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"

namespace vorn::detail {

namespace {

[[noreturn]] void open_error(const std::string& path) {
  throw std::invalid_argument("Archive::open: Couldn't open file: " + path);
}

[[noreturn]] void refused_error(const char* operation, const std::string& path, int error) {
  throw database_error(std::string("ArchiveDatabase::") + operation + ": cannot open entry file " +
                       shown_in_message(path) + ": " + std::strerror(error));
}

[[noreturn]] void write_error(const std::string& path, int error) {
  throw database_error("ArchiveDatabase::write_entry: cannot write " + path + ": " + std::strerror(error));
}

OpenOptions writing(const std::string& directory, bool read, bool create, bool exclusive, bool truncate) {
  OpenOptions options;
  options.beneath = directory;
  options.read = read;
  options.write = true;
  options.create = create;
  options.exclusive = exclusive;
  options.truncate = truncate;
  return options;
}

// The file opened with `options`, or null when it cannot be opened.
std::unique_ptr<File> open_or_null(const std::string& path, const OpenOptions& options) {
  try {
    return FileSystem::current().open(path, options);
  } catch (const FileError&) {
    return nullptr;
  }
}

// Writes `bytes` at the start of the open file; `close` also closes it and
// reports a failed close. Failures throw the entry's write error.
void write_start(File& file, const std::string& path, const std::string& bytes, bool close) {
  try {
    file.write_at(0, bytes.data(), bytes.size());
    if (close) file.close();
  } catch (const FileError& e) {
    write_error(path, e.error());
  }
}

// Updates the existing file `path` in place, as a plain archive would.
void write_in_place(const std::string& directory, const std::string& path, const std::string& bytes) {
  std::unique_ptr<File> file = open_or_null(path, writing(directory, true, false, false, false));
  if (!file) open_error(path);
  write_start(*file, path, bytes, false);
}

}  // namespace

std::string read_entry_file(const std::string& directory, const std::string& path) {
  OpenOptions options;
  options.beneath = directory;
  std::unique_ptr<File> file = FileSystem::current().open(path, options);
  std::string bytes(static_cast<std::size_t>(file->size()), '\0');
  bytes.resize(file->read_at(0, &bytes[0], bytes.size()));
  file->close();
  return bytes;
}

void check_entry_file_opens(const char* operation, const std::string& directory, const std::string& path) {
  OpenOptions options;
  options.beneath = directory;
  try {
    FileSystem::current().open(path, options);
  } catch (const FileError& e) {
    if (e.error() == ENOENT) return;  // the archive reports a missing file itself
    refused_error(operation, path, e.error());
  }
}

void check_entry_file_removable(const std::string& directory, const std::string& path) {
  try {
    check_directories_beneath(directory, path);
  } catch (const FileError& e) {
    refused_error("remove", path, e.error());
  }
}

bool file_exists(const std::string& path) {
  try {
    return FileSystem::current().stat(path).has_value();
  } catch (const FileError&) {
    return false;
  }
}

void overwrite_file_start(const std::string& directory, const std::string& path, const std::string& bytes) {
  // The common case, a new entry: one open that creates the file.
  if (std::unique_ptr<File> file = open_or_null(path, writing(directory, false, true, true, false))) {
    write_start(*file, path, bytes, true);
    return;
  }
  std::string old;
  try {
    old = read_entry_file(directory, path);
  } catch (const FileError& e) {
    if (e.error() != ENOENT) refused_error("write_entry", path, e.error());
    std::unique_ptr<File> file = open_or_null(path, writing(directory, true, true, false, false));
    if (!file) open_error(path);
    write_start(*file, path, bytes, true);
    return;
  }
  if (old.size() > bytes.size()) {
    old.replace(0, bytes.size(), bytes);
  } else {
    old = bytes;
  }
  const std::string temporary = path + ".tmp";
  std::unique_ptr<File> file = open_or_null(temporary, writing(directory, false, true, false, true));
  if (!file) {
    // The directory refuses new files; the entry itself may still be writable.
    write_in_place(directory, path, bytes);
    return;
  }
  try {
    file->write_at(0, old.data(), old.size());
    file->close();
    check_directories_beneath(directory, path);
    FileSystem::current().rename(temporary, path);
  } catch (const FileError& e) {
    file.reset();
    try_remove_file(temporary);
    write_error(path, e.error());
  }
}

}  // namespace vorn::detail
