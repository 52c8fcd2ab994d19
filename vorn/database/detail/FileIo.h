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

// Makes the file `path` begin with `bytes`, keeping whatever it held beyond
// them, as an update in place would. A new file is written directly; an
// existing one is rebuilt in `path`.tmp and renamed over it, so a crash
// leaves the old or the new file. Throws std::invalid_argument "Archive::open:
// Couldn't open file: <path>" when the file cannot be opened or created, and
// database_error when writing fails.
void overwrite_file_start(const std::string& path, const std::string& bytes);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_FILEIO_H_
