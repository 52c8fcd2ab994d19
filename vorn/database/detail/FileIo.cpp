#include "vorn/database/detail/FileIo.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "vorn/database/database_error.h"

namespace vorn::detail {

namespace {

[[noreturn]] void open_error(const std::string& path) {
  throw std::invalid_argument("Archive::open: Couldn't open file: " + path);
}

[[noreturn]] void write_error(const std::string& path, int error) {
  throw database_error("ArchiveDatabase::write_entry: cannot write " + path + ": " + std::strerror(error));
}

// Closes the descriptor when the scope ends.
class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return fd_; }
  // Closes now and reports whether the close succeeded.
  bool close() noexcept {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

}  // namespace

bool write_all(int fd, const void* data, std::size_t size, std::uint64_t offset) noexcept {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = ::pwrite(fd, p, size, static_cast<off_t>(offset));
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) {
      errno = EIO;
      return false;
    }
    p += n;
    size -= static_cast<std::size_t>(n);
    offset += static_cast<std::uint64_t>(n);
  }
  return true;
}

bool read_whole_file(const std::string& path, std::string& text, struct stat* after) {
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return false;
  struct stat state {};
  if (::fstat(fd.get(), &state) != 0 || !S_ISREG(state.st_mode)) return false;
  text.clear();
  text.resize(static_cast<std::size_t>(state.st_size) + 1);
  std::size_t used = 0;
  for (;;) {
    if (used == text.size()) text.resize(text.size() * 2);
    const ssize_t n = ::read(fd.get(), &text[used], text.size() - used);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) break;
    used += static_cast<std::size_t>(n);
  }
  text.resize(used);
  if (after != nullptr && ::fstat(fd.get(), after) != 0) return false;
  return true;
}

bool file_exists(const std::string& path) noexcept {
  struct stat state {};
  return ::lstat(path.c_str(), &state) == 0;
}

void overwrite_file_start(const std::string& path, const std::string& bytes) {
  std::string old;
  if (!read_whole_file(path, old)) {
    if (file_exists(path)) {
      // Not a readable regular file: update it in place, as a plain archive would.
      Descriptor fd(::open(path.c_str(), O_RDWR | O_CLOEXEC));
      if (fd.get() < 0) open_error(path);
      if (!write_all(fd.get(), bytes.data(), bytes.size(), 0)) write_error(path, errno);
      return;
    }
    Descriptor fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (fd.get() < 0) open_error(path);
    if (!write_all(fd.get(), bytes.data(), bytes.size(), 0)) write_error(path, errno);
    if (!fd.close()) write_error(path, errno);
    return;
  }
  if (old.size() > bytes.size()) {
    old.replace(0, bytes.size(), bytes);
  } else {
    old = bytes;
  }
  const std::string temporary = path + ".tmp";
  Descriptor fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (fd.get() < 0) {
    // The directory refuses new files; the entry itself may still be writable.
    Descriptor in_place(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (in_place.get() < 0) open_error(path);
    if (!write_all(in_place.get(), bytes.data(), bytes.size(), 0)) write_error(path, errno);
    return;
  }
  if (!write_all(fd.get(), old.data(), old.size(), 0) || !fd.close() ||
      ::rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    write_error(path, error);
  }
}

}  // namespace vorn::detail
