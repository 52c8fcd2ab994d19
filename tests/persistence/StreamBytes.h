// One value written through an archive stream into memory, and read back
// from bytes, for tests that compare the bytes and the errors.
#ifndef VORN_TESTS_PERSISTENCE_STREAMBYTES_H_
#define VORN_TESTS_PERSISTENCE_STREAMBYTES_H_

#include <exception>
#include <string>

#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn::test {

// The bytes `value` makes under the tag "v" through a `Writer`.
template <class Writer = ArchiveWriteStream, class T>
std::string stream_bytes(const T& value) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE);
    Writer stream(archive);
    stream.write("v", value);
  }
  return memory.take();
}

// Reads `value` under the tag "v" from `bytes` through a `Reader`: the
// error, or "" when the read succeeds and consumes every byte.
template <class Reader = ArchiveReadStream, class T>
std::string stream_read(const std::string& bytes, T& value) {
  MemoryDevice memory(bytes.data(), bytes.size());
  Archive archive(memory, Archive::READ);
  Reader stream(archive);
  try {
    stream.read("v", value);
  } catch (const std::exception& e) {
    return e.what();
  }
  return archive.at_end() ? "" : "bytes left over";
}

// The error of reading a `T` from `bytes`.
template <class T, class Reader = ArchiveReadStream>
std::string stream_read_error(const std::string& bytes) {
  T value{};
  return stream_read<Reader>(bytes, value);
}

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_STREAMBYTES_H_
