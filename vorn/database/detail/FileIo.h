// Internal: do not include this file directly.
//
// Entry-file reading and the removal check of the archive database, on
// FileSystem::current().
#ifndef VORN_DATABASE_DETAIL_FILEIO_H_
#define VORN_DATABASE_DETAIL_FILEIO_H_

#include <string>

namespace vorn::detail {

// The bytes of the entry file `path`, opened beneath `directory` (no
// symbolic link followed, regular files only, never blocking). Throws
// FileError.
std::string read_entry_file(const std::string& directory, const std::string& path);

// Refuses, with database_error "ArchiveDatabase::remove: cannot open entry
// file <path>: <reason>", an entry file whose directories below `directory`
// are not all real directories (see check_directories_beneath).
void check_entry_file_removable(const std::string& directory, const std::string& path);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_FILEIO_H_
