// Internal: do not include this file directly.
//
// The lexical half of resolving a path beneath a directory: splitting
// "<root>/<relative>" into the components below the root, refusing a path
// that does not lie under the root or that holds an empty, "." or ".."
// component. Shared by the POSIX open and check_directories_beneath.
#ifndef VORN_IO_DETAIL_BENEATHPATH_H_
#define VORN_IO_DETAIL_BENEATHPATH_H_

#include <string>
#include <vector>

namespace vorn::detail {

// The components of `path` below the directory `root` (trailing separators of
// `root` ignored). Throws FileError(EXDEV, operation, path) when `path` does
// not start with the root and a separator, or when a component below it is
// empty, "." or "..".
std::vector<std::string> components_beneath(const std::string& root, const std::string& path,
                                            const char* operation);

// `root` without trailing separators ("/" stays "/").
std::string root_directory(const std::string& root);

}  // namespace vorn::detail

#endif  // VORN_IO_DETAIL_BENEATHPATH_H_
