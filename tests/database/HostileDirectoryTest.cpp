// The archive database in directories that try to trick it: subdirectories
// that alias one file under several identifiers, symbolic links out of the
// directory, FIFOs and directories where files belong, and identifiers whose
// entry file names the file system cannot hold. Each is refused without a
// hang and without writing.
#include "vorn/database/ArchiveDatabase.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/TempDirectory.h"
#include "io/IoTestSupport.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"

namespace vorn {
namespace {

using Entry = DatabaseEntry<std::string>;
using Db = ArchiveDatabase<Entry>;
using Id = DatabaseEntryIdentifier;
using test::ScratchDirectory;

using test::make_entry;

std::string what_of(const std::function<void()>& f) {
  try {
    f();
  } catch (const database_error& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

// Kills the test program (SIGALRM) when a call blocks, instead of letting the
// suite hang.
class HangGuard {
 public:
  HangGuard() { ::alarm(10); }
  ~HangGuard() { ::alarm(0); }
  HangGuard(const HangGuard&) = delete;
  HangGuard& operator=(const HangGuard&) = delete;
};

// The database directory "db" (name "n") beside a directory "outside".
struct Layout {
  ScratchDirectory dir;
  std::string db = dir.file("db");
  std::string outside = dir.file("outside");
  Layout() {
    ::mkdir(db.c_str(), 0777);
    ::mkdir(outside.c_str(), 0777);
  }
  std::vector<std::string> names_in(const std::string& directory) const {
    std::vector<std::string> all;
    for (const auto& e : std::filesystem::recursive_directory_iterator(directory)) all.push_back(e.path());
    std::sort(all.begin(), all.end());
    return all;
  }
};

const std::string outside_message = "ArchiveDatabase::append: identifier does not name a file inside the database directory: ";

TEST(HostileDirectory, AliasesOfOneFileAreRefused) {
  HangGuard guard;
  Layout s;
  ::mkdir((s.db + "/n_s").c_str(), 0777);
  Db db(s.db, "n", Archive::READ | Archive::WRITE);
  db.append(make_entry("s/b", "one"));
  const std::vector<std::string> before = s.names_in(s.db);
  const struct { const char* name; std::string id; std::string message; } cases[] = {
      {"double separator", "s//b", outside_message + "s//b"},
      {"dot component", "s/./b", outside_message + "s/./b"},
      {"dot-dot component", "s/../n_s/b", outside_message + "s/../n_s/b"},
      {"leading separator", "/x", outside_message + "/x"},
      {"trailing separator", "x/", outside_message + "x/"},
      {"empty identifier", "", "ArchiveDatabase::append: identifier is empty"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(what_of([&] { db.append(make_entry(c.id, "two")); }), c.message);
  }
  EXPECT_EQ(s.names_in(s.db), before);
  EXPECT_EQ(*db.entry(Id("s/b"))->data(), "one");
  EXPECT_EQ(db.size(), 1);
}

TEST(HostileDirectory, LinkOutOfTheDirectoryIsNeverFollowed) {
  HangGuard guard;
  Layout s;
  ::symlink(s.outside.c_str(), (s.db + "/n_a").c_str());
  // "a/listed" is in the index (written by hand) and its file lies outside.
  s.dir.write("db/n.adi", "a/listed\n");
  s.dir.write("outside/listed.ade", std::string("\0\0\0\6\0\0\0\x08" "a/listed\0\0\0\1x", 17));
  Db db(s.db, "n", Archive::READ | Archive::WRITE);
  const std::string reason = ": Too many levels of symbolic links";
  const struct { const char* name; std::function<void()> call; std::string message; } cases[] = {
      {"append through the link", [&] { db.append(make_entry("a/pwn", "x")); },
       "ArchiveDatabase::write_entry: cannot open entry file " + s.db + "/n_a/pwn.ade" + reason},
      {"read through the link", [&] { db.entry(0); },
       "ArchiveDatabase::read_entry: cannot open entry file " + s.db + "/n_a/listed.ade" + reason},
      {"replace through the link", [&] { db.replace(make_entry("a/listed", "y")); },
       "ArchiveDatabase::write_entry: cannot open entry file " + s.db + "/n_a/listed.ade" + reason},
      {"remove through the link", [&] { db.remove(Id("a/listed")); },
       "ArchiveDatabase::remove: cannot open entry file " + s.db + "/n_a/listed.ade" + reason},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(what_of(c.call), c.message);
  }
  EXPECT_EQ(s.dir.names(), (std::vector<std::string>{"db", "outside"}));
  EXPECT_EQ(s.names_in(s.outside), std::vector<std::string>(1, s.outside + "/listed.ade"));
  EXPECT_EQ(s.dir.read("outside/listed.ade")->size(), 17u);
  EXPECT_EQ(s.dir.read("db/n.adi"), "a/listed\n");

  // Deleting the database leaves the file behind the link alone.
  Db::delete_database_files(s.db, "n");
  EXPECT_TRUE(s.dir.read("outside/listed.ade").has_value());
}

TEST(HostileDirectory, EntryFileOrIndexThatIsNotARegularFile) {
  HangGuard guard;
  Layout s;
  s.dir.write("db/n.adi", "F\nD\n");
  ::mkfifo((s.db + "/n_F.ade").c_str(), 0666);
  ::mkdir((s.db + "/n_D.ade").c_str(), 0777);
  ::mkfifo((s.db + "/fifo.adi").c_str(), 0666);
  ::mkdir((s.db + "/dir.adi").c_str(), 0777);
  Db db(s.db, "n", Archive::READ | Archive::WRITE);
  const std::string fifo = "cannot open entry file " + s.db + "/n_F.ade: Invalid argument";
  const std::string directory = "cannot open entry file " + s.db + "/n_D.ade: Is a directory";
  const std::string index = "ArchiveDatabase::read_index_file: cannot read index file " + s.db;
  const struct { const char* name; std::function<void()> call; std::string message; } cases[] = {
      {"read a FIFO", [&] { db.entry(0); }, "ArchiveDatabase::read_entry: " + fifo},
      {"replace a FIFO", [&] { db.replace(make_entry("F", "x")); }, "ArchiveDatabase::write_entry: " + fifo},
      {"read a directory", [&] { db.entry(1); }, "ArchiveDatabase::read_entry: " + directory},
      {"replace a directory", [&] { db.replace(make_entry("D", "x")); }, "ArchiveDatabase::write_entry: " + directory},
      {"index a FIFO", [&] { Db(s.db, "fifo", Archive::READ | Archive::WRITE); }, index + "/fifo.adi: Invalid argument"},
      {"index a directory", [&] { Db(s.db, "dir", Archive::READ | Archive::WRITE); }, index + "/dir.adi: Is a directory"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(what_of(c.call), c.message);
  }
  struct stat state {};
  ASSERT_EQ(::lstat((s.db + "/n_F.ade").c_str(), &state), 0);
  EXPECT_TRUE(S_ISFIFO(state.st_mode));
}

TEST(HostileDirectory, IdentifierLengthsAgainstTheFileNameLimit) {
  HangGuard guard;
  Layout s;
  Db db(s.db, "n", Archive::READ | Archive::WRITE);
  // "n_" + identifier + ".ade" + a 32-byte temporary suffix must fit 255.
  const std::string too_long = "ArchiveDatabase::append: entry file name with its temporary suffix longer than 255 bytes: ";
  const struct { const char* name; std::string id; bool stored; } cases[] = {
      {"longest stored", std::string(217, 'a'), true},
      {"one byte more", std::string(218, 'b'), false},
      {"255 bytes", std::string(255, 'd'), false},
      {"long component in a subdirectory", "s/" + std::string(222, 'e'), false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string message = what_of([&] { db.append(make_entry(c.id, "x")); });
    if (c.stored) {
      EXPECT_EQ(message, "(nothing thrown)");
      EXPECT_EQ(*db.entry(Id(c.id))->data(), "x");
      db.replace(make_entry(c.id, "y"));
      EXPECT_EQ(*db.entry(Id(c.id))->data(), "y");
    } else {
      EXPECT_EQ(message, too_long + c.id.substr(0, 80) + "...");
      EXPECT_FALSE(db.identifier_exists(Id(c.id)));
    }
  }
  EXPECT_EQ(s.dir.read("db/n.adi"), std::string(217, 'a') + "\n");
}

TEST(HostileDirectory, CheckIdentifierAnswersAsAppendWould) {
  const struct { const char* name; std::string id; std::string message; } cases[] = {
      {"plain", "X1", "(nothing thrown)"},
      {"in a subdirectory", "s/X1", "(nothing thrown)"},
      {"zero byte", std::string("a\0b", 3), outside_message + "a\\0b"},
      {"line end", "a\nb", "ArchiveDatabase::append: identifier cannot be stored in the index file: a\nb"},
      {"name makes it too long", std::string(200, 'x'),
       "ArchiveDatabase::append: entry file name with its temporary suffix longer than 255 bytes: " +
           std::string(80, 'x') + "..."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(what_of([&] { Db::check_identifier(std::string(30, 'n'), Id(c.id)); }), c.message);
  }
}

}  // namespace
}  // namespace vorn
