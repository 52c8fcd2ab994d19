// A file name in the temporary directory, unique to the test, removed again
// at the end of the scope.
#ifndef VORN_TESTS_PERSISTENCE_TEMPFILE_H_
#define VORN_TESTS_PERSISTENCE_TEMPFILE_H_

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vorn::test {

class TempFile {
 public:
  TempFile() {
    static int serial = 0;
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    name_ = "/tmp/vorn_test_" + std::to_string(::getpid()) + "_" + std::to_string(serial++) + "_" +
            (info != nullptr ? info->name() : "none") + ".arc";
    std::remove(name_.c_str());
  }
  ~TempFile() { std::remove(name_.c_str()); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  const std::string& name() const { return name_; }

  std::vector<unsigned char> bytes() const {
    std::ifstream in(name_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  void set_bytes(const std::vector<unsigned char>& bytes) const {
    std::ofstream out(name_, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }

 private:
  std::string name_;
};

using Bytes = std::vector<unsigned char>;

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_TEMPFILE_H_
