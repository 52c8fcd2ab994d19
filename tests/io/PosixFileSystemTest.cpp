#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "IoTestSupport.h"
#include "vorn/io/FileSystem.h"

namespace vorn {
namespace {

using test::error_of;
using test::ScratchDirectory;

using test::open_options;

TEST(PosixFileSystem, RefusedOpens) {
  ScratchDirectory dir;
  FileSystem& fs = FileSystem::posix();
  dir.write("present", "x");
  ::mkdir(dir.file("sub").c_str(), 0777);
  ::mkfifo(dir.file("fifo").c_str(), 0666);
  const struct { const char* name; std::string path; OpenOptions options; int error; } cases[] = {
      {"missing file", dir.file("missing"), OpenOptions(), ENOENT},
      {"missing directory", dir.file("none/x"), open_options("wc"), ENOENT},
      {"directory read", dir.file("sub"), OpenOptions(), EISDIR},
      {"directory written", dir.file("sub"), open_options("w"), EISDIR},
      {"fifo without a writer, not waited for", dir.file("fifo"), OpenOptions(), EINVAL},
      {"fifo without a reader", dir.file("fifo"), open_options("w"), ENXIO},
      {"exclusive create of an existing file", dir.file("present"), open_options("wcx"), EEXIST},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of([&] { fs.open(c.path, c.options); }), c.error);
  }
  try {
    fs.open(dir.file("missing"), OpenOptions());
  } catch (const FileError& e) {
    EXPECT_STREQ(e.what(), ("FileSystem::open: " + dir.file("missing") + ": No such file or directory").c_str());
    EXPECT_EQ(e.path(), dir.file("missing"));
  }
}

TEST(PosixFileSystem, FileReadsWritesAndCloses) {
  ScratchDirectory dir;
  std::unique_ptr<File> file = FileSystem::posix().open(dir.file("f"), open_options("rwc"));
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
  EXPECT_EQ(error_of([&] { file->size(); }), EBADF);
  EXPECT_EQ(dir.read("f"), "he");
}

TEST(PosixFileSystem, DirectoryOperations) {
  ScratchDirectory dir;
  FileSystem& fs = FileSystem::posix();
  dir.write("a", "old");
  dir.write("b", "new");
  fs.rename(dir.file("b"), dir.file("a"));
  EXPECT_EQ(dir.read("a"), "new");
  EXPECT_THAT(fs.list(dir.path()), ::testing::UnorderedElementsAre("a"));
  fs.set_permissions(dir.file("a"), 0640);
  const std::optional<FileStatus> status = fs.stat(dir.file("a"));
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->type, FileStatus::Type::regular);
  EXPECT_EQ(status->size, 3u);
  EXPECT_EQ(status->permissions, 0640u);
  EXPECT_EQ(fs.stat(dir.path())->type, FileStatus::Type::directory);
  EXPECT_FALSE(fs.stat(dir.file("missing")).has_value());
  fs.sync_directory(dir.path());
  fs.remove(dir.file("a"));
  EXPECT_EQ(error_of([&] { fs.remove(dir.file("a")); }), ENOENT);
  EXPECT_EQ(error_of([&] { fs.rename(dir.file("a"), dir.file("c")); }), ENOENT);
  EXPECT_EQ(error_of([&] { fs.list(dir.file("a")); }), ENOENT);
  EXPECT_EQ(error_of([&] { fs.sync_directory(dir.file("a")); }), ENOENT);
}

// True when `fd` becomes readable within `milliseconds`.
bool readable_within(int fd, int milliseconds) {
  pollfd wait{fd, POLLIN, 0};
  return ::poll(&wait, 1, milliseconds) == 1;
}

TEST(PosixFileSystem, LockExcludesAnotherProcess) {
  ScratchDirectory dir;
  const std::string path = dir.file("LOCK");
  int go[2];
  int done[2];
  ASSERT_EQ(::pipe(go), 0);
  ASSERT_EQ(::pipe(done), 0);
  // The child forks before the lock is taken, so that it inherits no share
  // of the parent's lock.
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    char byte = 0;
    if (::read(go[0], &byte, 1) != 1) ::_exit(2);
    auto mine = FileSystem::posix().lock(path);
    ::_exit(::write(done[1], &byte, 1) == 1 ? 0 : 1);
  }
  auto held = FileSystem::posix().lock(path);
  ASSERT_EQ(::write(go[1], "L", 1), 1);
  EXPECT_FALSE(readable_within(done[0], 300));  // the child waits for the lock
  held.reset();
  EXPECT_TRUE(readable_within(done[0], 10000));  // and takes it once released
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  for (int fd : {go[0], go[1], done[0], done[1]}) ::close(fd);
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
  int taken[2];
  int letting_go[2];
  ASSERT_EQ(::pipe(taken), 0);
  ASSERT_EQ(::pipe(letting_go), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The inherited descriptor is the parent's too: taking the lock on it
    // would not keep the parent out.
    lock->relock();
    if (::write(taken[1], "L", 1) != 1) ::_exit(1);
    ::usleep(300 * 1000);
    if (::write(letting_go[1], "U", 1) != 1) ::_exit(1);
    lock->unlock();
    ::_exit(0);
  }
  ASSERT_TRUE(readable_within(taken[0], 10000));
  lock->relock();
  EXPECT_TRUE(readable_within(letting_go[0], 0));  // it waited for the child
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  for (int fd : {letting_go[0], letting_go[1]}) ::close(fd);
  for (int fd : {taken[0], taken[1]}) ::close(fd);
}

}  // namespace
}  // namespace vorn
