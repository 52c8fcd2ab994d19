#include "vorn/persistence/DebugPrintStream.h"

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "vorn/persistence/PersistentContainers.h"
#include "vorn/testing/DebugPrintText.h"

namespace vorn {
namespace {

struct Point {
  int x = 1, y = 2;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Point");
    s.write("x", x);
    s.write("y", y);
  }
};

struct Segment {
  Point from, to{3, 4};
  std::string name;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Segment");
    s.write("name", name);
    s.write("from", from);
    s.write("to", to);
  }
};

TEST(DebugPrintStream, ValueFormats) {
  struct Case {
    std::string printed;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {debug_print_text('A', "c"), "c: 65 "},
      {debug_print_text(static_cast<unsigned char>(200), "u"), "u: 200 "},
      {debug_print_text(true, "b"), "b: 1 "},
      {debug_print_text(static_cast<short>(-3), "s"), "s: -3 "},
      {debug_print_text(4000000000u, "ui"), "ui: 4000000000 "},
      {debug_print_text(-5L, "l"), "l: -5 "},
      {debug_print_text(1.5f, "f"), "f: 1.5 "},
      {debug_print_text(0.1, "d"), "d: 0.1 "},
      {debug_print_text(1.0L / 3, "ld"), "ld: 0.333333 "},
      {debug_print_text(std::string(), "e"), "e: '' "},
      {debug_print_text(std::string("it's"), "t"), "t: 'it's' "},
      {debug_print_text("literal", "t"), "t: 'literal' "},
      {debug_print_text(Point(), "p"), "p (Point)\n    x: 1     y: 2 \n"},
      {debug_print_text(Point()), " (Point)\n    x: 1     y: 2 \n"},
      {debug_print_text(Segment{{}, {3, 4}, "s"}, "seg"),
       "seg (Segment)\n"
       "    name: 's'     from (Point)\n"
       "        x: 1         y: 2 \n"
       "    to (Point)\n"
       "        x: 3         y: 4 \n"
       "\n"},
      {debug_print_text(std::vector<int>{}, "v"), "v (Container)\n    count: 0 \n"},
      {debug_print_text(std::vector<std::vector<char>>{{'a'}}, "v"),
       "v (Container)\n    count: 1     item (Container)\n        count: 1         item: 97 \n\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(c.printed, c.expected);
  }
}

TEST(DebugPrintStream, DepthFollowsTheBlocks) {
  std::ostringstream text;
  DebugPrintStream s(text);
  s.begin_block("a", "A");
  s.begin_block("b", "B");
  EXPECT_EQ(s.depth(), 2u);
  s.end_block();
  s.write("n", 1);
  s.end_block();
  s.end_block();  // unbalanced: stays at 0
  EXPECT_EQ(s.depth(), 0u);
  s.write("m", 2);
  EXPECT_EQ(text.str(), "a (A)\n    b (B)\n\n    n: 1 \n\nm: 2 ");
}

}  // namespace
}  // namespace vorn
