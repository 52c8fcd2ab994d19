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
  // else that cannot be read as a regular file (a directory, a FIFO, an
  // unreadable file) throws database_error "ArchiveDatabase::read_index_file:
  // cannot read index file <path>: <reason>".
  std::vector<DatabaseEntryIdentifier> load();

  // Replaces the file by the lines of `ids`, through a temporary file, or in
  // place when the directory takes no new files. Returns false, reporting
  // nothing else, when neither file can be opened; a failed write or rename
  // throws database_error.
  bool rewrite(const std::vector<DatabaseEntryIdentifier>& ids);

  // Brings the file in step with `ids`, whose last element was just added.
  void append_last(const std::vector<DatabaseEntryIdentifier>& ids);

  // Deletes the index file (and a temporary one left behind by a crash).
  static void remove_files(const std::string& path);

 private:
  bool unchanged_on_disk() const;
  void forget() noexcept;
  void remember_state();

  std::string path_;
  std::unique_ptr<File> file_;  // open on the file last written, or null
  bool known_ = false;          // state_ describes the file last written or read
  FileStatus state_;
};

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_INDEXFILE_H_
