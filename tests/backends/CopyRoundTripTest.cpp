// `vorn db copy` between every pair of backends, run as users run it: a
// directory database goes to SQLite, then to PostgreSQL, then back to a
// directory, and every file of the result equals the original byte for byte.
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "support/PostgresServer.h"
#include "vorn/database/ArchiveDatabase.h"

#if defined(VORN_TOOL)
namespace vorn::test {
namespace {

// Runs the vorn tool with `arguments`; its exit status.
int vorn_tool(const std::string& arguments) {
  const std::string command = std::string(VORN_TOOL) + " " + arguments + " 2>/dev/null";
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(DatabaseCopy, DirectoryToSqliteToPostgresAndBackIsByteIdentical) {
  TempDirectory dir;
  const std::string ids[] = {"MYG_HUMAN", "HBB_HUMAN", "caf\xc3\xa9", "with blanks inside"};
  {
    ArchiveDatabase<DatabaseEntry<std::string>> source(dir.path, "proteins", Archive::READ | Archive::WRITE);
    for (const std::string& id : ids) source.append(make_entry(id, "notes on " + id));
    source.remove(DatabaseEntryIdentifier("HBB_HUMAN"));
    source.append(make_entry("HBB_HUMAN", std::string(3000, 'h')));
  }
  PostgresServer& server = PostgresServer::shared();
  server.create_database("copy_round_trip");
  const std::string sqlite = "sqlite:" + dir.file("proteins.sqlite");
  const std::string postgres = "'" + server.uri("copy_round_trip") + "'";
  const std::string original = dir.file("proteins.adi");
  const std::string back = dir.path + "/back/proteins.adi";

  EXPECT_EQ(vorn_tool("db copy " + original + " " + sqlite), 0);
  EXPECT_EQ(vorn_tool("db copy " + sqlite + " " + postgres), 0);
  EXPECT_EQ(vorn_tool("db copy " + postgres + " " + back), 0);
  // A target that already holds entries is refused.
  EXPECT_EQ(vorn_tool("db copy " + original + " " + postgres), 1);

  EXPECT_EQ(dir.read("back/proteins.adi"), dir.read("proteins.adi"));
  for (const std::string& id : ids) {
    SCOPED_TRACE(id);
    EXPECT_EQ(dir.read("back/proteins_" + id + ".ade"), dir.read("proteins_" + id + ".ade"));
  }
  server.drop_database("copy_round_trip");
}

}  // namespace
}  // namespace vorn::test
#endif  // VORN_TOOL
