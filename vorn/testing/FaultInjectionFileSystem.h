// FaultInjectionFileSystem: a FileSystem for tests that counts operations,
// fails a chosen one, and simulates a power cut.
//
// It wraps another FileSystem (the POSIX one by default) and passes every
// call through, numbering each call on itself and on the Files it opened
// from 1 upwards: FileSystem::open, rename, remove, set_permissions,
// sync_directory, sync_file_system, stat, list and lock, and File::read_at,
// write_at, size,
// truncate, sync and close. A test runs its scenario once to count the
// operations, then once for every k, either failing operation k or stopping
// after it and cutting the power, and checks what is left:
//
//   std::uint64_t total = 0;
//   {
//     vorn::FaultInjectionFileSystem counter;
//     vorn::FileSystem::Scoped use(counter);
//     scenario();
//     total = counter.operation_count();
//   }
//   for (std::uint64_t k = 1; k <= total; ++k) {
//     prepare_files();
//     vorn::FaultInjectionFileSystem fs;
//     {
//       vorn::FileSystem::Scoped use(fs);
//       fs.crash_after(k);           // or: fs.fail_operation(k, ENOSPC);
//       try { scenario(); } catch (const vorn::FileError&) {}
//     }
//     fs.drop_unsynced();            // the power cut
//     check_files();                 // only what was durable after operation k
//   }
//
// OpenOptions, OpenOptions::beneath included, reach the wrapped file system
// unchanged, so a link refused there is refused here too.
//
// A failed or refused operation throws FileError with the chosen errno (EIO
// after a crash), the usual "<Class>::<operation>: <path>" message, and has
// no effect on the files; a failed File::close still releases the file.
//
// The power-loss model, exact and deliberately simple:
// - Content. A file's bytes are durable as they stood at its last
//   File::sync (through any File open on it). Writes and truncations after
//   that, including the emptying by OpenOptions::truncate, are lost.
//   A file created through this object starts with durable content "".
// - Names. Which file a path names is durable as it stood at the last
//   sync_directory of the path's own directory. Creating, renaming over and
//   removing a path without that sync are undone: a created file vanishes,
//   a renamed-over target gets its old file back and the source name
//   reappears only if its creation had been synced, a removed file returns.
//   A rename between two directories needs a sync of each.
// - sync_file_system makes the content and the name of every tracked path
//   durable, as a sync of every file and directory would (all tracked paths
//   count as one file system).
// - Baseline. A path is tracked from the first open for writing, creation,
//   rename or removal that touches it; what it held then counts as durable.
//   Reads, stat, list and lock track nothing.
// - Outside the model: directories themselves (never created or removed
//   here), permission bits (durable at once), lock files, and changes made
//   to tracked paths behind this object's back.
// drop_unsynced() rewrites, removes or recreates the real files so that the
// tree holds exactly that durable state, then lets the file system work again
// (the "reboot"): faults are cleared, the count goes on, and Files opened
// before the drop refuse every operation with EIO.
//
// Paths are compared after making them absolute and lexically normal; a
// symbolic link is not resolved. Not thread-safe, like FileSystem.
#ifndef VORN_TESTING_FAULTINJECTIONFILESYSTEM_H_
#define VORN_TESTING_FAULTINJECTIONFILESYSTEM_H_

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vorn/foundation/Export.h"
#include "vorn/io/FileSystem.h"

namespace vorn {

class VORN_API FaultInjectionFileSystem final : public FileSystem {
 public:
  // Whether fail_operation fails only operation k or every one from k on.
  enum class Repeat { once, always };

  // Wraps FileSystem::posix().
  FaultInjectionFileSystem();
  // Wraps `base`, which must outlive this object and the Files it opens.
  explicit FaultInjectionFileSystem(FileSystem& base);
  ~FaultInjectionFileSystem() override;
  FaultInjectionFileSystem(const FaultInjectionFileSystem&) = delete;
  FaultInjectionFileSystem& operator=(const FaultInjectionFileSystem&) = delete;

  // How many operations were made so far (failed and refused ones included).
  std::uint64_t operation_count() const noexcept;
  // One line per operation, "<Class>::<operation> <path>", in order: entry
  // k-1 is operation k.
  const std::vector<std::string>& operation_log() const noexcept;

  // Makes operation `k` (counted from the construction, from 1) fail with
  // `error`; with Repeat::always every later one fails too.
  void fail_operation(std::uint64_t k, int error = EIO, Repeat repeat = Repeat::once);
  // Lets operations up to `k` run and refuses every later one with EIO, as
  // if the process had stopped there. crash_after(operation_count()) stops
  // at once.
  void crash_after(std::uint64_t k);
  // True once an operation was refused after crash_after.
  bool crashed() const noexcept;
  // How many operations were failed or refused.
  std::uint64_t injected_failures() const noexcept;
  // Forgets fail_operation and crash_after.
  void clear_faults() noexcept;

  // Simulates a power cut and a reboot: see the model above. Throws
  // FileError when the real files cannot be rewritten.
  void drop_unsynced();

  std::unique_ptr<File> open(const std::string& path, const OpenOptions& options) override;
  void rename(const std::string& from, const std::string& to) override;
  void remove(const std::string& path) override;
  void set_permissions(const std::string& path, unsigned int permissions) override;
  void sync_directory(const std::string& directory) override;
  void sync_file_system(const std::string& path) override;
  std::optional<FileStatus> stat(const std::string& path) override;
  std::vector<std::string> list(const std::string& directory) override;
  std::unique_ptr<FileLock> lock(const std::string& path) override;

  struct State;  // shared with the Files it opens

 private:
  std::shared_ptr<State> state_;
};

}  // namespace vorn

#endif  // VORN_TESTING_FAULTINJECTIONFILESYSTEM_H_
