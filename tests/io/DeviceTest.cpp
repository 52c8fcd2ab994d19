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

namespace vorn {
namespace {

using ::testing::ThrowsMessage;

using test::ScratchDirectory;

// What a FakeFile holds, kept by the test so that it outlives the file.
struct FakeDisk {
  std::string bytes;
  std::string synced;
  int write_error = 0;
  int sync_error = 0;
};

// A File over a FakeDisk whose writes and syncs can be made to fail.
class FakeFile : public File {
 public:
  explicit FakeFile(FakeDisk& disk) : File("fake"), disk_(disk) {}
  std::size_t read_at(std::uint64_t offset, void* data, std::size_t size) override {
    const std::size_t n = offset < disk_.bytes.size() ? std::min<std::size_t>(size, disk_.bytes.size() - offset) : 0;
    disk_.bytes.copy(static_cast<char*>(data), n, offset);
    return n;
  }
  void write_at(std::uint64_t offset, const void* data, std::size_t size) override {
    if (disk_.write_error != 0) throw FileError(disk_.write_error, "File::write_at", path());
    if (disk_.bytes.size() < offset + size) disk_.bytes.resize(offset + size);
    disk_.bytes.replace(offset, size, static_cast<const char*>(data), size);
  }
  std::uint64_t size() override { return disk_.bytes.size(); }
  FileStatus status() override {
    FileStatus status;
    status.type = FileStatus::Type::regular;
    status.size = disk_.bytes.size();
    return status;
  }
  void truncate(std::uint64_t size) override { disk_.bytes.resize(size); }
  void sync() override {
    if (disk_.sync_error != 0) throw FileError(disk_.sync_error, "File::sync", path());
    disk_.synced = disk_.bytes;
  }
  void close() override {}

 private:
  FakeDisk& disk_;
};

std::unique_ptr<Device> fake_device(FakeDisk& disk, std::size_t buffer_size = FileDevice::default_buffer_size) {
  return std::make_unique<FileDevice>(std::make_unique<FakeFile>(disk), buffer_size, buffer_size);
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
  FakeDisk disk;
  {
    Archive to_file(name, Archive::WRITE);
    write_sample(to_file);
    Archive to_memory(memory, Archive::WRITE);
    write_sample(to_memory);
    // A small buffer that does not grow puts buffer edges inside short runs too.
    Archive to_fake(fake_device(disk, 100), Archive::WRITE);
    write_sample(to_fake);
  }
  const std::string image = memory.take();
  EXPECT_EQ(dir.read("round_trip"), image);
  EXPECT_EQ(disk.bytes, image);

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
    FakeDisk copy;
    copy.bytes = image;
    Archive in(fake_device(copy, 100), Archive::READ);
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
  FakeDisk full;
  full.write_error = ENOSPC;
  Archive archive(fake_device(full), Archive::WRITE);
  archive << 1;
  EXPECT_FALSE(archive.failed());
  archive.close();
  EXPECT_TRUE(archive.failed());
  EXPECT_EQ(archive.last_error(), ENOSPC);
}

TEST(Devices, SyncFlushesAndMakesDurable) {
  FakeDisk disk;
  Archive archive(fake_device(disk), Archive::WRITE);
  archive << 0x01020304;
  EXPECT_TRUE(disk.synced.empty());
  EXPECT_TRUE(archive.sync());
  EXPECT_EQ(disk.synced, "\x01\x02\x03\x04");

  disk.sync_error = EIO;
  EXPECT_FALSE(archive.sync());
  EXPECT_TRUE(archive.failed());
  EXPECT_EQ(archive.last_error(), EIO);
  archive.close();
  EXPECT_THAT([&] { archive.sync(); }, ThrowsMessage<std::runtime_error>("Archive::sync: the archive is not open"));
}

}  // namespace
}  // namespace vorn
