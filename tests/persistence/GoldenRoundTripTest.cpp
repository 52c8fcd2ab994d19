// The representative graph against golden files: archive bytes in both
// floating-point formats, and the debug print text. Set VORN_UPDATE_GOLDEN=1
// to rewrite the files from the code (then check them by hand).
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "persistence/RepresentativeGraph.h"
#include "persistence/TempFile.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/DebugPrintStream.h"

namespace vorn {
namespace {

using test::Bytes;
using test::Graph;
using test::Node;
using test::TempFile;
using ::testing::StartsWith;

const std::string golden_dir = std::string(VORN_TEST_DATA_DIR) + "/persistence/";

std::string read_file(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  if (!in) throw std::runtime_error("missing golden file " + name);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void compare_with_golden(const std::string& actual, const std::string& file) {
  if (std::getenv("VORN_UPDATE_GOLDEN") != nullptr) {
    std::ofstream(golden_dir + file, std::ios::binary) << actual;
  }
  EXPECT_TRUE(actual == read_file(golden_dir + file)) << "differs from " << file;
}

class GoldenRoundTrip : public ::testing::Test {
 protected:
  void TearDown() override { Node::break_all_cycles(); }
};

TEST_F(GoldenRoundTrip, ArchiveBytesAndReadBack) {
  const struct {
    unsigned int format;
    const char* file;
  } formats[] = {{Archive::NATIVE_FORMAT, "graph_native.arc"}, {Archive::PORTABLE_FORMAT, "graph_portable.arc"}};
  const Graph graph = Graph::make();
  for (const auto& f : formats) {
    SCOPED_TRACE(f.file);
    TempFile file;
    {
      Archive archive(file.name(), Archive::WRITE | f.format);
      ArchiveWriteStream stream(archive);
      stream.write("graph", graph);
    }
    const Bytes bytes = file.bytes();
    compare_with_golden(std::string(bytes.begin(), bytes.end()), f.file);

    Archive archive(file.name(), Archive::READ | f.format);
    ArchiveReadStream stream(archive);
    Graph back;
    stream.read("graph", back);
    EXPECT_TRUE(archive.at_end());
    EXPECT_TRUE(back.same_values(graph));
    EXPECT_TRUE(back.sharing_intact());
    EXPECT_NE(back.first_leaf, graph.first_leaf);
  }
}

TEST_F(GoldenRoundTrip, DebugPrintText) {
  std::ostringstream text;
  DebugPrintStream stream(text);
  stream.write("graph", Graph::make());
  compare_with_golden(text.str(), "graph.txt");
}

// Every prefix of the golden archive is a truncated file: reading it must end
// in an exception from the archive stream, never in a crash or a partial
// success.
TEST_F(GoldenRoundTrip, EveryTruncationThrows) {
  const std::string golden = read_file(golden_dir + "graph_native.arc");
  TempFile file;
  for (std::size_t length = 0; length < golden.size(); ++length) {
    SCOPED_TRACE(length);
    file.set_bytes(Bytes(golden.begin(), golden.begin() + static_cast<std::ptrdiff_t>(length)));
    Archive archive(file.name(), Archive::READ);
    ArchiveReadStream stream(archive);
    Graph back;
    try {
      stream.read("graph", back);
      ADD_FAILURE() << "read a truncated file";
    } catch (const std::runtime_error& e) {
      EXPECT_THAT(e.what(), StartsWith("ArchiveReadStream::read: "));
    }
  }
}

}  // namespace
}  // namespace vorn
