#include "Cli.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <sstream>
#include <utility>

#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"

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
  try {
    return vorn::read_file(path);
  } catch (const FileError& e) {
    throw std::runtime_error("cannot read '" + path + "': " + std::strerror(e.error()));
  }
}

std::string shown(const std::string& text) {
  constexpr std::size_t limit = 80;
  std::string out;
  for (std::size_t i = 0; i < text.size() && i < limit; ++i) {
    if (text[i] == '\0') {
      out += "\\0";
    } else {
      out += text[i];
    }
  }
  if (text.size() > limit) out += "...";
  return out;
}

std::string open_failure_reason(const std::string& path) {
  try {
    FileSystem::current().open(path, OpenOptions());
  } catch (const FileError& e) {
    return std::strerror(e.error());
  }
  return "";
}

void write_stdout(const std::string& bytes) {
  std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write to standard output");
}

}  // namespace vorn::cli
