#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "IoTestSupport.h"
#include "support/TestSupport.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"
#include "vorn/testing/FaultInjectionFileSystem.h"

namespace vorn {
namespace {

using test::error_of;
using test::ScratchDirectory;

// Reading, or creating and writing, beneath `root`.
OpenOptions beneath(const std::string& root, bool create) { return test::open_options(create ? "rwc" : "r", root); }

// root/ holds f, sub/g, a FIFO, a link to outside/, a link to f and a link
// to sub; outside/ holds secret.
struct Tree {
  ScratchDirectory dir;
  std::string root = dir.file("root");
  Tree() {
    ::mkdir(root.c_str(), 0777);
    ::mkdir((root + "/sub").c_str(), 0777);
    ::mkdir(dir.file("outside").c_str(), 0777);
    dir.write("root/f", "f");
    dir.write("root/sub/g", "g");
    dir.write("outside/secret", "s");
    ::mkfifo((root + "/fifo").c_str(), 0666);
    ::symlink(dir.file("outside").c_str(), (root + "/out").c_str());
    ::symlink("f", (root + "/f_link").c_str());
    ::symlink("sub", (root + "/sub_link").c_str());
  }
};

TEST(OpenBeneath, ResolvesInsideAndRefusesTheRest) {
  Tree t;
  FileSystem& fs = FileSystem::posix();
  const struct { const char* name; std::string path; bool create; int error; } cases[] = {
      {"plain file", t.root + "/f", false, 0},
      {"file in a subdirectory", t.root + "/sub/g", false, 0},
      {"root given with a trailing separator", t.root + "//f", false, 0},
      {"new file", t.root + "/sub/new", true, 0},
      {"directory link to outside", t.root + "/out/secret", false, ELOOP},
      {"new file through a link to outside", t.root + "/out/planted", true, ELOOP},
      {"link to a directory inside", t.root + "/sub_link/g", false, ELOOP},
      {"link as the file itself", t.root + "/f_link", false, ELOOP},
      {"dot-dot component", t.root + "/sub/../f", false, EXDEV},
      {"dot component", t.root + "/./f", false, EXDEV},
      {"empty component", t.root + "/sub//g", false, EXDEV},
      {"path outside the root", t.dir.file("outside/secret"), false, EXDEV},
      {"root as a name prefix only", t.root + "x/f", false, EXDEV},
      {"fifo, not waited for", t.root + "/fifo", false, EINVAL},
      {"fifo on the way", t.root + "/fifo/x", false, ENOTDIR},
      {"missing file", t.root + "/none", false, ENOENT},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of([&] { fs.open(c.path, beneath(t.root, c.create)); }), c.error);
  }
  EXPECT_FALSE(t.dir.read("outside/planted").has_value());
  EXPECT_EQ(vorn::testing::error_of([&] { fs.open(t.root + "/out/secret", beneath(t.root, false)); }),
            "FileSystem::open: " + t.root + "/out/secret: Too many levels of symbolic links");
}

TEST(OpenBeneath, FaultInjectionPassesItThrough) {
  Tree t;
  FaultInjectionFileSystem fs;
  EXPECT_EQ(error_of([&] { fs.open(t.root + "/out/planted", beneath(t.root, true)); }), ELOOP);
  EXPECT_FALSE(t.dir.read("outside/planted").has_value());
}

TEST(CheckDirectoriesBeneath, RefusesLinksAndEscapesOnTheWay) {
  Tree t;
  const struct { const char* name; std::string path; int error; } cases[] = {
      {"file in the root", t.root + "/f", 0},
      {"file in a subdirectory", t.root + "/sub/g", 0},
      {"link as the last component is not followed", t.root + "/f_link", 0},
      {"missing directory left to the operation", t.root + "/none/x", 0},
      {"directory link to outside", t.root + "/out/secret", ELOOP},
      {"directory link inside", t.root + "/sub_link/g", ELOOP},
      {"file used as a directory", t.root + "/f/x", ENOTDIR},
      {"dot-dot component", t.root + "/sub/../f", EXDEV},
      {"path outside the root", t.dir.file("outside/secret"), EXDEV},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of([&] { check_directories_beneath(t.root, c.path); }), c.error);
  }
}

}  // namespace
}  // namespace vorn
