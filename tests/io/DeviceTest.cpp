#include "vorn/io/Device.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "IoTestSupport.h"
#include "vorn/io/FileDevice.h"
#include "vorn/io/FileSystem.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/testing/FaultInjectionFileSystem.h"

namespace vorn {
namespace {

using ::testing::ThrowsMessage;

using test::ScratchDirectory;

// A file device with small buffers that do not grow, so that buffer edges
// fall inside short runs too.
std::unique_ptr<Device> small_device(FileSystem& fs, const std::string& path, const std::string& modes) {
  return std::make_unique<FileDevice>(fs.open(path, test::open_options(modes)), 100, 100);
}

// Values of every width, with runs longer than a file device's buffer so
// that values straddle its edges.
void write_sample(Archive& out) {
  std::vector<int> ints(50000);
  std::iota(ints.begin(), ints.end(), -100);
  std::vector<long double> wide(9000, 1.0L / 3);
  out << 'x' << 1.5 << 7L;
  out.write_array(ints.data(), ints.size());
  out.write_array(wide.data(), wide.size());
  const std::string text(70000, 't');
  out.write_bytes(text.data(), text.size());
  out << static_cast<short>(-2);
}

void expect_sample(Archive& in) {
  char c = 0;
  double d = 0;
  long l = 0;
  in >> c >> d >> l;
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(d, 1.5);
  EXPECT_EQ(l, 7L);
  std::vector<int> ints(50000);
  EXPECT_EQ(in.read_array(ints.data(), ints.size()), ints.size());
  EXPECT_EQ(ints.back(), 50000 - 101);
  std::vector<long double> wide(9000);
  EXPECT_EQ(in.read_array(wide.data(), wide.size()), wide.size());
  EXPECT_EQ(wide.back(), 1.0L / 3);
  std::string text;
  EXPECT_EQ(in.read_bytes(text, 70000), 70000u);
  EXPECT_EQ(text, std::string(70000, 't'));
  short s = 0;
  in >> s;
  EXPECT_EQ(s, -2);
  EXPECT_TRUE(in.at_end());
  EXPECT_FALSE(in.failed());
}

TEST(Devices, RoundTripThroughEachDevice) {
  const ScratchDirectory dir;
  const std::string name = dir.file("round_trip");
  MemoryDevice memory;
  {
    Archive to_file(name, Archive::WRITE);
    write_sample(to_file);
    Archive to_memory(memory, Archive::WRITE);
    write_sample(to_memory);
    Archive to_small(small_device(FileSystem::posix(), dir.file("small"), "wc"), Archive::WRITE);
    write_sample(to_small);
  }
  const std::string image = memory.take();
  EXPECT_EQ(dir.read("round_trip"), image);
  EXPECT_EQ(dir.read("small"), image);

  {
    SCOPED_TRACE("file");
    Archive in(name, Archive::READ);
    expect_sample(in);
  }
  {
    SCOPED_TRACE("memory view");
    MemoryDevice view(image.data(), image.size());
    Archive in(view, Archive::READ);
    expect_sample(in);
  }
  {
    SCOPED_TRACE("small buffer");
    Archive in(small_device(FileSystem::posix(), name, "r"), Archive::READ);
    expect_sample(in);
  }
}

// Reading and writing share one position, whichever the device.
TEST(Devices, ReadThenOverwriteAtTheSamePosition) {
  const ScratchDirectory dir;
  const std::string name = dir.file("read_write");
  dir.write("read_write", std::string("\0\0\0\x01\0\0\0\x02\0\0\0\x03", 12));
  MemoryDevice memory(*dir.read("read_write"));
  const std::string want("\0\0\0\x01\0\0\0\x09\0\0\0\x03\0\0\0\x04", 16);
  for (const auto& [label, archive] :
       {std::pair("file", std::make_shared<Archive>(name, Archive::READ | Archive::WRITE)),
        std::pair("memory", std::make_shared<Archive>(memory, Archive::READ | Archive::WRITE))}) {
    SCOPED_TRACE(label);
    int first = 0;
    *archive >> first;
    EXPECT_EQ(first, 1);
    *archive << 9;
    int third = 0;
    *archive >> third;
    EXPECT_EQ(third, 3);
    *archive << 4;
    archive->close();
    EXPECT_FALSE(archive->failed());
  }
  EXPECT_EQ(dir.read("read_write"), want);
  EXPECT_EQ(memory.take(), want);
}

TEST(Devices, MemoryDeviceReusedAfterClear) {
  MemoryDevice memory;
  {
    Archive out(memory, Archive::WRITE);
    out << 1 << 2;
  }
  EXPECT_EQ(memory.view(), std::string("\0\0\0\x01\0\0\0\x02", 8));
  memory.clear();
  {
    Archive out(memory, Archive::WRITE);
    out << 3;
  }
  EXPECT_EQ(memory.take(), std::string("\0\0\0\x03", 4));  // nothing of the longer first contents
  EXPECT_EQ(memory.size(), 0u);
}

TEST(Devices, FailuresAreRecordedNotThrown) {
  const ScratchDirectory dir;
  const std::string missing = dir.file("no_such_directory/file.arc");
  EXPECT_EQ(test::error_of([&] { FileDevice(missing, test::open_options("rwc")); }), ENOENT);
  EXPECT_THAT([&] { Archive(missing, Archive::WRITE); },
              ThrowsMessage<std::invalid_argument>("Archive::open: Couldn't open file: " + missing));

  // Read-only devices refuse a write at once, not at the next flush.
  const std::string name = dir.file("read_only");
  dir.write("read_only", "abcd");
  const unsigned char bytes[] = {1, 2};
  MemoryDevice view(bytes, sizeof bytes);
  const std::function<void(Archive&)> open_file = [&](Archive& a) { a.open(name, Archive::READ); };
  const std::function<void(Archive&)> open_view = [&](Archive& a) { a.open(view, Archive::READ); };
  for (const auto& [label, open] : {std::pair("file", open_file), std::pair("memory view", open_view)}) {
    SCOPED_TRACE(label);
    Archive read_only(view, Archive::READ);
    open(read_only);
    read_only << 5;
    EXPECT_TRUE(read_only.failed());
    EXPECT_EQ(read_only.last_error(), EBADF);
  }
  EXPECT_EQ(dir.read("read_only"), "abcd");

  // A full disk shows only when the buffer is written out: at close.
  FaultInjectionFileSystem full;
  Archive archive(std::make_unique<FileDevice>(full.open(dir.file("full"), test::open_options("wc"))), Archive::WRITE);
  full.fail_operation(full.operation_count() + 1, ENOSPC, FaultInjectionFileSystem::Repeat::always);
  archive << 1;
  EXPECT_FALSE(archive.failed());
  archive.close();
  EXPECT_TRUE(archive.failed());
  EXPECT_EQ(archive.last_error(), ENOSPC);
}

// What sync() wrote out survives a power cut; a failing sync is recorded.
TEST(Devices, SyncFlushesAndMakesDurable) {
  const ScratchDirectory dir;
  dir.write("f", "");
  FaultInjectionFileSystem fs;
  Archive archive(std::make_unique<FileDevice>(fs.open(dir.file("f"), test::open_options("w"))), Archive::WRITE);
  archive << 0x01020304;
  EXPECT_TRUE(archive.sync());
  archive << 5;
  fs.fail_operation(fs.operation_count() + 1, EIO, FaultInjectionFileSystem::Repeat::always);
  EXPECT_FALSE(archive.sync());
  EXPECT_TRUE(archive.failed());
  EXPECT_EQ(archive.last_error(), EIO);
  archive.close();
  EXPECT_THAT([&] { archive.sync(); }, ThrowsMessage<std::runtime_error>("Archive::sync: the archive is not open"));
  fs.drop_unsynced();
  EXPECT_EQ(dir.read("f"), "\x01\x02\x03\x04");
}

}  // namespace
}  // namespace vorn
