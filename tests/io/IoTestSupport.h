// Helpers of the file layer tests: a scratch directory whose files are read
// and written with plain streams, so that the checks do not go through the
// layer under test, and the errno of the FileError an action throws.
#ifndef VORN_TESTS_IO_IOTESTSUPPORT_H_
#define VORN_TESTS_IO_IOTESTSUPPORT_H_

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "vorn/io/FileSystem.h"

namespace vorn::test {

// The errno of the FileError `action` throws; 0 when it throws none.
inline int error_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const FileError& e) {
    return e.error();
  }
  return 0;
}

// Open options from letters: r read, w write, c create, x exclusive,
// t truncate; `beneath` as given.
inline OpenOptions open_options(const std::string& modes, const std::string& beneath = "") {
  OpenOptions options;
  options.read = modes.find('r') != std::string::npos;
  options.write = modes.find('w') != std::string::npos;
  options.create = modes.find('c') != std::string::npos;
  options.exclusive = modes.find('x') != std::string::npos;
  options.truncate = modes.find('t') != std::string::npos;
  options.beneath = beneath;
  return options;
}

// A fresh directory under /tmp for one test, removed with everything in it
// at the end of the scope.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    char name[] = "/tmp/vorn_io_test_XXXXXX";
    path_ = ::mkdtemp(name);
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

  void write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary | std::ios::trunc) << content;
  }
  // The content of the file, or nothing when it does not exist.
  std::optional<std::string> read(const std::string& name) const {
    std::ifstream in(file(name), std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  // The names in the directory, sorted.
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) all.push_back(entry.path().filename());
    std::sort(all.begin(), all.end());
    return all;
  }

 private:
  std::string path_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_IO_IOTESTSUPPORT_H_
