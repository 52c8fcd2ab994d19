#include "vorn/io/detail/BeneathPath.h"

#include <cerrno>

#include "vorn/io/FileSystem.h"

namespace vorn::detail {

std::string root_directory(const std::string& root) {
  std::string trimmed = root;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  return trimmed;
}

std::vector<std::string> components_beneath(const std::string& root, const std::string& path,
                                            const char* operation) {
  const std::string base = root_directory(root);
  std::size_t start = base.size();
  const bool inside = !base.empty() && path.compare(0, base.size(), base) == 0 &&
                      (base == "/" || (path.size() > start && path[start] == '/'));
  if (!inside) throw FileError(EXDEV, operation, path);
  // Separators that join the root to the rest are one separator.
  while (start < path.size() && path[start] == '/') ++start;
  std::vector<std::string> parts;
  for (;;) {
    std::size_t slash = path.find('/', start);
    if (slash == std::string::npos) slash = path.size();
    std::string part = path.substr(start, slash - start);
    if (part.empty() || part == "." || part == "..") throw FileError(EXDEV, operation, path);
    parts.push_back(std::move(part));
    if (slash == path.size()) break;
    start = slash + 1;
  }
  return parts;
}

}  // namespace vorn::detail
