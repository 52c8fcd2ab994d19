// Test helpers for applications' persistent classes: the bytes a value
// stores in an archive, and the value written to an archive and read back.
// Header-only; no dependency on any test framework.
//
//   Point p{1, 2};
//   Point q = vorn::archive_round_trip(p);    // expect q == p
//   std::vector<unsigned char> bytes = vorn::archive_bytes(p);
//   // bytes == {0,0,0,1, 0,0,0,2}
//
// archive_round_trip goes through a temporary file (removed again) with an
// ArchiveWriteStream and an ArchiveReadStream, in the given floating-point
// format, and throws std::runtime_error "archive_round_trip: ..." when the
// read does not consume exactly the bytes written: a read() that does not
// mirror its write(). Stream and archive exceptions pass through.
#ifndef VORN_TESTING_ARCHIVEROUNDTRIP_H_
#define VORN_TESTING_ARCHIVEROUNDTRIP_H_

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <stdlib.h>
#include <unistd.h>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn {

namespace detail {

// A fresh file name in the temporary directory; the file is removed when the
// object goes.
class VORN_API RoundTripScratchFile {
 public:
  RoundTripScratchFile() {
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/vorn_round_trip_XXXXXX";
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0) throw std::runtime_error("archive_round_trip: cannot create a file in the temporary directory");
    ::close(fd);
    name_ = pattern;
  }
  ~RoundTripScratchFile() { std::remove(name_.c_str()); }
  RoundTripScratchFile(const RoundTripScratchFile&) = delete;
  RoundTripScratchFile& operator=(const RoundTripScratchFile&) = delete;

  const std::string& name() const noexcept { return name_; }

 private:
  std::string name_;
};

template <class T>
void write_round_trip_archive(const std::string& file_name, const T& value, unsigned int format) {
  Archive archive(file_name, Archive::WRITE | format);
  ArchiveWriteStream stream(archive);
  stream.write("", value);
}

}  // namespace detail

// The bytes that `value` stores through an ArchiveWriteStream.
template <class T>
std::vector<unsigned char> archive_bytes(const T& value, unsigned int format = Archive::NATIVE_FORMAT) {
  detail::RoundTripScratchFile file;
  detail::write_round_trip_archive(file.name(), value, format);
  std::ifstream in(file.name(), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// `value` written to an archive and read back into a default-constructed T.
template <class T>
T archive_round_trip(const T& value, unsigned int format = Archive::NATIVE_FORMAT) {
  detail::RoundTripScratchFile file;
  detail::write_round_trip_archive(file.name(), value, format);
  Archive archive(file.name(), Archive::READ | format);
  ArchiveReadStream stream(archive);
  T result{};
  stream.read("", result);
  if (!archive.at_end()) {
    throw std::runtime_error("archive_round_trip: " + std::to_string(archive.bytes_remaining()) +
                             " bytes written but not read back");
  }
  return result;
}

}  // namespace vorn

#endif  // VORN_TESTING_ARCHIVEROUNDTRIP_H_
