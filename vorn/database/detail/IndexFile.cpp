#include "vorn/database/detail/IndexFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vorn/database/database_error.h"
#include "vorn/database/detail/FileIo.h"
#include "vorn/database/detail/ListText.h"

namespace vorn::detail {

std::vector<DatabaseEntryIdentifier> parse_index(const std::string& text, bool& canonical) {
  std::vector<DatabaseEntryIdentifier> ids;
  canonical = true;
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const char* p = begin;
  while (p != end) {
    const char* q = p;
    while (q != end && *q != '\n' && *q != '\r') ++q;
    if (q == end) {  // no line end: the reader stops at end of file
      canonical = false;
      break;
    }
    const char* next = q + 1;
    if (*q == '\r') {
      canonical = false;
      if (next == end) break;  // a final "\r" ends the input, not the line
      if (*next == '\n') ++next;
    }
    ids.emplace_back(std::string(p, q));
    if (ids.back().text().size() != static_cast<std::size_t>(q - p)) canonical = false;
    p = next;
  }
  return ids;
}

IndexFile::~IndexFile() { forget(); }

void IndexFile::forget() noexcept {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  known_ = false;
}

std::vector<DatabaseEntryIdentifier> IndexFile::load() {
  forget();
  std::string text;
  struct stat after {};
  if (!read_whole_file(path_, text, &after)) return {};
  bool canonical = false;
  std::vector<DatabaseEntryIdentifier> ids = parse_index(text, canonical);
  if (canonical && static_cast<std::size_t>(after.st_size) == text.size()) {
    state_ = after;
    known_ = true;
  }
  return ids;
}

bool IndexFile::unchanged_on_disk() const {
  struct stat now {};
  if (::stat(path_.c_str(), &now) != 0) return false;
  return now.st_dev == state_.st_dev && now.st_ino == state_.st_ino && now.st_size == state_.st_size &&
         now.st_mtim.tv_sec == state_.st_mtim.tv_sec && now.st_mtim.tv_nsec == state_.st_mtim.tv_nsec;
}

bool IndexFile::rewrite(const std::vector<DatabaseEntryIdentifier>& ids) {
  forget();
  const std::string text = identifier_lines(ids);
  const std::string temporary = path_ + ".tmp";
  int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) {
    // The directory takes no new files; an existing, writable index is still
    // rewritten, in place.
    fd = ::open(path_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0) return false;  // like an index that cannot be opened: not reported
    if (!write_all(fd, text.data(), text.size(), 0)) {
      const int error = errno;
      ::close(fd);
      throw database_error("ArchiveDatabase::write_index_file: cannot write " + path_ + ": " + std::strerror(error));
    }
  } else if (!write_all(fd, text.data(), text.size(), 0) || ::rename(temporary.c_str(), path_.c_str()) != 0) {
    const int error = errno;
    ::close(fd);
    ::unlink(temporary.c_str());
    throw database_error("ArchiveDatabase::write_index_file: cannot write " + path_ + ": " + std::strerror(error));
  }
  fd_ = fd;
  known_ = ::fstat(fd_, &state_) == 0;
  return true;
}

void IndexFile::append_last(const std::vector<DatabaseEntryIdentifier>& ids) {
  if (!known_ || ids.empty() || !unchanged_on_disk()) {
    rewrite(ids);
    return;
  }
  if (fd_ < 0) {
    fd_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    struct stat opened {};
    if (fd_ < 0 || ::fstat(fd_, &opened) != 0 || opened.st_ino != state_.st_ino || opened.st_dev != state_.st_dev) {
      rewrite(ids);
      return;
    }
  }
  const std::string line = ids.back().text() + '\n';
  if (!write_all(fd_, line.data(), line.size(), static_cast<std::uint64_t>(state_.st_size))) {
    const int error = errno;
    forget();
    throw database_error("ArchiveDatabase::write_index_file: cannot append to " + path_ + ": " +
                         std::strerror(error));
  }
  known_ = ::fstat(fd_, &state_) == 0;
}

void IndexFile::remove_files(const std::string& path) {
  std::remove(path.c_str());
  std::remove((path + ".tmp").c_str());
}

}  // namespace vorn::detail
