#include "vorn/foundation/Notice.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vorn/foundation/StringFunctions.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(Notice, APIExamples) {
  EXPECT_THAT(vorn::Notice::template_text(), HasSubstr("%type%"));
  EXPECT_THAT(vorn::Notice::template_text(), HasSubstr("%year%"));

  const std::string text = vorn::Notice::text("database", "2026");
  EXPECT_EQ(text.rfind("Copyright (c) 2026 ", 0), 0u);
  EXPECT_THAT(text, HasSubstr("This database "));
  EXPECT_THAT(text, Not(HasSubstr("%")));

  const std::vector<std::string> lines = vorn::Notice::comment_lines("source file", "2024-2026");
  ASSERT_GE(lines.size(), 5u);
  EXPECT_EQ(lines[0], "// Copyright (c) 2024-2026 the vorn developers.");
  EXPECT_EQ(lines[1], "//");
}

TEST(Notice, ValuesAreInsertedLiterally) {
  const std::string text = vorn::Notice::text("%year% file", "%type%");
  EXPECT_THAT(text, HasSubstr("Copyright (c) %type% "));
  EXPECT_THAT(text, HasSubstr("This %year% file "));
}

TEST(Notice, CommentLinesFitAndRoundTrip) {
  struct Case {
    const char* name;
    vorn::Notice::CommentFormat format;
  };
  vorn::Notice::CommentFormat block;
  block.first_line = "/*";
  block.prefix = " * ";
  block.last_line = " */";
  block.width = 40;
  vorn::Notice::CommentFormat framed;
  framed.prefix = "# ";
  framed.suffix = " #";
  framed.width = 30;
  const Case cases[] = {{"default", vorn::Notice::CommentFormat()}, {"block", block}, {"framed", framed}};

  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const vorn::Notice::CommentFormat& f = c.format;
    std::vector<std::string> lines = vorn::Notice::comment_lines("source file", "2026", f);
    if (!f.first_line.empty()) {
      EXPECT_EQ(lines.front(), f.first_line);
      lines.erase(lines.begin());
    }
    if (!f.last_line.empty()) {
      EXPECT_EQ(lines.back(), f.last_line);
      lines.pop_back();
    }
    std::vector<std::string> actual;
    for (const std::string& line : lines) {
      SCOPED_TRACE(line);
      EXPECT_LE(line.size(), static_cast<std::size_t>(f.width));
      EXPECT_TRUE(!f.suffix.empty() || line.empty() || line.back() != ' ') << "trailing blank";
      // The words between the frames give the plain text back.
      std::vector<std::string> words;
      vorn::split(line, words);
      for (const std::string& word : words) {
        if (word != vorn::trim(f.prefix, " ") && word != vorn::trim(f.suffix, " ")) actual.push_back(word);
      }
    }
    std::vector<std::string> expected;
    vorn::split(vorn::Notice::text("source file", "2026"), expected, " \n");
    EXPECT_EQ(actual, expected);
  }
}

TEST(Notice, NarrowWidthThrows) {
  vorn::Notice::CommentFormat format;
  format.width = 3;
  EXPECT_THROW(vorn::Notice::comment_lines("file", "2026", format), std::invalid_argument);
  format.width = 4;
  EXPECT_NO_THROW(vorn::Notice::comment_lines("file", "2026", format));
}

}  // namespace
