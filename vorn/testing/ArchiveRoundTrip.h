// Test helpers for applications' persistent classes: the bytes a value
// stores in an archive, and the value written to an archive and read back.
// Header-only; no dependency on any test framework.
//
//   Point p{1, 2};
//   Point q = vorn::archive_round_trip(p);    // expect q == p
//   std::vector<unsigned char> bytes = vorn::archive_bytes(p);
//   // bytes == {0,0,0,1, 0,0,0,2}
//
// archive_round_trip goes through memory (a MemoryDevice) with an
// ArchiveWriteStream and an ArchiveReadStream, in the given floating-point
// format, and throws std::runtime_error "archive_round_trip: ..." when the
// read does not consume exactly the bytes written: a read() that does not
// mirror its write(). Stream and archive exceptions pass through.
#ifndef VORN_TESTING_ARCHIVEROUNDTRIP_H_
#define VORN_TESTING_ARCHIVEROUNDTRIP_H_

#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn {

namespace detail {

template <class T>
std::string round_trip_image(const T& value, unsigned int format) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE | format);
    ArchiveWriteStream stream(archive);
    stream.write("", value);
  }
  return memory.take();
}

}  // namespace detail

// The bytes that `value` stores through an ArchiveWriteStream.
template <class T>
std::vector<unsigned char> archive_bytes(const T& value, unsigned int format = Archive::NATIVE_FORMAT) {
  const std::string image = detail::round_trip_image(value, format);
  return {image.begin(), image.end()};
}

// `value` written to an archive and read back into a default-constructed T.
template <class T>
T archive_round_trip(const T& value, unsigned int format = Archive::NATIVE_FORMAT) {
  const std::string image = detail::round_trip_image(value, format);
  MemoryDevice memory(image.data(), image.size());
  Archive archive(memory, Archive::READ | format);
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
