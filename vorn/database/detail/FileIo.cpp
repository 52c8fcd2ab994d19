#include "vorn/database/detail/FileIo.h"

#include <cstring>
#include <memory>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/EntryPaths.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"

namespace vorn::detail {

std::string read_entry_file(const std::string& directory, const std::string& path) {
  OpenOptions options;
  options.beneath = directory;
  std::unique_ptr<File> file = FileSystem::current().open(path, options);
  std::string bytes(static_cast<std::size_t>(file->size()), '\0');
  bytes.resize(file->read_at(0, &bytes[0], bytes.size()));
  file->close();
  return bytes;
}

void check_entry_file_removable(const std::string& directory, const std::string& path) {
  try {
    check_directories_beneath(directory, path);
  } catch (const FileError& e) {
    throw database_error("ArchiveDatabase::remove: cannot open entry file " + shown_in_message(path) + ": " +
                         std::strerror(e.error()));
  }
}

}  // namespace vorn::detail
