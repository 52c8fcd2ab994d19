// Input that claims more than it holds, and structures longer than the
// handles can release recursively.
#include <chrono>
#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/StreamBytes.h"

namespace vorn {
namespace {

using test::stream_bytes;
using test::stream_read;
using test::stream_read_error;

// A class that writes an empty block: its items take no bytes in an archive.
struct Empty {
  void write(const char* tag, PersistentWriteStream& s) const { PersistentWriteStream::Block block(s, tag, "Empty"); }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Empty", presence);
  }
};

TEST(BoundedReading, CountsOfEmptyItemsAreCappedBeyondTheBytesLeft) {
  struct Row {
    const char* name;
    std::function<std::string()> read;
    const char* error;
  };
  const Row rows[] = {
      {"vector<Empty> FF FF FF FF", [] { return stream_read_error<std::vector<Empty>>("\xFF\xFF\xFF\xFF"); },
       "ArchiveReadStream::read: container count 4294967295 exceeds the 1048576 items of unknown size allowed "
       "beyond the 0 bytes left in the file reading 'v'"},
      {"list<Empty> 0x10000000",
       [] { return stream_read_error<std::list<Empty>>(std::string("\x10\0\0\0", 4)); },
       "ArchiveReadStream::read: container count 268435456 exceeds the 1048576 items of unknown size allowed "
       "beyond the 0 bytes left in the file reading 'v'"},
      {"vector<Empty> at the cap",
       [] { return stream_read_error<std::vector<Empty>>(std::string("\0\x10\0\0", 4)); }, ""},
      {"vector<Empty> one above the cap",
       [] { return stream_read_error<std::vector<Empty>>(std::string("\0\x10\0\x01", 4)); },
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
  std::vector<Empty> back;
  EXPECT_EQ(stream_read(stream_bytes(std::vector<Empty>(cap)), back), "");
  EXPECT_EQ(back.size(), cap);
  try {
    stream_bytes(std::vector<Empty>(cap + 1));
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
