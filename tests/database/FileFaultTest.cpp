// The archive database makes its file calls through the file layer: failing
// any one of them never crashes it, and a database reopened afterwards lists
// only entries whose files read back.
#include <stdlib.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "vorn/database/ArchiveDatabase.h"
#include "vorn/io/FileSystem.h"
#include "vorn/testing/FaultInjectionFileSystem.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;

THandle<Entry> text_entry(const std::string& id, const std::string& data) {
  return THandle<Entry>(new Entry(DatabaseEntryIdentifier(id), THandle<std::string>(new std::string(data))));
}

// Appends, replaces and removes, up to the first failure.
void change(const std::string& directory) {
  try {
    Db db(directory, "n", Archive::READ | Archive::WRITE);
    db.append(text_entry("A", "first"));
    db.append(text_entry("B", "second"));
    db.replace(text_entry("A", "1st"));
    db.remove(DatabaseEntryIdentifier("B"));
  } catch (const std::exception&) {
  }
}

TEST(ArchiveDatabaseFiles, AnySingleFailureLeavesOnlyReadableEntries) {
  char name[] = "/tmp/vorn_db_fault_XXXXXX";
  const std::string directory = ::mkdtemp(name);
  std::uint64_t total = 0;
  {
    FaultInjectionFileSystem counter;
    FileSystem::Scoped use(counter);
    change(directory);
    total = counter.operation_count();
  }
  ASSERT_GT(total, 4u);
  for (std::uint64_t k = 1; k <= total; ++k) {
    SCOPED_TRACE("fail operation " + std::to_string(k));
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(directory);
    FaultInjectionFileSystem fs;
    fs.fail_operation(k, ENOSPC);
    {
      FileSystem::Scoped use(fs);
      change(directory);
    }
    const Db db(directory, "n", Archive::READ);
    for (int i = 0; i < db.size(); ++i) EXPECT_NO_THROW(db.entry(i)) << db.identifier(i).text();
  }
  std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace vorn
