// Internal: do not include this file directly.
//
// The index file of an archive database, on FileSystem::current(): one
// identifier per line, each followed by "\n". Every full rewrite goes to a
// temporary file in the same directory that is then renamed over the index,
// so a crash leaves either the old or the new index. When the file on disk is still exactly what this
// object last wrote or read (same inode, size and modification time, and in
// the canonical form), an appended identifier is written as one more line
// instead of rewriting the file.
#ifndef VORN_DATABASE_DETAIL_INDEXFILE_H_
#define VORN_DATABASE_DETAIL_INDEXFILE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/io/FileSystem.h"

namespace vorn::detail {

// Splits `text` into the identifiers an index reader takes from it: lines end
// with "\n", "\r" or "\r\n"; a last line without a line end (or ending in a
// "\r" that is the last byte) is dropped; each line becomes a
// DatabaseEntryIdentifier (trimmed, over-long lines throw). Sets `canonical`
// when writing the result back would reproduce `text` exactly.
std::vector<DatabaseEntryIdentifier> parse_index(const std::string& text, bool& canonical);

class IndexFile {
 public:
  explicit IndexFile(std::string path) : path_(std::move(path)) {}
  ~IndexFile();
  IndexFile(const IndexFile&) = delete;
  IndexFile& operator=(const IndexFile&) = delete;

  const std::string& path() const noexcept { return path_; }

  // The identifiers of the file; none when it does not exist. Anything
  // else that cannot be read as a regular file (a directory, a FIFO) throws
  // database_error "ArchiveDatabase::read_index_file: cannot read index file
  // <path>: <reason>". An index that cannot be opened (no permission) is an
  // empty database, unless `strict`: a writer must not replace an index it
  // could not read, so then that throws too, as "ArchiveDatabase::<operation>:
  // cannot read index file <path>: <reason>".
  std::vector<DatabaseEntryIdentifier> load(bool strict = false, const char* operation = "read_index_file");

  // True when the file is not the one last loaded or written by this object
  // (another identity, size or modification time, or it appeared or vanished).
  bool changed_on_disk() const;

  // Replaces the file by the lines of `ids` atomically (a synced temporary
  // file renamed over it, the directory synced). A failure throws
  // database_error "ArchiveDatabase::<operation>: cannot write <path>: <reason>"
  // and leaves the old file.
  void rewrite(const std::vector<DatabaseEntryIdentifier>& ids, const char* operation = "write_index_file");

  // Brings the file in step with `ids`, whose last element was just added:
  // one line written at the end of the file while it is what this object last
  // saw, else a rewrite. The caller has found changed_on_disk() false under
  // the lock it still holds, so the file is not looked at again. `sync`
  // makes the appended line durable. Failures throw as rewrite() does, with
  // the file cut back to its old length.
  void append_last(const std::vector<DatabaseEntryIdentifier>& ids, const char* operation, bool sync);

  // Deletes the index file (and a temporary one left behind by a crash).
  static void remove_files(const std::string& path);

 private:
  void forget() noexcept;
  void remember_state();

  std::string path_;
  std::unique_ptr<File> file_;  // open on the file last written, or null
  bool known_ = false;          // state_ describes the file last written or read, in canonical form
  bool seen_exists_ = false;    // the file existed when last loaded or written
  FileStatus seen_;             // its state then
  FileStatus state_;            // the state append_last continues from (when known_)
};

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_INDEXFILE_H_
