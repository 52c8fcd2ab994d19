// A connection that breaks while the server decides a COMMIT: the error must
// say whether the change took effect, and the database must agree with it.
// A proxy between the client and the server cuts the connection either
// after passing the COMMIT on (the server commits, the client never hears
// so) or instead of passing it on (the server rolls back).
#include <cctype>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "support/CuttingProxy.h"
#include "support/PostgresServer.h"
#include "support/TestSupport.h"
#include "vorn/database/PostgresDatabase.h"
#include "vorn/database/database_error.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using test::CuttingProxy;
using test::make_entry;
using test::PostgresServer;
using testing::error_of;

std::string database_named_after_test() {
  const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string name = std::string("t_lost_") + info->name();
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  PostgresServer& server = PostgresServer::shared();
  server.drop_database(name);
  server.create_database(name);
  return name;
}

std::unique_ptr<PostgresDatabase<Entry>> open_writable(const std::string& uri) {
  DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = true;
  return PostgresDatabase<Entry>::open(uri, options);
}

TEST(PostgresLostCommit, ErrorSaysWhetherTheChangeTookEffect) {
  struct Row {
    const char* name;
    CuttingProxy::Cut cut;
    const char* verdict;
    bool stored;
  };
  const Row rows[] = {
      {"cut after the server got the COMMIT", CuttingProxy::Cut::after_commit, "; the change was applied", true},
      {"cut before the server got the COMMIT", CuttingProxy::Cut::before_commit, "; the change was not applied",
       false},
  };
  PostgresServer& server = PostgresServer::shared();
  const std::string name = database_named_after_test();
  CuttingProxy proxy(server.socket_directory(), server.port());
  auto db = open_writable(proxy.uri(name));
  db->append(make_entry("kept", "before the cuts"));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string id = row.stored ? "committed" : "rolled-back";
    proxy.cut_next_commit(row.cut);
    const std::string error = error_of([&] { db->append(make_entry(id, "x")); });
    EXPECT_EQ(error.rfind("PostgresDatabase::append: connection lost: ", 0), 0u) << error;
    EXPECT_NE(error.find(row.verdict), std::string::npos) << error;
    // What the error said is what the server holds, seen by a new client
    // that does not go through the proxy.
    auto fresh = open_writable(server.uri(name));
    EXPECT_EQ(fresh->identifier_exists(DatabaseEntryIdentifier(id)), row.stored);
    EXPECT_TRUE(fresh->identifier_exists(DatabaseEntryIdentifier("kept")));
  }
  EXPECT_EQ(proxy.cuts(), 2);
  // The object goes on working on a new connection.
  db->append(make_entry("after", "the cuts"));
  EXPECT_EQ(db->size(), 3);
}

}  // namespace
}  // namespace vorn
