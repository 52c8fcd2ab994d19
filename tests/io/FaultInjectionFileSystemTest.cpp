#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "IoTestSupport.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"
#include "vorn/testing/FaultInjectionFileSystem.h"

namespace vorn {
namespace {

using test::error_of;
using test::ScratchDirectory;
using Files = std::map<std::string, std::string>;  // name -> content

using test::open_options;

void write_file(FileSystem& fs, const std::string& path, const std::string& bytes, bool sync) {
  std::unique_ptr<File> file = fs.open(path, open_options("rwc"));
  file->write_at(0, bytes.data(), bytes.size());
  if (sync) file->sync();
  file->close();
}

// Every file of the directory with its content.
Files files_in(const ScratchDirectory& dir) {
  Files files;
  for (const std::string& name : dir.names()) files[name] = *dir.read(name);
  return files;
}

TEST(FaultInjectionFileSystem, CountsAndFailsTheKthOperation) {
  ScratchDirectory dir;
  const std::string a = dir.file("a");
  const auto scenario = [&](FileSystem& fs) {
    write_file(fs, a, "abc", true);             // open, write_at, sync, close
    fs.rename(a, dir.file("b"));                // rename
    fs.sync_directory(dir.path());              // sync_directory
  };
  {
    FaultInjectionFileSystem counter;
    scenario(counter);
    EXPECT_EQ(counter.operation_count(), 6u);
    EXPECT_EQ(counter.operation_log().at(1), "File::write_at " + a);
    EXPECT_EQ(counter.injected_failures(), 0u);
  }
  const struct { const char* name; FaultInjectionFileSystem::Repeat repeat; std::uint64_t injected; } cases[] = {
      {"once", FaultInjectionFileSystem::Repeat::once, 1},
      {"always", FaultInjectionFileSystem::Repeat::always, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDirectory fresh;
    FaultInjectionFileSystem fs;
    fs.fail_operation(2, ENOSPC, c.repeat);
    std::unique_ptr<File> file = fs.open(fresh.file("f"), open_options("rwc"));
    EXPECT_EQ(error_of([&] { file->write_at(0, "x", 1); }), ENOSPC);
    EXPECT_EQ(fresh.read("f"), "");  // the failed write had no effect
    error_of([&] { file->size(); });
    EXPECT_EQ(fs.injected_failures(), c.injected);  // the size() after it fails too, or not
  }
}

TEST(FaultInjectionFileSystem, CrashRefusesLaterOperationsUntilThePowerLoss) {
  ScratchDirectory dir;
  FaultInjectionFileSystem fs;
  fs.crash_after(1);
  std::unique_ptr<File> file = fs.open(dir.file("f"), open_options("rwc"));
  EXPECT_FALSE(fs.crashed());
  EXPECT_EQ(error_of([&] { file->write_at(0, "x", 1); }), EIO);
  EXPECT_TRUE(fs.crashed());
  fs.drop_unsynced();
  EXPECT_FALSE(fs.crashed());  // the file system works again
  EXPECT_EQ(error_of([&] { file->write_at(0, "x", 1); }), EIO);  // but files open at the power loss are gone
  EXPECT_FALSE(dir.read("f").has_value());
}

TEST(FaultInjectionFileSystem, PowerLossKeepsOnlyWhatWasSynced) {
  struct Case {
    const char* name;
    Files before;
    std::function<void(FileSystem&, const ScratchDirectory&)> run;
    Files after;
  };
  const Case cases[] = {
      {"unsynced write lost", {{"f", "old"}},
       [](FileSystem& fs, const ScratchDirectory& d) { write_file(fs, d.file("f"), "NEW", false); },
       {{"f", "old"}}},
      {"synced write kept", {{"f", "old"}},
       [](FileSystem& fs, const ScratchDirectory& d) { write_file(fs, d.file("f"), "NEW", true); },
       {{"f", "NEW"}}},
      {"write after the sync lost", {},
       [](FileSystem& fs, const ScratchDirectory& d) {
         std::unique_ptr<File> file = fs.open(d.file("f"), open_options("rwc"));
         file->write_at(0, "ab", 2);
         file->sync();
         fs.sync_directory(d.path());
         file->write_at(2, "cd", 2);
         file->truncate(1);
       },
       {{"f", "ab"}}},
      {"create without directory sync lost", {},
       [](FileSystem& fs, const ScratchDirectory& d) { write_file(fs, d.file("f"), "x", true); }, {}},
      {"created name synced, content not", {},
       [](FileSystem& fs, const ScratchDirectory& d) {
         write_file(fs, d.file("f"), "x", false);
         fs.sync_directory(d.path());
       },
       {{"f", ""}}},
      {"rename without directory sync reverted", {{"a", "A"}, {"b", "B"}},
       [](FileSystem& fs, const ScratchDirectory& d) { fs.rename(d.file("a"), d.file("b")); },
       {{"a", "A"}, {"b", "B"}}},
      {"rename with directory sync kept", {{"a", "A"}, {"b", "B"}},
       [](FileSystem& fs, const ScratchDirectory& d) {
         fs.rename(d.file("a"), d.file("b"));
         fs.sync_directory(d.path());
       },
       {{"b", "A"}}},
      {"remove without directory sync undone", {{"f", "keep"}},
       [](FileSystem& fs, const ScratchDirectory& d) { fs.remove(d.file("f")); }, {{"f", "keep"}}},
      {"remove with directory sync done", {{"f", "keep"}},
       [](FileSystem& fs, const ScratchDirectory& d) {
         fs.remove(d.file("f"));
         fs.sync_directory(d.path());
       },
       {}},
      {"truncating open undone", {{"f", "full"}},
       [](FileSystem& fs, const ScratchDirectory& d) {
         fs.open(d.file("f"), open_options("rwct"))->close();
       },
       {{"f", "full"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDirectory dir;
    for (const auto& [name, content] : c.before) dir.write(name, content);
    FaultInjectionFileSystem fs;
    c.run(fs, dir);
    fs.drop_unsynced();
    EXPECT_EQ(files_in(dir), c.after);
  }
}

// replace_file_atomically under every fault: the target holds its old bytes
// until the rename and the new ones after it, and no temporary is left.
TEST(FaultInjectionFileSystem, ReplaceFileAtomicallyUnderEveryFault) {
  const std::string old_bytes = "old content\n";
  const std::string new_bytes = "brand new content\n";
  std::uint64_t total = 0;
  std::uint64_t rename_at = 0;
  {
    ScratchDirectory dir;
    dir.write("t", old_bytes);
    FaultInjectionFileSystem counter;
    FileSystem::Scoped use(counter);
    replace_file_atomically(dir.file("t"), new_bytes);
    total = counter.operation_count();
    for (std::uint64_t k = 1; k <= total; ++k) {
      if (counter.operation_log()[k - 1].rfind("FileSystem::rename", 0) == 0) rename_at = k;
    }
  }
  ASSERT_GT(rename_at, 0u);
  for (std::uint64_t k = 1; k <= total; ++k) {
    for (const int error : {EIO, ENOSPC}) {
      SCOPED_TRACE("fail operation " + std::to_string(k) + " errno " + std::to_string(error));
      ScratchDirectory dir;
      dir.write("t", old_bytes);
      FaultInjectionFileSystem fs;
      fs.fail_operation(k, error);
      FileSystem::Scoped use(fs);
      EXPECT_EQ(error_of([&] { replace_file_atomically(dir.file("t"), new_bytes); }), error);
      EXPECT_EQ(files_in(dir), (Files{{"t", k <= rename_at ? old_bytes : new_bytes}}));
    }
    SCOPED_TRACE("power cut after operation " + std::to_string(k));
    ScratchDirectory dir;
    dir.write("t", old_bytes);
    FaultInjectionFileSystem fs;
    fs.crash_after(k);
    {
      FileSystem::Scoped use(fs);
      error_of([&] { replace_file_atomically(dir.file("t"), new_bytes); });
    }
    fs.drop_unsynced();
    EXPECT_EQ(files_in(dir), (Files{{"t", k < total ? old_bytes : new_bytes}}));
  }
}

TEST(FileFunctions, ReadAndReplace) {
  ScratchDirectory dir;
  dir.write("t", "old");
  ::chmod(dir.file("t").c_str(), 0751);
  replace_file_atomically(dir.file("t"), "new");
  EXPECT_EQ(read_file(dir.file("t")), "new");
  EXPECT_EQ(FileSystem::posix().stat(dir.file("t"))->permissions, 0751u);
  EXPECT_EQ(dir.names(), std::vector<std::string>{"t"});
  const std::string big(200000, 'z');  // more than one read
  replace_file_atomically(dir.file("big"), big);
  EXPECT_EQ(read_file(dir.file("big")), big);
  EXPECT_EQ(error_of([&] { read_file(dir.file("missing")); }), ENOENT);
  const struct { const char* path; const char* parent; } parents[] = {
      {"/a/b", "/a"}, {"/a", "/"}, {"a", "."}, {"a//b", "a"}, {"/a/b/", "/a/b"},
  };
  for (const auto& c : parents) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(parent_directory(c.path), c.parent);
  }
}

}  // namespace
}  // namespace vorn
