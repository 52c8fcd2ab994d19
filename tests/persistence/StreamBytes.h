// One value written through an archive stream into memory, and read back
// from bytes, for tests that compare the bytes and the errors; and the
// golden files under tests/data that pin bytes and text.
#ifndef VORN_TESTS_PERSISTENCE_STREAMBYTES_H_
#define VORN_TESTS_PERSISTENCE_STREAMBYTES_H_

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn::test {

// What `action` throws ("" for nothing), with the kind of the errors that
// callers tell apart by type.
template <class Action>
std::string error_and_kind_of(Action action) {
  try {
    action();
  } catch (const PersistentReadStream::OptionalItemNotPresent& e) {
    return std::string("optional: ") + e.what();
  } catch (const PersistentReadStream::ItemNotPresent& e) {
    return std::string("required: ") + e.what();
  } catch (const PersistentReadStream::UnknownTypeTag& e) {
    return std::string("unknown type: ") + e.what();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}

// The bytes `value` makes under the tag "v" through a `Writer`.
template <class Writer = ArchiveWriteStream, class T>
std::string stream_bytes(const T& value,
                         std::size_t maximum_block_depth = PersistentWriteStream::default_maximum_block_depth) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE);
    Writer stream(archive);
    stream.set_maximum_block_depth(maximum_block_depth);
    stream.write("v", value);
  }
  return memory.take();
}

// Reads `value` under the tag "v" from `bytes` through a `Reader`: the
// error, or "" when the read succeeds and consumes every byte. A failed
// read must leave no block open.
template <class Reader = ArchiveReadStream, class T>
std::string stream_read(const std::string& bytes, T& value, PersistentReadStreamPresence presence = ITEM_REQUIRED,
                        std::size_t maximum_block_depth = PersistentReadStream::default_maximum_block_depth) {
  MemoryDevice memory(bytes.data(), bytes.size());
  Archive archive(memory, Archive::READ);
  Reader stream(archive);
  stream.set_maximum_block_depth(maximum_block_depth);
  const std::string error = error_and_kind_of([&] { stream.read("v", value, presence); });
  if (stream.block_depth() != 0) return "blocks left open after: " + error;
  return error.empty() && !archive.at_end() ? "bytes left over" : error;
}

// The error of reading a `T` from `bytes`.
template <class T, class Reader = ArchiveReadStream>
std::string stream_read_error(const std::string& bytes) {
  T value{};
  return stream_read<Reader>(bytes, value);
}

// The contents of the golden file `name` under tests/data.
inline std::string golden_contents(const std::string& name) {
  std::ifstream in(std::string(VORN_TEST_DATA_DIR) + "/" + name, std::ios::binary);
  if (!in) throw std::runtime_error("missing golden file " + name);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Compares `actual` with the golden file `name`. With VORN_UPDATE_GOLDEN=1
// the file is first rewritten from `actual` (then check it by hand).
inline void expect_golden(const std::string& actual, const std::string& name) {
  if (std::getenv("VORN_UPDATE_GOLDEN") != nullptr) {
    std::ofstream(std::string(VORN_TEST_DATA_DIR) + "/" + name, std::ios::binary) << actual;
  }
  EXPECT_EQ(actual, golden_contents(name)) << "differs from " << name;
}

}  // namespace vorn::test

#endif  // VORN_TESTS_PERSISTENCE_STREAMBYTES_H_
