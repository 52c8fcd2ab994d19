// A fresh directory in the temporary directory, removed with its content at
// the end of the scope, with helpers to read and write whole files in it.
#ifndef VORN_TESTS_DATABASE_TEMPDIRECTORY_H_
#define VORN_TESTS_DATABASE_TEMPDIRECTORY_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vorn::test {

class TempDirectory {
 public:
  TempDirectory() {
    char name[] = "/tmp/vorn_db_test_XXXXXX";
    path_ = ::mkdtemp(name);
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

  std::string read(const std::string& name) const {
    std::ifstream in(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream out(file(name), std::ios::binary | std::ios::trunc);
    out << content;
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }

 private:
  std::string path_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_DATABASE_TEMPDIRECTORY_H_
