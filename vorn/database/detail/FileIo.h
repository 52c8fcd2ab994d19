// Internal: do not include this file directly.
//
// The entry-file update of the archive database, on FileSystem::current().
#ifndef VORN_DATABASE_DETAIL_FILEIO_H_
#define VORN_DATABASE_DETAIL_FILEIO_H_

#include <string>

namespace vorn::detail {

// True when `path` exists (as anything); false also when it cannot be
// examined.
bool file_exists(const std::string& path);

// The bytes of the entry file `path`, opened beneath `directory` (no
// symbolic link followed, regular files only, never blocking). Throws
// FileError.
std::string read_entry_file(const std::string& directory, const std::string& path);

// Opens the entry file `path` beneath `directory` for reading and closes it
// again, so that the archive that opens it next by name meets a regular file
// reached without links. A missing file passes (the archive reports it);
// anything else throws database_error "ArchiveDatabase::<operation>: cannot
// open entry file <path>: <reason>".
void check_entry_file_opens(const char* operation, const std::string& directory, const std::string& path);

// Refuses, with database_error "ArchiveDatabase::remove: cannot open entry
// file <path>: <reason>", an entry file whose directories below `directory`
// are not all real directories (see check_directories_beneath).
void check_entry_file_removable(const std::string& directory, const std::string& path);

// Makes the file `path` begin with `bytes`, keeping whatever it held beyond
// them, as an update in place would. A new file is written directly; an
// existing one is rebuilt in `path`.tmp and renamed over it, so a crash
// leaves the old or the new file. Throws std::invalid_argument "Archive::open:
// Couldn't open file: <path>" when the file cannot be opened or created, and
// database_error when writing fails.
// Every open stays beneath `directory`; a symbolic link or a file that is not
// a regular file throws database_error "ArchiveDatabase::write_entry: cannot
// open entry file <path>: <reason>".
void overwrite_file_start(const std::string& directory, const std::string& path, const std::string& bytes);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_FILEIO_H_
