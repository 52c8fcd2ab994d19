#include "vorn/io/detail/PosixFileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#if defined(__linux__) && defined(SYS_openat2) && __has_include(<linux/openat2.h>)
#include <linux/openat2.h>
#define VORN_HAVE_OPENAT2 1
#endif

#include "vorn/io/detail/BeneathPath.h"

namespace vorn::detail {

namespace {

FileStatus::Type type_of(mode_t mode) noexcept {
  if (S_ISREG(mode)) return FileStatus::Type::regular;
  if (S_ISDIR(mode)) return FileStatus::Type::directory;
  if (S_ISLNK(mode)) return FileStatus::Type::symbolic_link;
  return FileStatus::Type::other;
}

FileStatus status_of(const struct stat& state) noexcept {
  FileStatus status;
  status.type = type_of(state.st_mode);
  status.size = static_cast<std::uint64_t>(state.st_size);
  status.permissions = static_cast<unsigned int>(state.st_mode & 07777);
  status.device = static_cast<std::uint64_t>(state.st_dev);
  status.inode = static_cast<std::uint64_t>(state.st_ino);
  status.modified_ns = static_cast<std::int64_t>(state.st_mtim.tv_sec) * 1000000000 + state.st_mtim.tv_nsec;
  return status;
}

class PosixFile final : public File {
 public:
  PosixFile(std::string path, int fd) : File(std::move(path)), fd_(fd) {}
  ~PosixFile() override {
    if (fd_ >= 0) ::close(fd_);
  }

  std::size_t read_at(std::uint64_t offset, void* data, std::size_t size) override {
    check_open("File::read_at");
    char* p = static_cast<char*>(data);
    std::size_t done = 0;
    while (done < size) {
      const ssize_t n = ::pread(fd_, p + done, size - done, static_cast<off_t>(offset + done));
      if (n < 0) {
        if (errno == EINTR) continue;
        throw FileError(errno, "File::read_at", path());
      }
      if (n == 0) break;
      done += static_cast<std::size_t>(n);
    }
    return done;
  }

  void write_at(std::uint64_t offset, const void* data, std::size_t size) override {
    check_open("File::write_at");
    const char* p = static_cast<const char*>(data);
    std::size_t done = 0;
    while (done < size) {
      const ssize_t n = ::pwrite(fd_, p + done, size - done, static_cast<off_t>(offset + done));
      if (n < 0) {
        if (errno == EINTR) continue;
        throw FileError(errno, "File::write_at", path());
      }
      if (n == 0) throw FileError(EIO, "File::write_at", path());
      done += static_cast<std::size_t>(n);
    }
  }

  std::uint64_t size() override {
    check_open("File::size");
    struct stat state {};
    if (::fstat(fd_, &state) != 0) throw FileError(errno, "File::size", path());
    return static_cast<std::uint64_t>(state.st_size);
  }

  FileStatus status() override {
    check_open("File::status");
    struct stat state {};
    if (::fstat(fd_, &state) != 0) throw FileError(errno, "File::status", path());
    return status_of(state);
  }

  void truncate(std::uint64_t size) override {
    check_open("File::truncate");
    while (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
      if (errno != EINTR) throw FileError(errno, "File::truncate", path());
    }
  }

  void sync() override {
    check_open("File::sync");
    while (::fsync(fd_) != 0) {
      if (errno != EINTR) throw FileError(errno, "File::sync", path());
    }
  }

  void close() override {
    if (fd_ < 0) return;
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0 && errno != EINTR) throw FileError(errno, "File::close", path());
  }

 private:
  void check_open(const char* operation) const {
    if (fd_ < 0) throw FileError(EBADF, operation, path());
  }

  int fd_;
};

// Opens the lock file `path` and takes the lock; returns the descriptor or
// throws FileError naming `operation`.
int open_and_lock(const std::string& path, const char* operation) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (fd < 0) throw FileError(errno, operation, path);
  // flock locks belong to the open file description, so two objects of one
  // process exclude each other as two processes do.
  while (::flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) {
      const int error = errno;
      ::close(fd);
      throw FileError(error, operation, path);
    }
  }
  return fd;
}

class PosixLock final : public FileLock {
 public:
  PosixLock(std::string path, int fd) noexcept : path_(std::move(path)), fd_(fd), owner_(::getpid()) {}
  ~PosixLock() override {
    if (fd_ >= 0) ::close(fd_);  // closing the description releases the lock
  }

  void unlock() noexcept override {
    if (!held_) return;
    held_ = false;
    ::flock(fd_, LOCK_UN);
  }

  // A child process reaches unlock() only through relock(), which opens the
  // file anew there, so unlock() never lets go of a parent's lock.
  void relock() override {
    if (owner_ != ::getpid()) {
      // The descriptor is shared with the parent (which may hold the lock
      // right now, from another thread): closing it here leaves the parent's
      // lock alone.
      const int fd = open_and_lock(path_, "FileLock::relock");
      ::close(fd_);
      fd_ = fd;
      owner_ = ::getpid();
      held_ = true;
      return;
    }
    if (held_) return;
    while (::flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) throw FileError(errno, "FileLock::relock", path_);
    }
    held_ = true;
  }

 private:
  std::string path_;
  int fd_;
  pid_t owner_;  // the process that opened fd_
  bool held_ = true;
};

// Closes a descriptor when it goes out of scope.
class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return fd_; }
  void reset(int fd) noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

int open_retrying(int directory, const char* path, int flags, mode_t mode) {
  int fd;
  do {
    fd = ::openat(directory, path, flags, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

#ifdef O_PATH
constexpr int directory_walk_flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
constexpr int root_flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
#else
constexpr int directory_walk_flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
constexpr int root_flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

// Opens `parts` below the open directory `root` one component at a time,
// refusing every symbolic link (ELOOP) and every non-directory on the way
// (ENOTDIR). Returns the descriptor or -1 with errno set.
int open_by_walking(int root, const std::vector<std::string>& parts, int flags, mode_t mode) {
  Descriptor current(-1);
  int at = root;
  for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
    const int next = open_retrying(at, parts[i].c_str(), directory_walk_flags, 0);
    if (next < 0) return -1;
    current.reset(next);
    at = next;
    struct stat state {};
    if (::fstat(next, &state) != 0) return -1;
    if (!S_ISDIR(state.st_mode)) {
      errno = S_ISLNK(state.st_mode) ? ELOOP : ENOTDIR;
      return -1;
    }
  }
  return open_retrying(at, parts.back().c_str(), flags | O_NOFOLLOW, mode);
}

// Opens `path` inside `beneath` without following symbolic links, with
// openat2 where the kernel has it. Returns the descriptor or -1 with errno
// set.
int open_beneath(const std::string& beneath, const std::string& path, int flags, mode_t mode) {
  const std::vector<std::string> parts = components_beneath(beneath, path, "FileSystem::open");
  // One component below the directory: the only name that could lead out
  // of it is the last, and O_NOFOLLOW refuses a symbolic link there, so the
  // plain open is as safe and needs no descriptor of the directory.
  if (parts.size() == 1) return open_retrying(AT_FDCWD, path.c_str(), flags | O_NOFOLLOW, mode);
  const std::string root_path = root_directory(beneath);
  const Descriptor root(open_retrying(AT_FDCWD, root_path.c_str(), root_flags, 0));
  if (root.get() < 0) return -1;
#ifdef VORN_HAVE_OPENAT2
  std::string relative;
  for (const std::string& part : parts) relative.append(relative.empty() ? "" : "/").append(part);
  struct open_how how {};
  how.flags = static_cast<std::uint64_t>(flags);
  how.mode = (flags & O_CREAT) != 0 ? static_cast<std::uint64_t>(mode) : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  long fd;
  do {
    fd = ::syscall(SYS_openat2, root.get(), relative.c_str(), &how, sizeof how);
  } while (fd < 0 && errno == EINTR);
  // Older kernels, and sandboxes that filter the call, get the walk instead.
  if (fd >= 0 || (errno != ENOSYS && errno != EPERM && errno != E2BIG)) return static_cast<int>(fd);
#endif
  return open_by_walking(root.get(), parts, flags, mode);
}

}  // namespace

std::unique_ptr<File> PosixFileSystem::open(const std::string& path, const OpenOptions& options) {
  int flags = O_CLOEXEC;
  if (options.read && options.write) {
    flags |= O_RDWR;
  } else if (options.write) {
    flags |= O_WRONLY;
  } else {
    flags |= O_RDONLY;
  }
  if (options.create) flags |= O_CREAT;
  if (options.create && options.exclusive) flags |= O_EXCL;
  if (options.truncate) flags |= O_TRUNC;
  // A FIFO or device must never block the caller: open without waiting,
  // then refuse anything that is not a regular file. An exclusive creation
  // can only make a new regular file, so it skips both.
  const bool created_new = options.create && options.exclusive;
  if (!created_new) flags |= O_NONBLOCK;
  const mode_t mode = static_cast<mode_t>(options.permissions);
  const int fd = options.beneath.empty() ? open_retrying(AT_FDCWD, path.c_str(), flags, mode)
                                         : open_beneath(options.beneath, path, flags, mode);
  if (fd < 0) throw FileError(errno, "FileSystem::open", path);
  if (created_new) return std::make_unique<PosixFile>(path, fd);
  struct stat state {};
  int error = 0;
  if (::fstat(fd, &state) != 0) {
    error = errno;
  } else if (!S_ISREG(state.st_mode)) {
    error = S_ISDIR(state.st_mode) ? EISDIR : EINVAL;
  } else {
    const int status = ::fcntl(fd, F_GETFL);
    if (status < 0 || ::fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != 0) error = errno;
  }
  if (error != 0) {
    ::close(fd);
    throw FileError(error, "FileSystem::open", path);
  }
  return std::make_unique<PosixFile>(path, fd);
}

void PosixFileSystem::rename(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) throw FileError(errno, "FileSystem::rename", from + " -> " + to);
}

void PosixFileSystem::remove(const std::string& path) {
  if (::unlink(path.c_str()) != 0) throw FileError(errno, "FileSystem::remove", path);
}

void PosixFileSystem::set_permissions(const std::string& path, unsigned int permissions) {
  if (::chmod(path.c_str(), static_cast<mode_t>(permissions & 07777)) != 0) {
    throw FileError(errno, "FileSystem::set_permissions", path);
  }
}

void PosixFileSystem::sync_directory(const std::string& directory) {
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) throw FileError(errno, "FileSystem::sync_directory", directory);
  while (::fsync(fd) != 0) {
    if (errno == EINTR) continue;
    const int error = errno;
    ::close(fd);
    throw FileError(error, "FileSystem::sync_directory", directory);
  }
  ::close(fd);
}

void PosixFileSystem::sync_file_system(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) throw FileError(errno, "FileSystem::sync_file_system", path);
  if (::syncfs(fd) != 0) {
    const int error = errno;
    ::close(fd);
    throw FileError(error, "FileSystem::sync_file_system", path);
  }
  ::close(fd);
}

std::optional<FileStatus> PosixFileSystem::stat(const std::string& path) {
  struct stat state {};
  if (::lstat(path.c_str(), &state) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throw FileError(errno, "FileSystem::stat", path);
  }
  return status_of(state);
}

std::vector<std::string> PosixFileSystem::list(const std::string& directory) {
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) throw FileError(errno, "FileSystem::list", directory);
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  const int error = errno;
  ::closedir(dir);
  if (error != 0) throw FileError(error, "FileSystem::list", directory);
  return names;
}

std::unique_ptr<FileLock> PosixFileSystem::lock(const std::string& path) {
  return std::make_unique<PosixLock>(path, open_and_lock(path, "FileSystem::lock"));
}

}  // namespace vorn::detail
