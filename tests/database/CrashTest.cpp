// Kills a process that is changing a database at random moments and checks
// that the database it leaves behind is whole.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseEntry.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;

// The child reports "begin <op> <id>" before and "done" after every call.
void report(int fd, const std::string& line) {
  const std::string text = line + "\n";
  if (::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) ::_exit(3);
}

[[noreturn]] void change_database_forever(const std::string& dir, int round, int fd) {
  std::mt19937 random(static_cast<unsigned>(round) * 7919u + 17u);
  try {
    Db db(dir, "crash", 3);
    for (int serial = 0;; ++serial) {
      const int choice = static_cast<int>(random() % 10);
      if (choice < 5 || db.size() < 3) {
        const std::string id = "r" + std::to_string(round) + "_" + std::to_string(serial);
        const std::string data(50 + random() % 200, static_cast<char>('a' + serial % 26));
        report(fd, "begin append " + id);
        db.append(THandle<Entry>(new Entry(DatabaseEntryIdentifier(id), THandle<std::string>(new std::string(data)))));
      } else {
        const DatabaseEntryIdentifier id = db.identifier(static_cast<int>(random() % static_cast<unsigned>(db.size())));
        if (choice < 8) {
          report(fd, "begin replace " + id.text());
          const std::string data(random() % 300, 'R');
          db.replace(THandle<Entry>(new Entry(id, THandle<std::string>(new std::string(data)))));
        } else {
          report(fd, "begin remove " + id.text());
          db.remove(id);
        }
      }
      report(fd, "done");
    }
  } catch (...) {
    ::_exit(2);
  }
}

TEST(ArchiveDatabaseCrash, KilledWritersLeaveAWholeDatabase) {
  test::TempDirectory dir;
  std::set<std::string> alive;
  std::mt19937 random(12345);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  int rounds = 0;
  int operations = 0;
  for (int round = 0; round < 200 && std::chrono::steady_clock::now() < deadline; ++round, ++rounds) {
    SCOPED_TRACE("round " + std::to_string(round));
    int pipe_fds[2];
    ASSERT_EQ(::pipe(pipe_fds), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::close(pipe_fds[0]);
      change_database_forever(dir.path(), round, pipe_fds[1]);
    }
    ::close(pipe_fds[1]);
    ::usleep(static_cast<useconds_t>(1000 + random() % 15000));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself with status " << status;

    std::string log;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipe_fds[0], buffer, sizeof buffer)) > 0;) log.append(buffer, static_cast<std::size_t>(n));
    ::close(pipe_fds[0]);

    // Replay the calls that returned; the one under way may or may not have happened.
    std::istringstream lines(log.substr(0, log.rfind('\n') + 1));
    std::string line, op, id, pending_id;
    while (std::getline(lines, line)) {
      if (line == "done") {
        if (op == "append") alive.insert(id);
        if (op == "remove") alive.erase(id);
        ++operations;
        op.clear();
        continue;
      }
      std::istringstream words(line);
      std::string begin;
      words >> begin >> op >> id;
    }
    if (!op.empty()) pending_id = id;

    const Db db(dir.path(), "crash", Archive::READ);
    std::set<std::string> listed;
    for (int i = 0; i < db.size(); ++i) {
      const std::string listed_id = db.identifier(i);
      EXPECT_TRUE(listed.insert(listed_id).second) << "listed twice: " << listed_id;
      EXPECT_TRUE(alive.count(listed_id) == 1 || listed_id == pending_id) << "unexpected: " << listed_id;
      EXPECT_EQ(db.entry(i)->identifier().text(), listed_id);  // the file exists and reads whole
    }
    for (const auto& a : alive) EXPECT_TRUE(listed.count(a) == 1 || a == pending_id) << "lost: " << a;
    alive = listed;
    if (HasFailure()) break;
  }
  EXPECT_GT(rounds, 10);
  EXPECT_GT(operations, 100);
}

}  // namespace
}  // namespace vorn
