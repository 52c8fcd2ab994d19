#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "IoTestSupport.h"
#include "support/TestSupport.h"
#include "vorn/io/FileSystem.h"

namespace vorn {
namespace {

using test::error_of;
using test::ScratchDirectory;

using test::open_options;

TEST(PosixFileSystem, RefusedOperations) {
  ScratchDirectory dir;
  FileSystem& fs = FileSystem::posix();
  dir.write("present", "x");
  ::mkdir(dir.file("sub").c_str(), 0777);
  ::mkfifo(dir.file("fifo").c_str(), 0666);
  const auto open = [&](const char* name, const std::string& modes) { fs.open(dir.file(name), open_options(modes)); };
  std::unique_ptr<File> closed = fs.open(dir.file("closed"), open_options("rwc"));
  closed->close();
  const struct { const char* name; std::function<void()> action; int error; } cases[] = {
      {"missing file", [&] { open("missing", "r"); }, ENOENT},
      {"missing directory", [&] { open("none/x", "wc"); }, ENOENT},
      {"directory read", [&] { open("sub", "r"); }, EISDIR},
      {"directory written", [&] { open("sub", "w"); }, EISDIR},
      {"fifo without a writer, not waited for", [&] { open("fifo", "r"); }, EINVAL},
      {"fifo without a reader", [&] { open("fifo", "w"); }, ENXIO},
      {"exclusive create of an existing file", [&] { open("present", "wcx"); }, EEXIST},
      {"size of a closed file", [&] { closed->size(); }, EBADF},
      {"remove of a missing file", [&] { fs.remove(dir.file("missing")); }, ENOENT},
      {"rename of a missing file", [&] { fs.rename(dir.file("missing"), dir.file("c")); }, ENOENT},
      {"list of a missing directory", [&] { fs.list(dir.file("missing")); }, ENOENT},
      {"sync of a missing directory", [&] { fs.sync_directory(dir.file("missing")); }, ENOENT},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of(c.action), c.error);
  }
  EXPECT_EQ(vorn::testing::error_of([&] { open("missing", "r"); }),
            "FileSystem::open: " + dir.file("missing") + ": No such file or directory");
}

TEST(PosixFileSystem, FilesAndDirectories) {
  ScratchDirectory dir;
  FileSystem& fs = FileSystem::posix();
  dir.write("a", "old");
  std::unique_ptr<File> file = fs.open(dir.file("b"), open_options("rwc"));
  file->write_at(0, "hello", 5);
  file->write_at(7, "!", 1);  // leaves a hole of two zero bytes
  char buffer[16] = {};
  EXPECT_EQ(file->read_at(0, buffer, sizeof buffer), 8u);
  EXPECT_EQ(std::string(buffer, 8), std::string("hello\0\0!", 8));
  EXPECT_EQ(file->read_at(20, buffer, 4), 0u);
  file->truncate(2);
  EXPECT_EQ(file->size(), 2u);
  file->sync();
  file->close();
  file->close();  // a second close does nothing
  fs.rename(dir.file("b"), dir.file("a"));
  EXPECT_EQ(dir.read("a"), "he");
  EXPECT_THAT(fs.list(dir.path()), ::testing::UnorderedElementsAre("a"));
  fs.set_permissions(dir.file("a"), 0640);
  const std::optional<FileStatus> status = fs.stat(dir.file("a"));
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->type, FileStatus::Type::regular);
  EXPECT_EQ(status->size, 2u);
  EXPECT_EQ(status->permissions, 0640u);
  EXPECT_EQ(fs.stat(dir.path())->type, FileStatus::Type::directory);
  EXPECT_FALSE(fs.stat(dir.file("missing")).has_value());
  fs.sync_directory(dir.path());
  fs.remove(dir.file("a"));
  EXPECT_TRUE(fs.list(dir.path()).empty());
}

// True when `fd` becomes readable within `milliseconds`.
bool readable_within(int fd, int milliseconds) {
  pollfd wait{fd, POLLIN, 0};
  return ::poll(&wait, 1, milliseconds) == 1;
}

// A pipe between a test and its forked child, closed at the end of the scope.
struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(fd), 0); }
  ~Pipe() { ::close(fd[0]), ::close(fd[1]); }
  bool signal() const { return ::write(fd[1], "x", 1) == 1; }
  int fd[2] = {-1, -1};
};

// The child's exit status.
int status_of(pid_t child) {
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

TEST(PosixFileSystem, LockExcludesAnotherProcess) {
  ScratchDirectory dir;
  const std::string path = dir.file("LOCK");
  const Pipe go, done;
  // The child forks before the lock is taken, so that it inherits no share
  // of the parent's lock.
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    char byte = 0;
    if (::read(go.fd[0], &byte, 1) != 1) ::_exit(2);
    auto mine = FileSystem::posix().lock(path);
    ::_exit(done.signal() ? 0 : 1);
  }
  auto held = FileSystem::posix().lock(path);
  ASSERT_TRUE(go.signal());
  EXPECT_FALSE(readable_within(done.fd[0], 300));  // the child waits for the lock
  held.reset();
  EXPECT_TRUE(readable_within(done.fd[0], 10000));  // and takes it once released
  EXPECT_EQ(status_of(child), 0);
}

// True when another open file description cannot take the lock right now.
bool locked_elsewhere(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return false;
  const bool locked = ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  ::close(fd);
  return locked;
}

TEST(PosixFileSystem, LockIsLetGoAndTakenAgainWithoutReopening) {
  ScratchDirectory dir;
  const std::string path = dir.file("LOCK");
  auto lock = FileSystem::posix().lock(path);
  EXPECT_TRUE(locked_elsewhere(path));
  lock->unlock();
  EXPECT_FALSE(locked_elsewhere(path));
  lock->relock();
  EXPECT_TRUE(locked_elsewhere(path));
}

TEST(PosixFileSystem, LockTakenAgainInAForkedChildExcludesTheParent) {
  ScratchDirectory dir;
  const std::string path = dir.file("LOCK");
  auto lock = FileSystem::posix().lock(path);
  lock->unlock();
  const Pipe taken, letting_go;
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The inherited descriptor is the parent's too: taking the lock on it
    // would not keep the parent out.
    lock->relock();
    if (!taken.signal()) ::_exit(1);
    ::usleep(300 * 1000);
    if (!letting_go.signal()) ::_exit(1);
    lock->unlock();
    ::_exit(0);
  }
  ASSERT_TRUE(readable_within(taken.fd[0], 10000));
  lock->relock();
  EXPECT_TRUE(readable_within(letting_go.fd[0], 0));  // it waited for the child
  EXPECT_EQ(status_of(child), 0);
}

}  // namespace
}  // namespace vorn
