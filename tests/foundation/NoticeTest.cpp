#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/foundation/Notice.h"
#include "vorn/foundation/StringFunctions.h"

namespace {

using Lines = std::vector<std::string>;

TEST(Notice, FillsThePlaceholdersInOnePass) {
  // A value holding the other placeholder is inserted literally.
  const std::string expected = vorn::replace(
      "\x01", "%type%",
      vorn::replace("%type%", "%year% file", vorn::replace("%year%", "\x01", vorn::Notice::template_text())));
  EXPECT_EQ(vorn::Notice::text("%year% file", "%type%"), expected);
  EXPECT_EQ(vorn::Notice::text("database", "2026").find('%'), std::string::npos);
  EXPECT_EQ(
      vorn::Notice::text("database", "2026").rfind("Copyright (c) 2026 the vorn developers.\n\nThis database ", 0), 0u);
}

TEST(Notice, CommentLinesFitTheFrameAndKeepEveryWord) {
  const Lines head = vorn::Notice::comment_lines("source file", "2024-2026");
  EXPECT_EQ(Lines(head.begin(), head.begin() + 2), (Lines{"// Copyright (c) 2024-2026 the vorn developers.", "//"}));

  vorn::Notice::CommentFormat block, framed;
  block.first_line = "/*";
  block.prefix = " * ";
  block.last_line = " */";
  block.width = 40;
  framed.prefix = "# ";
  framed.suffix = " #";
  framed.width = 30;
  Lines expected, words, actual;
  vorn::split(vorn::Notice::text("source file", "2026"), expected, " \n");
  for (const vorn::Notice::CommentFormat& f : {vorn::Notice::CommentFormat(), block, framed}) {
    SCOPED_TRACE(f.prefix);
    Lines lines = vorn::Notice::comment_lines("source file", "2026", f);
    EXPECT_EQ(lines.front(), f.first_line.empty() ? lines.front() : f.first_line);
    EXPECT_EQ(lines.back(), f.last_line.empty() ? lines.back() : f.last_line);
    actual.clear();
    for (std::size_t i = f.first_line.empty() ? 0 : 1; i < lines.size() - (f.last_line.empty() ? 0 : 1); ++i) {
      const std::string& line = lines[i];
      EXPECT_LE(line.size(), static_cast<std::size_t>(f.width)) << line;
      EXPECT_TRUE(!f.suffix.empty() || line.back() != ' ') << "trailing blank in '" << line << "'";
      // The words between the frames give the plain text back.
      vorn::split(line, words);
      for (const std::string& word : words) {
        if (word != vorn::trim(f.prefix) && word != vorn::trim(f.suffix)) actual.push_back(word);
      }
    }
    EXPECT_EQ(actual, expected);
  }

  vorn::Notice::CommentFormat narrow;
  narrow.width = 3;
  try {
    vorn::Notice::comment_lines("file", "2026", narrow);
    ADD_FAILURE() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "comment(): width 3 leaves no room between prefix '// ' and suffix ''");
  }
  narrow.width = 4;
  EXPECT_EQ(vorn::Notice::comment_lines("file", "2026", narrow)[0], "// C");
}

}  // namespace
