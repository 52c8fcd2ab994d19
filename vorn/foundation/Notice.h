// Notice: the library's fixed licence notice, for the head of the files that
// programs built on it write (source files, databases, exported lists).
//
// The notice is a template with two placeholders, "%type%" (what the file is:
// "source file", "database") and "%year%", which the caller fills in. It comes
// as plain text, one paragraph per line with an empty line between
// paragraphs, or as comment lines wrapped to a width and framed by
// vorn::comment:
//
//   std::string plain = vorn::Notice::text("database", "2026");
//   std::vector<std::string> lines = vorn::Notice::comment_lines("source file", "2024-2026");
//   // lines[0] == "// Copyright (c) 2024-2026 the vorn developers."
//   // lines[1] == "//"
//
//   vorn::Notice::CommentFormat format;
//   format.first_line = "/*";
//   format.prefix = " * ";
//   format.last_line = " */";
//   format.width = 72;
//   lines = vorn::Notice::comment_lines("header file", "2026", format);
//
// A placeholder's value is inserted literally: a type containing "%year%" is
// not filled in a second time. Without a suffix, comment lines carry no
// trailing blanks. comment_lines throws std::invalid_argument when the width
// leaves no room between prefix and suffix.
#ifndef VORN_FOUNDATION_NOTICE_H_
#define VORN_FOUNDATION_NOTICE_H_

#include <string>
#include <vector>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API Notice {
 public:
  // How comment_lines frames the notice; the defaults give C++ line comments
  // of at most 80 characters.
  struct CommentFormat {
    std::string prefix = "// ";
    std::string suffix;
    std::string first_line;  // pushed before the notice when not empty
    std::string last_line;   // pushed after the notice when not empty
    int width = 80;
    std::string break_characters = " ";
  };

  Notice() = delete;

  // The notice with its placeholders, paragraphs separated by "\n\n" and no
  // final line feed.
  static const std::string& template_text() noexcept;

  // The template with "%type%" replaced by `type` and "%year%" by `year`.
  static std::string text(const std::string& type, const std::string& year);

  // text() as comment lines in the default format, or in `format`: each
  // paragraph wrapped and framed, empty lines between paragraphs framed too.
  static std::vector<std::string> comment_lines(const std::string& type, const std::string& year);
  static std::vector<std::string> comment_lines(const std::string& type, const std::string& year,
                                                const CommentFormat& format);
};

}  // namespace vorn

#endif  // VORN_FOUNDATION_NOTICE_H_
