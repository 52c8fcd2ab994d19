#include "vorn/io/FileFunctions.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "vorn/io/FileSystem.h"
#include "vorn/io/detail/BeneathPath.h"

namespace vorn {

namespace {

constexpr std::size_t minimum_read_chunk = 64 * 1024;

// Creates a new temporary file beside `path`; the name goes to `temporary`.
std::unique_ptr<File> create_temporary(FileSystem& fs, const std::string& path, unsigned int permissions,
                                       std::string& temporary) {
  static unsigned long serial = 0;
  OpenOptions options;
  options.read = false;
  options.write = true;
  options.create = true;
  options.exclusive = true;
  options.permissions = permissions;
  const std::string prefix = path + ".tmp." + std::to_string(::getpid()) + ".";
  for (int attempt = 0;; ++attempt) {
    temporary = prefix + std::to_string(serial++);
    try {
      return fs.open(temporary, options);
    } catch (const FileError& e) {
      // A name left by a process that had our id before us: take the next.
      if (e.error() != EEXIST || attempt == 99) throw;
    }
  }
}

}  // namespace

std::string read_file(const std::string& path) {
  std::unique_ptr<File> file = FileSystem::current().open(path, OpenOptions());
  std::string bytes;
  // The size is only a hint: read one byte beyond it to see the end.
  std::size_t capacity = static_cast<std::size_t>(file->size()) + 1;
  std::size_t used = 0;
  for (;;) {
    if (capacity < used + 1) capacity = used + (used < minimum_read_chunk ? minimum_read_chunk : used);
    bytes.resize(capacity);
    const std::size_t n = file->read_at(used, &bytes[used], capacity - used);
    used += n;
    if (used < capacity) break;
  }
  bytes.resize(used);
  file->close();
  return bytes;
}

void replace_file_atomically(const std::string& path, const std::string& bytes) {
  FileSystem& fs = FileSystem::current();
  std::string temporary;
  try {
    std::optional<unsigned int> keep;
    const std::optional<FileStatus> old = fs.stat(path);
    if (old && old->type == FileStatus::Type::regular) keep = old->permissions;
    std::unique_ptr<File> file = create_temporary(fs, path, keep ? *keep & 0777 : 0666, temporary);
    try {
      file->write_at(0, bytes.data(), bytes.size());
      if (keep) fs.set_permissions(temporary, *keep);  // the umask may have cleared bits
      file->sync();
      file->close();
      fs.rename(temporary, path);
    } catch (...) {
      file.reset();
      try_remove_file(temporary);
      throw;
    }
    fs.sync_directory(parent_directory(path));
  } catch (const FileError& e) {
    throw FileError(e.error(), "replace_file_atomically", path);
  }
}

bool try_remove_file(const std::string& path) {
  try {
    FileSystem::current().remove(path);
    return true;
  } catch (const FileError&) {
    return false;
  }
}

void check_directories_beneath(const std::string& root, const std::string& path) {
  static const char* const operation = "check_directories_beneath";
  const std::vector<std::string> parts = detail::components_beneath(root, path, operation);
  FileSystem& fs = FileSystem::current();
  std::string directory = detail::root_directory(root);
  for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
    directory.append(directory.back() == '/' ? "" : "/").append(parts[i]);
    std::optional<FileStatus> status;
    try {
      status = fs.stat(directory);
    } catch (const FileError& e) {
      throw FileError(e.error(), operation, path);
    }
    if (!status) return;
    if (status->type == FileStatus::Type::symbolic_link) throw FileError(ELOOP, operation, path);
    if (status->type != FileStatus::Type::directory) throw FileError(ENOTDIR, operation, path);
  }
}

std::string parent_directory(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  const std::size_t end = path.find_last_not_of('/', slash);
  if (end == std::string::npos) return "/";
  return path.substr(0, end + 1);
}

}  // namespace vorn
