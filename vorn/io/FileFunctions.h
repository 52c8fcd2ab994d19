// Whole-file operations built on FileSystem::current(): the one place that
// reads a whole file, and the one place that replaces a file atomically.
//
//   std::string text = vorn::read_file("/data/genes.gcd");
//   vorn::replace_file_atomically("/data/genes.gcd", text + "X1\n");
//
// replace_file_atomically writes the new bytes to a temporary file beside the
// target, syncs it, renames it over the target and syncs the directory, so
// the target holds either its old bytes or all of the new ones, also after a
// power cut, and the new ones survive a power cut once the call returns.
//
// Both throw FileError (vorn/io/FileSystem.h) on failure.
#ifndef VORN_IO_FILEFUNCTIONS_H_
#define VORN_IO_FILEFUNCTIONS_H_

#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

// The whole content of the regular file `path`. Reads until the end of the
// file, so a file that grows while it is read is read to its new end.
VORN_API std::string read_file(const std::string& path);

// Replaces the content of `path` by `bytes` through a temporary file in the
// same directory (`path` + ".tmp." + process id + "." + a serial number,
// created exclusively). An existing target's permission bits carry over to
// the new file; a new target gets 0666 less the umask. On any failure the
// temporary file is removed and FileError "replace_file_atomically: <path>:
// <reason>" is thrown with the errno of the failed step; when only the final
// directory sync failed, `path` already holds the new bytes, which may not
// survive a power cut.
VORN_API void replace_file_atomically(const std::string& path, const std::string& bytes);

// Removes the file `path` and reports whether it did; every failure,
// a missing file included, is swallowed. For clean-up paths that must not
// throw a second error, and for removals whose result is deliberately
// ignored.
VORN_API bool try_remove_file(const std::string& path);

// Checks, through FileSystem::current().stat, that `path` lies inside the
// directory `root` as FileSystem::open with OpenOptions::beneath would
// require, and that every directory between `root` and the last component is
// a real directory, not a symbolic link. For rename and remove, which never
// follow a link in the last component but do follow links on the way to it:
//
//   vorn::check_directories_beneath("/data", "/data/genes_a/x.ade");
//   vorn::FileSystem::current().remove("/data/genes_a/x.ade");
//
// A missing directory is not an error here (the operation that follows
// reports it). Throws FileError "check_directories_beneath: <path>: <reason>"
// with EXDEV for a path outside `root` or with an empty, "." or ".."
// component, ELOOP for a symbolic link and ENOTDIR for anything else that is
// not a directory.
VORN_API void check_directories_beneath(const std::string& root, const std::string& path);

// The directory part of `path` ("." when it has none, "/" for a file in
// the root), for sync_directory.
VORN_API std::string parent_directory(const std::string& path);

}  // namespace vorn

#endif  // VORN_IO_FILEFUNCTIONS_H_
