#include "vorn/io/FileSystem.h"

#include "vorn/io/detail/PosixFileSystem.h"

namespace vorn {

FileError::FileError(int error, const std::string& operation, const std::string& path)
    : std::system_error(error, std::generic_category(), operation + ": " + path), path_(path) {}

namespace {

FileSystem*& current_file_system() noexcept {
  static FileSystem* current = &FileSystem::posix();
  return current;
}

}  // namespace

FileSystem& FileSystem::posix() noexcept {
  static detail::PosixFileSystem file_system;
  return file_system;
}

FileSystem& FileSystem::current() noexcept { return *current_file_system(); }

FileSystem::Scoped::Scoped(FileSystem& file_system) noexcept : previous_(current_file_system()) {
  current_file_system() = &file_system;
}

FileSystem::Scoped::~Scoped() { current_file_system() = previous_; }

}  // namespace vorn
