// Internal: do not include this file directly.
//
// The default FileSystem: POSIX calls that retry interrupted and short
// transfers and turn every failure into a FileError.
#ifndef VORN_IO_DETAIL_POSIXFILESYSTEM_H_
#define VORN_IO_DETAIL_POSIXFILESYSTEM_H_

#include "vorn/io/FileSystem.h"

namespace vorn::detail {

class PosixFileSystem final : public FileSystem {
 public:
  std::unique_ptr<File> open(const std::string& path, const OpenOptions& options) override;
  void rename(const std::string& from, const std::string& to) override;
  void remove(const std::string& path) override;
  void set_permissions(const std::string& path, unsigned int permissions) override;
  void sync_directory(const std::string& directory) override;
  std::optional<FileStatus> stat(const std::string& path) override;
  std::vector<std::string> list(const std::string& directory) override;
  std::unique_ptr<FileLock> lock(const std::string& path) override;
  void sync_file_system(const std::string& path) override;
};

}  // namespace vorn::detail

#endif  // VORN_IO_DETAIL_POSIXFILESYSTEM_H_
