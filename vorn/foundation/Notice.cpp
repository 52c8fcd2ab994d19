#include "vorn/foundation/Notice.h"

#include <cstring>
#include <utility>

#include "vorn/foundation/StringFunctions.h"

namespace vorn {

namespace {

const char kTypePlaceholder[] = "%type%";
const char kYearPlaceholder[] = "%year%";

}  // namespace

const std::string& Notice::template_text() noexcept {
  static const std::string text =
      "Copyright (c) %year% the vorn developers.\n"
      "\n"
      "This %type% belongs to the vorn library. Anyone may use, copy, modify, merge, publish and "
      "distribute this %type%, with or without changes and free of charge, provided that this notice "
      "stays with every copy or substantial part of it.\n"
      "\n"
      "This %type% comes as it is, without any warranty, express or implied, including the warranties "
      "of merchantability and fitness for a particular purpose. In no event are the developers liable "
      "for any claim, damage or other liability arising from the %type% or its use.";
  return text;
}

std::string Notice::text(const std::string& type, const std::string& year) {
  // One pass over the template, so that a value which itself contains a
  // placeholder is not expanded again.
  const std::string& pattern = template_text();
  std::string result;
  result.reserve(pattern.size() + 4 * type.size());
  std::size_t pos = 0;
  while (pos < pattern.size()) {
    if (pattern.compare(pos, std::strlen(kTypePlaceholder), kTypePlaceholder) == 0) {
      result += type;
      pos += std::strlen(kTypePlaceholder);
    } else if (pattern.compare(pos, std::strlen(kYearPlaceholder), kYearPlaceholder) == 0) {
      result += year;
      pos += std::strlen(kYearPlaceholder);
    } else {
      result += pattern[pos++];
    }
  }
  return result;
}

std::vector<std::string> Notice::comment_lines(const std::string& type, const std::string& year) {
  return comment_lines(type, year, CommentFormat());
}

std::vector<std::string> Notice::comment_lines(const std::string& type, const std::string& year,
                                               const CommentFormat& format) {
  std::vector<std::string> paragraphs;
  split(text(type, year), paragraphs, "\n", StringFunctionParameters::keep_blank_fields);
  std::vector<std::string> body;
  std::vector<std::string> framed;
  for (const std::string& paragraph : paragraphs) {
    comment(paragraph, framed, "", "", format.prefix, format.suffix, format.width, format.break_characters);
    for (std::string& line : framed) {
      // Wrapping leaves the break blank at the end of each line.
      if (format.suffix.empty()) line.erase(line.find_last_not_of(" \t") + 1);
      body.push_back(std::move(line));
    }
  }
  std::vector<std::string> lines;
  comment(body, lines, format.first_line, format.last_line, "", "");
  return lines;
}

}  // namespace vorn
