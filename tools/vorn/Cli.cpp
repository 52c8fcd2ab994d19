#include "Cli.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <utility>

namespace vorn::cli {

Arguments::Arguments(std::string command, std::vector<std::string> words)
    : command_(std::move(command)), words_(std::move(words)) {}

std::string Arguments::take(const char* what) {
  if (empty()) throw UsageError(command_ + ": missing " + what);
  return words_[next_++];
}

bool Arguments::take_flag(const std::string& flag) {
  const auto it = std::find(words_.begin() + static_cast<std::ptrdiff_t>(next_), words_.end(), flag);
  if (it == words_.end()) return false;
  words_.erase(it);
  return true;
}

void Arguments::expect_end() const {
  if (!empty()) throw UsageError(command_ + ": unexpected argument '" + words_[next_] + "'");
}

std::string read_file(const std::string& path) {
  if (path == "-") {
    std::ostringstream bytes;
    bytes << std::cin.rdbuf();
    return bytes.str();
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open '" + path + "': " + std::strerror(errno));
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw std::runtime_error("cannot read '" + path + "'");
  return bytes;
}

void write_file_atomically(const std::string& path, const std::string& bytes) {
  const std::string temporary = path + ".vorn-tmp-" + std::to_string(::getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
      std::remove(temporary.c_str());
      throw std::runtime_error("cannot write '" + path + "'");
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    std::remove(temporary.c_str());
    throw std::runtime_error("cannot write '" + path + "': " + std::strerror(error));
  }
}

void write_stdout(const std::string& bytes) {
  std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write to standard output");
}

}  // namespace vorn::cli
