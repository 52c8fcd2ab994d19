// Internal: do not include this file directly.
//
// Small POSIX file helpers of the archive database: whole-file reads and
// writes that retry short transfers and interrupted calls, and the atomic
// replacement of a file through a temporary file in the same directory.
#ifndef VORN_DATABASE_DETAIL_FILEIO_H_
#define VORN_DATABASE_DETAIL_FILEIO_H_

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace vorn::detail {

// Writes all `size` bytes at `offset`; false (errno set) on failure.
bool write_all(int fd, const void* data, std::size_t size, std::uint64_t offset) noexcept;

// Reads the whole regular file `path` into `text`; false when it cannot be
// opened or is not a regular file. `after`, when given, receives its state.
bool read_whole_file(const std::string& path, std::string& text, struct stat* after = nullptr);

// True when `path` exists (as anything).
bool file_exists(const std::string& path) noexcept;

// Makes the file `path` begin with `bytes`, keeping whatever it held beyond
// them, as an update in place would. A new file is written directly; an
// existing one is rebuilt in `path`.tmp and renamed over it, so a crash
// leaves the old or the new file. Throws std::invalid_argument "Archive::open:
// Couldn't open file: <path>" when the file cannot be opened or created, and
// database_error when writing fails.
void overwrite_file_start(const std::string& path, const std::string& bytes);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_FILEIO_H_
