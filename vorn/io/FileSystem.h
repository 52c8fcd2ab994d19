// FileSystem: the one seam through which the library touches files.
//
// Every file operation vorn makes (open or create a file, read, write, sync
// it, sync a directory, rename, remove, set permissions, lock, stat, list)
// goes through the
// process-wide FileSystem::current(). By default that is the POSIX file
// system; tests install a fault-injecting one (vorn/testing) that fails the
// k-th operation or forgets what was never synced, to prove that no
// acknowledged byte is lost.
//
//   vorn::FileSystem& fs = vorn::FileSystem::current();
//   vorn::OpenOptions options;
//   options.write = true;
//   options.create = true;
//   options.exclusive = true;
//   std::unique_ptr<vorn::File> file = fs.open("/data/new.ade", options);
//   file->write_at(0, bytes.data(), bytes.size());
//   file->sync();
//   file->close();
//   fs.sync_directory("/data");
//
// Failures throw FileError, a std::system_error whose code is the errno value
// and whose what() reads "<Class>::<operation>: <path>: <system reason>",
// for example "File::write_at: /data/new.ade: No space left on device".
// Like the rest of the library, a FileSystem is used from one thread.
//
// open() accepts regular files only: a directory is refused with EISDIR and
// anything else (a FIFO, a device, a socket) with EINVAL, without ever
// blocking on it. Whole-file reads and atomic replacement are built on this
// interface in vorn/io/FileFunctions.h.
#ifndef VORN_IO_FILESYSTEM_H_
#define VORN_IO_FILESYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "vorn/foundation/Export.h"

namespace vorn {

// A failed file operation: the path, the operation and the errno value.
class VORN_API FileError : public std::system_error {
 public:
  // `operation` is "Class::operation", for example "File::sync".
  FileError(int error, const std::string& operation, const std::string& path);

  const std::string& path() const noexcept { return path_; }
  // The errno value, for example ENOSPC.
  int error() const noexcept { return code().value(); }

 private:
  std::string path_;
};

// How FileSystem::open opens a file. The defaults open an existing file for
// reading.
//
// With `beneath` set, `path` must name a file inside that directory
// ("<beneath>/<relative>", the relative part without empty, "." or ".."
// components) and is resolved without following any symbolic link below
// `beneath` and without leaving it; the directory `beneath` itself may be
// reached through links. A path outside it fails with EXDEV, a symbolic link
// on the way (the file itself included) with ELOOP:
//
//   options.beneath = "/data";
//   fs.open("/data/genes_a/x.ade", options);  // ELOOP when genes_a is a link
struct VORN_API OpenOptions {
  bool read = true;
  bool write = false;
  bool create = false;     // create the file when it does not exist
  bool exclusive = false;  // with create: fail with EEXIST when it exists
  bool truncate = false;   // empty an existing file
  unsigned int permissions = 0666;  // for a created file, before the umask
  std::string beneath;              // when not empty: stay inside this directory
};

// What FileSystem::stat tells of a path (without following a final
// symbolic link).
struct VORN_API FileStatus {
  enum class Type { regular, directory, symbolic_link, other };
  Type type = Type::other;
  std::uint64_t size = 0;
  unsigned int permissions = 0;  // the permission bits (07777)
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t modified_ns = 0;  // modification time in nanoseconds since the epoch
};

// An open file. Reads and writes name their offset; the file keeps no
// position of its own. The destructor closes the file and ignores errors:
// call close() to have them reported.
class VORN_API File {
 public:
  virtual ~File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const std::string& path() const noexcept { return path_; }

  // Reads up to `size` bytes at `offset`; returns how many were read, fewer
  // only at the end of the file.
  virtual std::size_t read_at(std::uint64_t offset, void* data, std::size_t size) = 0;
  // Writes all `size` bytes at `offset`, or throws.
  virtual void write_at(std::uint64_t offset, const void* data, std::size_t size) = 0;
  // The current size of the file.
  virtual std::uint64_t size() = 0;
  // The status of the open file (fstat(2)), whatever its name now is. The
  // default, for files that have nothing more to tell, is a regular file of
  // size() bytes without identity (device and inode 0); the library then
  // asks FileSystem::stat by name instead.
  virtual FileStatus status() {
    FileStatus status;
    status.type = FileStatus::Type::regular;
    status.size = size();
    return status;
  }
  // Cuts or extends the file to `size` bytes.
  virtual void truncate(std::uint64_t size) = 0;
  // Makes every byte written so far durable (fsync).
  virtual void sync() = 0;
  // Closes the file; later calls throw. Closing twice does nothing.
  virtual void close() = 0;

 protected:
  explicit File(std::string path) : path_(std::move(path)) {}

 private:
  std::string path_;
};

// An exclusive advisory lock, held until the object is destroyed or
// unlock() lets it go. The lock file stays open in between, so that a writer
// making many small changes takes the lock again with relock() instead of
// opening the file each time.
//
//   std::unique_ptr<FileLock> lock = FileSystem::current().lock(path);
//   ... change the files the lock guards ...
//   lock->unlock();
//   ...
//   lock->relock();  // throws FileError when the lock cannot be taken
class VORN_API FileLock {
 public:
  virtual ~FileLock() = default;
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  // Lets the lock go; the file stays open. Does nothing when not held.
  virtual void unlock() noexcept = 0;
  // Takes the lock again after unlock(), waiting while another process or
  // object holds it. Does nothing when held. In a child process forked after
  // the lock file was opened, opens the file again and takes the lock there
  // (held or not in the parent): a lock shared with the parent would exclude
  // neither of them. A forked child calls relock() before any unlock().
  virtual void relock() = 0;

 protected:
  FileLock() = default;
};

class VORN_API FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The file system every part of the library uses.
  static FileSystem& current() noexcept;
  // The POSIX file system, the default current().
  static FileSystem& posix() noexcept;

  // Makes `file_system` current() for the lifetime of the object, then
  // restores the previous one.
  class Scoped {
   public:
    explicit Scoped(FileSystem& file_system) noexcept;
    ~Scoped();
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;

   private:
    FileSystem* previous_;
  };

  virtual std::unique_ptr<File> open(const std::string& path, const OpenOptions& options) = 0;
  // Replaces `to` by `from` atomically (rename(2)).
  virtual void rename(const std::string& from, const std::string& to) = 0;
  // Removes the file `path`; ENOENT is an error too.
  virtual void remove(const std::string& path) = 0;
  // Sets the permission bits (07777) of `path`, whatever the umask (chmod(2)).
  virtual void set_permissions(const std::string& path, unsigned int permissions) = 0;
  // Makes the creations, renames and removals in `directory` durable.
  virtual void sync_directory(const std::string& directory) = 0;
  // The status of `path`, or nothing when it does not exist.
  virtual std::optional<FileStatus> stat(const std::string& path) = 0;
  // The names in `directory`, without "." and "..", in no particular order.
  virtual std::vector<std::string> list(const std::string& directory) = 0;
  // Takes an exclusive advisory lock on the file `path` (created when
  // missing), waiting while another process or object holds it.
  virtual std::unique_ptr<FileLock> lock(const std::string& path) = 0;
  // Makes everything written to the file system that holds `path` durable
  // at once, the content of every file and every name in every directory
  // (syncfs(2)): one call instead of one sync per file, for many files.
  // Reports a write-back error of any file there since the last call.
  virtual void sync_file_system(const std::string& path) = 0;

 protected:
  FileSystem() = default;
  FileSystem(const FileSystem&) = default;
  FileSystem& operator=(const FileSystem&) = default;
};

}  // namespace vorn

#endif  // VORN_IO_FILESYSTEM_H_
