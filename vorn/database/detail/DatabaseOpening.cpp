#include "vorn/database/detail/DatabaseOpening.h"

#include <memory>
#include <optional>

#include "vorn/database/database_error.h"
#include "vorn/io/FileSystem.h"

namespace vorn::detail {

namespace {

[[noreturn]] void open_error(const std::string& problem, const std::string& path) {
  throw database_error("ArchiveDatabase::open: " + problem + ": " + path);
}

}  // namespace

void prepare_to_open(const std::string& directory, const std::string& index_path, const DatabaseOptions& options) {
  FileSystem& files = FileSystem::current();
  try {
    // "<directory>/." follows a symbolic link to a directory and is missing
    // when the path names a file.
    const std::optional<FileStatus> place = files.stat(directory + "/.");
    if (!place || place->type != FileStatus::Type::directory) open_error("no such directory", directory);
    const std::optional<FileStatus> index = files.stat(index_path);
    if (index) {
      if (options.error_if_exists) open_error("database already exists", index_path);
      if (index->type == FileStatus::Type::directory) open_error("index is a directory", index_path);
      return;
    }
    if (!options.create_if_missing) open_error("no database (no index file)", index_path);
    OpenOptions create;
    create.write = true;
    create.create = true;
    files.open(index_path, create)->close();
  } catch (const FileError& e) {
    throw database_error(std::string("ArchiveDatabase::open: ") + e.what());
  }
}

}  // namespace vorn::detail
