// Input that claims more than it holds, and structures deeper or longer than
// the streams and handles can take recursively.
#include <chrono>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn {
namespace {

using test::Bytes;

// A class that writes an empty block: its items take no bytes in an archive.
struct Empty {
  void write(const char* tag, PersistentWriteStream& s) const { PersistentWriteStream::Block block(s, tag, "Empty"); }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Empty", presence);
  }
};

template <class T>
std::string read_error(const Bytes& bytes) {
  MemoryDevice memory(bytes.data(), bytes.size());
  Archive archive(memory, Archive::READ);
  ArchiveReadStream stream(archive);
  T value;
  try {
    stream.read("v", value);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "";
}

TEST(BoundedReading, CountsOfEmptyItemsAreCappedBeyondTheBytesLeft) {
  struct Row {
    const char* name;
    std::function<std::string()> read;
    const char* error;
  };
  const Bytes all_ones{0xFF, 0xFF, 0xFF, 0xFF};
  const Bytes at_cap{0x00, 0x10, 0x00, 0x00};
  const Bytes above_cap{0x00, 0x10, 0x00, 0x01};
  const Bytes big_list{0x10, 0x00, 0x00, 0x00};
  const Row rows[] = {
      {"vector<Empty> FF FF FF FF", [&] { return read_error<std::vector<Empty>>(all_ones); },
       "ArchiveReadStream::read: container count 4294967295 exceeds the 1048576 items of unknown size allowed "
       "beyond the 0 bytes left in the file reading 'v'"},
      {"list<Empty> 0x10000000", [&] { return read_error<std::list<Empty>>(big_list); },
       "ArchiveReadStream::read: container count 268435456 exceeds the 1048576 items of unknown size allowed "
       "beyond the 0 bytes left in the file reading 'v'"},
      {"vector<Empty> at the cap", [&] { return read_error<std::vector<Empty>>(at_cap); }, ""},
      {"vector<Empty> one above the cap", [&] { return read_error<std::vector<Empty>>(above_cap); },
       "ArchiveReadStream::read: container count 1048577 exceeds the 1048576 items of unknown size allowed "
       "beyond the 0 bytes left in the file reading 'v'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(row.read(), row.error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  }
}

// The writer refuses the count the reader would refuse, and nothing less.
TEST(BoundedReading, WritersRefuseCountsOfEmptyItemsThatReadersRefuse) {
  const std::size_t cap = ArchiveReadStream::maximum_unsized_items;
  const auto write = [](std::size_t count) {
    MemoryDevice memory;
    Archive archive(memory, Archive::WRITE);
    ArchiveWriteStream(archive).write("v", std::vector<Empty>(count));
    archive.close();
    return memory.take();
  };
  const std::string at_cap = write(cap);
  MemoryDevice memory(at_cap.data(), at_cap.size());
  Archive archive(memory, Archive::READ);
  std::vector<Empty> back;
  ArchiveReadStream(archive).read("v", back);
  EXPECT_EQ(back.size(), cap);
  try {
    write(cap + 1);
    ADD_FAILURE() << "one item above the cap was written";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(),
                 "ArchiveWriteStream::write: container 'v' has 1048577 items in 0 bytes, more than a reader "
                 "accepts (the bytes plus 1048576)");
  }
}

struct Link {
  THandle<Link> next;
};

// Would overflow the stack if each link deleted the next in its destructor.
TEST(BoundedReading, AMillionLinkChainIsReleasedWithoutRecursion) {
  THandle<Link> chain;
  for (int i = 0; i < 1000000; ++i) {
    THandle<Link> link(new Link);
    link->next = std::move(chain);
    chain = std::move(link);
  }
  chain = THandle<Link>();
  EXPECT_EQ(chain, nullptr);
}

}  // namespace
}  // namespace vorn
