#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
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
using test::open_options;
using test::ScratchDirectory;
using Files = std::map<std::string, std::string>;  // name -> content

// Runs a script of words on `fs` in `dir`: "o:f" opens f, creating it ("O:f" truncating it too), "a:<offset>:<text>"
// writes at the offset, "t:<size>" truncates, "s" syncs, "c" closes; "m:a:b" renames a to b, "x:f" removes f and
// "D" syncs the directory and "F" the whole file system.
void run(FileSystem& fs, const ScratchDirectory& dir, const std::string& script) {
  std::unique_ptr<File> file;
  std::istringstream words(script);
  for (std::string w; words >> w;) {
    std::vector<std::string> f;
    std::istringstream fields(w);
    for (std::string field; std::getline(fields, field, ':');) f.push_back(field);
    if (f[0] == "o" || f[0] == "O") file = fs.open(dir.file(f[1]), open_options(f[0] == "o" ? "rwc" : "rwct"));
    if (f[0] == "a") file->write_at(std::stoul(f[1]), f[2].data(), f[2].size());
    if (f[0] == "t") file->truncate(std::stoul(f[1]));
    if (f[0] == "s") file->sync();
    if (f[0] == "c") file->close();
    if (f[0] == "m") fs.rename(dir.file(f[1]), dir.file(f[2]));
    if (f[0] == "x") fs.remove(dir.file(f[1]));
    if (f[0] == "D") fs.sync_directory(dir.path());
    if (f[0] == "F") fs.sync_file_system(dir.path());
  }
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
  {
    FaultInjectionFileSystem counter;
    run(counter, dir, "o:a a:0:abc s c m:a:b D");
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
  const struct { const char* name; Files before; const char* script; Files after; } cases[] = {
      {"unsynced write lost", {{"f", "old"}}, "o:f a:0:NEW c", {{"f", "old"}}},
      {"synced write kept", {{"f", "old"}}, "o:f a:0:NEW s c", {{"f", "NEW"}}},
      {"write after the sync lost", {}, "o:f a:0:ab s D a:2:cd t:1", {{"f", "ab"}}},
      {"create without directory sync lost", {}, "o:f a:0:x s c", {}},
      {"created name synced, content not", {}, "o:f a:0:x c D", {{"f", ""}}},
      {"rename without directory sync reverted", {{"a", "A"}, {"b", "B"}}, "m:a:b", {{"a", "A"}, {"b", "B"}}},
      {"rename with directory sync kept", {{"a", "A"}, {"b", "B"}}, "m:a:b D", {{"b", "A"}}},
      {"remove without directory sync undone", {{"f", "keep"}}, "x:f", {{"f", "keep"}}},
      {"remove with directory sync done", {{"f", "keep"}}, "x:f D", {}},
      {"truncating open undone", {{"f", "full"}}, "O:f c", {{"f", "full"}}},
      {"file system sync keeps contents and names", {{"a", "A"}, {"b", "B"}}, "o:f a:0:x c m:a:b F",
       {{"b", "A"}, {"f", "x"}}},
      {"writes after a file system sync lost", {}, "o:f a:0:x F a:1:y c", {{"f", "x"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDirectory dir;
    for (const auto& [name, content] : c.before) dir.write(name, content);
    FaultInjectionFileSystem fs;
    run(fs, dir, c.script);
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
