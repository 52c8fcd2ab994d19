#include "vorn/foundation/StringFunctions.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vorn/foundation/VornLog.h"

namespace {

using ::testing::ElementsAre;
using Lines = std::vector<std::string>;
using vorn::StringFunctionParameters;

TEST(StringFunctions, APIExamples) {
  EXPECT_EQ(vorn::trim(" \t a b \t"), "a b");
  EXPECT_EQ(vorn::strip("a b\tc"), "abc");
  EXPECT_EQ(vorn::substitute("a/b\\c", "/\\", '_'), "a_b_c");
  EXPECT_EQ(vorn::replace("aa", "a", "aaaa"), "aa");
  EXPECT_EQ(vorn::extract_word(" one two ", " ", 1), "two");

  Lines fields;
  vorn::split("a,,b", fields, ",", StringFunctionParameters::keep_blank_fields);
  EXPECT_THAT(fields, ElementsAre("a", "", "b"));
  vorn::wrap("one two three", fields, 8, " ");
  EXPECT_THAT(fields, ElementsAre("one two ", "three"));

  EXPECT_DOUBLE_EQ(vorn::string_to_double("width: 12.5 mm"), 12.5);
  EXPECT_EQ(vorn::string_to_int("x-42y"), -42);
  EXPECT_EQ(vorn::double_to_string(2.5), "2.500000");
  EXPECT_EQ(vorn::left_justify("ab", 4, 8, '-'), "ab--");
  EXPECT_EQ(vorn::right_justify("abc", 5, '.'), "..abc");
  EXPECT_EQ(vorn::left_cut("a/b/c", '/'), "c");
  EXPECT_TRUE(vorn::contains_case_insensitive("Hello World", "WORLD"));
  EXPECT_EQ(vorn::to_valid_base_filename("  my file (draft) "), "my_file_draft");

  std::istringstream in("one\r\ntwo\rthree\nfour");
  std::string line;
  Lines read;
  while (vorn::getline(in, line)) read.push_back(line);
  EXPECT_THAT(read, ElementsAre("one", "two", "three", "four"));
}

TEST(StringFunctions, CharacterSets) {
  struct Case {
    std::string text, chars, trimmed, stripped, substituted;
  };
  const Case cases[] = {
      {" \t \t", " \t", "", "", "____"},
      {"xaby", "xy", "ab", "ab", "_ab_"},
      {"", "ab", "", "", ""},
      {"abc", "", "abc", "abc", "abc"},
      {"\xff\x80z\xff", "\xff", "\x80z", "\x80z", "_\x80z_"},
      {std::string("\0a\0", 3), std::string("\0", 1), "a", "a", "_a_"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(vorn::trim(c.text, c.chars), c.trimmed);
    EXPECT_EQ(vorn::strip(c.text, c.chars), c.stripped);
    EXPECT_EQ(vorn::substitute(c.text, c.chars, '_'), c.substituted);
  }
}

TEST(StringFunctions, ReplaceScansOnceLeftToRight) {
  struct Case {
    std::string search, replacement, text, expected;
  };
  const Case cases[] = {
      {"aa", "a", "aaaa", "aa"},      {"a", "aa", "aa", "aaaa"},     {"aa", "b", "aaa", "ba"},
      {"ab", "", "aabb", "ab"},       {"x", "y", "", ""},            {"abc", "Z", "ab", "ab"},
      {"aab", "-", "aaab", "a-"},     {"\n", "\r\n", "a\nb\n", "a\r\nb\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.search + " -> " + c.replacement + " in " + c.text);
    EXPECT_EQ(vorn::replace(c.search, c.replacement, c.text), c.expected);
  }
  try {
    vorn::replace("", "x", "abc");
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "replace(): cannot replace an empty string");
  }
}

TEST(StringFunctions, ExtractWord) {
  struct Case {
    std::string text;
    int n;
    std::string expected;
  };
  const Case cases[] = {
      {" one two ", 0, "one"}, {" one two ", 1, "two"}, {" one two ", 2, " one two "},
      {" one two ", -1, " one two "}, {"", 0, ""}, {"   ", 0, "   "}, {"a,b;c", 2, "c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text + " #" + std::to_string(c.n));
    EXPECT_EQ(vorn::extract_word(c.text, " ,;", c.n), c.expected);
  }
}

TEST(StringFunctions, Split) {
  struct Case {
    std::string text;
    Lines dropped, kept;
  };
  const Case cases[] = {
      {"a,,b", {"a", "b"}, {"a", "", "b"}},
      {"a,", {"a"}, {"a", ""}},
      {",a", {"a"}, {"", "a"}},
      {"", {}, {""}},
      {",", {}, {"", ""}},
      {"a;b,c", {"a", "b", "c"}, {"a", "b", "c"}},
      {"abc", {"abc"}, {"abc"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Lines fields{"stale"};
    vorn::split(c.text, fields, ",;", StringFunctionParameters::drop_blank_fields);
    EXPECT_EQ(fields, c.dropped);
    vorn::split(c.text, fields, ",;", StringFunctionParameters::keep_blank_fields);
    EXPECT_EQ(fields, c.kept);
  }
  Lines fields{"x y"};
  vorn::split(fields[0], fields);  // the text may live in the output
  EXPECT_THAT(fields, ElementsAre("x", "y"));
}

TEST(StringFunctions, Wrap) {
  struct Case {
    std::string text;
    int width;
    Lines expected;
  };
  const Case cases[] = {
      {"one two three", 8, {"one two ", "three"}},
      {"", 5, {""}},
      {"abcdefghij", 4, {"abcd", "efgh", "ij"}},
      {"abc defg", 8, {"abc ", "defg"}},
      {"abcdefg", 8, {"abcdefg"}},
      {" abcdefgh", 4, {" ", "abcd", "efgh"}},
      {"a b c", 1, {"a", " ", "b", " ", "c"}},
      {"aa bb cc dd", 6, {"aa bb ", "cc dd"}},
      {"word", INT_MAX, {"word"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text + " @" + std::to_string(c.width));
    Lines lines{"stale"};
    vorn::wrap(c.text, lines, c.width, " ");
    EXPECT_EQ(lines, c.expected);
  }
  Lines lines;
  for (int width : {0, -3}) {
    try {
      vorn::wrap("abc", lines, width, " ");
      FAIL() << "no exception for width " << width;
    } catch (const std::invalid_argument& e) {
      EXPECT_EQ(std::string(e.what()), "wrap(): width must be at least 1, was " + std::to_string(width));
    }
  }
}

TEST(StringFunctions, CommentAndUncomment) {
  Lines lines{"a", "", "b"};
  vorn::comment(lines, lines, "/*", " */", " * ", ";");  // in place
  EXPECT_THAT(lines, ElementsAre("/*", " * a;", " * ;", " * b;", " */"));
  vorn::uncomment(lines, lines, " * ", ";");
  EXPECT_THAT(lines, ElementsAre("/*", "a", "", "b", " */"));

  vorn::comment("one two three", lines, "", "", "# ", " #", 12, " ");
  EXPECT_THAT(lines, ElementsAre("# one two  #", "# three #"));
  EXPECT_THROW(vorn::comment("x", lines, "", "", "# ", " #", 4, " "), std::invalid_argument);

  // A line shorter than prefix and suffix together is left alone even when
  // both match (they would overlap).
  vorn::uncomment(Lines{"aba", "abXba", "ab", "Xba"}, lines, "ab", "ba");
  EXPECT_THAT(lines, ElementsAre("aba", "X", "ab", "Xba"));
  vorn::uncomment("// a\n\n//b\n// ", lines);
  EXPECT_THAT(lines, ElementsAre("a", "", "//b", ""));
}

TEST(StringFunctions, NumberParsing) {
  struct Case {
    std::string text;
    bool ok;
    double as_double;
    int as_int;
  };
  const Case cases[] = {
      {"abc", false, 0, 0},
      {"", false, 0, 0},
      {"-.5e2", true, -50, 5},
      {".5", true, 0.5, 5},
      {"+7", true, 7, 7},
      {"--5", true, -5, -5},
      {"x-42y", true, -42, -42},
      {"3.7", true, 3.7, 3},
      {"width: 12.5 mm", true, 12.5, 12},
      {"1.2.3", true, 1.2, 1},
      {"5-3", true, 5, 5},
      {"1e", true, 1, 1},
      {"E5", true, 5, 5},
      {"1E3x", true, 1000, 1},
      {"0x1F", true, 0, 0},
      {"99999999999999999999", true, 1e20, INT_MAX},
      {"-2147483649", true, -2147483649.0, INT_MIN},
      {"-2147483648", true, -2147483648.0, INT_MIN},
      {"\x80\xff-1\xfe", true, -1, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    bool ok = !c.ok;
    EXPECT_DOUBLE_EQ(vorn::string_to_double(c.text, ok), c.as_double);
    EXPECT_EQ(ok, c.ok);
    ok = !c.ok;
    EXPECT_EQ(vorn::string_to_int(c.text, &ok), c.as_int);
    EXPECT_EQ(ok, c.ok);
    EXPECT_EQ(vorn::string_to_int(c.text, static_cast<bool*>(nullptr)), c.as_int);
  }
  EXPECT_TRUE(std::isinf(vorn::string_to_double("1e999")));
  EXPECT_EQ(vorn::string_to_double("-1e-999"), 0.0);
  // The span is copied before conversion: digits after an embedded NUL count.
  EXPECT_EQ(vorn::string_to_int(std::string("\0" "12", 3)), 12);
}

TEST(StringFunctions, NumberFormatting) {
  EXPECT_EQ(vorn::int_to_string(0), "0");
  EXPECT_EQ(vorn::int_to_string(INT_MIN), "-2147483648");
  EXPECT_EQ(vorn::double_to_string(-0.0), "-0.000000");
  EXPECT_EQ(vorn::double_to_string(1.0 / 3), "0.333333");
  for (double value : {0.0000005, 0.0000015, 2.5e-7, 0.1234565, 1e15 + 0.3, -123.456789}) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%f", value);
    EXPECT_EQ(vorn::double_to_string(value), expected);
  }
  EXPECT_EQ(vorn::double_to_string(1e20), "100000000000000000000.000000");
  EXPECT_EQ(vorn::double_to_string(DBL_MAX).size(), 309u + 7u);
  EXPECT_EQ(vorn::double_to_string(HUGE_VAL), "inf");
}

TEST(StringFunctions, Justify) {
  struct Case {
    std::string text;
    int a, b;
    std::string left, right;
  };
  const Case cases[] = {
      {"abcd", 4, 8, "abcd", "abcd"},
      {"abcdefgh", 8, 4, "abcdefgh", "abcdefgh"},
      {"ab", 4, 8, "ab--", "--ab"},
      {"abcde", 4, 8, "abcde---", "---abcde"},
      {"abcdefghij", 4, 8, "abcdefgh", "cdefghij"},
      {"", 0, 2, "", ""},
      {"abc", -5, 2, "ab", "bc"},
      {"abc", 3, 3, "abc", "abc"},
      {"abcd", 3, 3, "abc", "bcd"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text + " " + std::to_string(c.a) + "/" + std::to_string(c.b));
    EXPECT_EQ(vorn::left_justify(c.text, c.a, c.b, '-'), c.left);
    EXPECT_EQ(vorn::right_justify(c.text, c.a, c.b, '-'), c.right);
  }
  struct OneBound {
    std::string text;
    int width;
    std::string truncated, left, right;
  };
  const OneBound one_bound[] = {
      {"abc", 5, "abc", "abc..", "..abc"},
      {"abcdef", 3, "abc", "abc", "def"},
      {"abc", 3, "abc", "abc", "abc"},
      {"abc", 0, "", "", ""},
      {"abc", -1, "", "", ""},
  };
  for (const OneBound& c : one_bound) {
    SCOPED_TRACE(c.text + " " + std::to_string(c.width));
    EXPECT_EQ(vorn::truncate(c.text, c.width), c.truncated);
    EXPECT_EQ(vorn::left_justify(c.text, c.width, '.'), c.left);
    EXPECT_EQ(vorn::right_justify(c.text, c.width, '.'), c.right);
  }
}

TEST(StringFunctions, CaseAndPaths) {
  EXPECT_EQ(vorn::toupper("abc-XYZ \xe4\xff"), "ABC-XYZ \xe4\xff");
  EXPECT_EQ(vorn::tolower("abc-XYZ \xc4"), "abc-xyz \xc4");
  EXPECT_EQ(vorn::left_cut("a/b/c", '/'), "c");
  EXPECT_EQ(vorn::left_cut("abc", '/'), "abc");
  EXPECT_EQ(vorn::left_cut("abc/", '/'), "");

  EXPECT_TRUE(vorn::contains_case_insensitive("abc", ""));
  EXPECT_TRUE(vorn::contains_case_insensitive("", ""));
  EXPECT_TRUE(vorn::contains_case_insensitive("xxAbCxx", "aBc"));
  EXPECT_FALSE(vorn::contains_case_insensitive("ab", "abc"));
  EXPECT_FALSE(vorn::contains_case_insensitive("a\xe4", "A\xc4"));  // only ASCII folds

  const vorn::CaseInsensitiveStringLess less;
  const vorn::CaseInsensitiveStringEquality equal;
  EXPECT_TRUE(less("abc", "ABD"));
  EXPECT_FALSE(less("abc", "ABC"));
  EXPECT_FALSE(less("ABC", "abc"));
  EXPECT_TRUE(less("ab", "ABC"));
  EXPECT_TRUE(less("z", "\x80"));  // bytes compare unsigned
  EXPECT_TRUE(less("a", "["));     // folds to upper case: 'A' (65) < '[' (91)
  EXPECT_TRUE(equal("MiXeD", "mixed"));
  EXPECT_FALSE(equal("abc", "abcd"));
  const std::set<std::string, vorn::CaseInsensitiveStringLess> set{"b", "A", "a", "B"};
  EXPECT_THAT(set, ElementsAre("A", "b"));
}

TEST(StringFunctions, ToValidBaseFilename) {
  const std::pair<std::string, std::string> cases[] = {
      {"  my file (draft) ", "my_file_draft"},
      {"report-2024.v2.txt", "report-2024.v2.txt"},
      {"__a__b__", "a_b"},
      {"a/../b", "a_.._b"},
      {"()[]", ""},
      {"", ""},
      {"caf\xc3\xa9 bar", "caf_bar"},
  };
  for (const auto& [name, expected] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(vorn::to_valid_base_filename(name), expected);
  }
}

// Serves a text through a get area of `chunk` characters at a time, or with
// no get area at all (chunk 0), so that line ends fall on every boundary.
class ChunkedBuffer : public std::streambuf {
 public:
  ChunkedBuffer(std::string text, std::size_t chunk) : text_(std::move(text)), chunk_(chunk) {}

 protected:
  int_type underflow() override {
    if (pos_ >= text_.size()) return traits_type::eof();
    if (chunk_ == 0) return traits_type::to_int_type(text_[pos_]);
    const std::size_t n = std::min(chunk_, text_.size() - pos_);
    setg(&text_[pos_], &text_[pos_], &text_[pos_] + n);
    pos_ += n;
    return traits_type::to_int_type(*gptr());
  }
  int_type uflow() override {
    if (chunk_ != 0) return std::streambuf::uflow();
    if (pos_ >= text_.size()) return traits_type::eof();
    return traits_type::to_int_type(text_[pos_++]);
  }

 private:
  std::string text_;
  std::size_t chunk_;
  std::size_t pos_ = 0;
};

// Reads until getline fails; each line is followed by "$" when it arrived with
// eof set, lines are joined with "|".
std::string read_all(std::istream& in) {
  std::string result;
  std::string line = "stale";
  for (int calls = 0; calls < 1000; ++calls) {
    if (!vorn::getline(in, line)) {
      EXPECT_EQ(line, "") << "after a failed read";
      return result;
    }
    if (calls > 0) result += '|';
    result += line + (in.eof() ? "$" : "");
    line = "stale";
  }
  ADD_FAILURE() << "getline never failed";
  return result;
}

TEST(Getline, LineEndsOnEveryBufferShape) {
  const std::string long_line(300, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"", "$"},
      {"a", "a$"},
      {"a\n", "a|$"},
      {"a\nb", "a|b$"},
      {"a\r\nb\r\n", "a|b|$"},
      {"a\rb\r", "a|b$"},
      {"a\r", "a$"},
      {"\n\n", "||$"},
      {"\r\n\r\n", "||$"},
      {"\n\r", "|$"},
      {"\r\r\n\n", "|||$"},
      {"a\n\rb", "a||b$"},
      {"one\r\ntwo\rthree\nfour", "one|two|three|four$"},
      {"\x8d\x8a\x0b\x0c\n", "\x8d\x8a\x0b\x0c|$"},
      {std::string("x\0y\n", 4), std::string("x\0y|$", 5)},
      {long_line + "\r\n" + long_line + "\r", long_line + "|" + long_line + "$"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(::testing::PrintToString(text));
    std::istringstream string_stream(text);
    EXPECT_EQ(read_all(string_stream), expected);
    for (std::size_t chunk : {0, 1, 2, 3, 17}) {
      SCOPED_TRACE("chunk " + std::to_string(chunk));
      ChunkedBuffer buffer(text, chunk);
      std::istream in(&buffer);
      EXPECT_EQ(read_all(in), expected);
    }
  }
}

TEST(Getline, FileStreams) {
  const std::string path = ::testing::TempDir() + "vorn_getline_test.txt";
  std::string content;
  for (int i = 0; i < 3000; ++i) content += std::to_string(i) + (i % 3 == 0 ? "\n" : i % 3 == 1 ? "\r\n" : "\r");
  std::ofstream(path, std::ios::binary) << content;
  for (bool unbuffered : {false, true}) {
    SCOPED_TRACE(unbuffered ? "unbuffered" : "buffered");
    std::ifstream in;
    if (unbuffered) in.rdbuf()->pubsetbuf(nullptr, 0);
    in.open(path, std::ios::binary);
    std::string line;
    int expected = 0;
    while (vorn::getline(in, line) && !line.empty()) EXPECT_EQ(line, std::to_string(expected++));
    EXPECT_EQ(expected, 3000);
    EXPECT_TRUE(in.eof());
  }
  std::remove(path.c_str());
}

TEST(Getline, KeepsTheCallersBuffer) {
  std::istringstream in("short\nlines\n");
  std::string line;
  line.reserve(200);
  const char* storage = line.data();
  ASSERT_TRUE(vorn::getline(in, line));
  ASSERT_TRUE(vorn::getline(in, line));
  EXPECT_EQ(line, "lines");
  EXPECT_EQ(line.data(), storage);
}

class ThrowingBuffer : public std::streambuf {
 protected:
  int_type underflow() override { throw std::runtime_error("device lost"); }
};

TEST(Getline, StreamBufferFailure) {
  ThrowingBuffer buffer;
  std::istream in(&buffer);
  std::string line = "old";
  EXPECT_FALSE(vorn::getline(in, line));
  EXPECT_TRUE(in.bad());
  EXPECT_EQ(line, "");

  std::istream throwing(&buffer);
  throwing.exceptions(std::ios_base::badbit);
  EXPECT_THROW(vorn::getline(throwing, line), std::runtime_error);
  EXPECT_TRUE(throwing.bad());
}

TEST(Getline, TracesAtLevelThree) {
  std::ostringstream captured;
  std::streambuf* const saved = std::cout.rdbuf(captured.rdbuf());
  const int saved_level = vorn::VornLog::level();
  std::istringstream in("first\nsecond\n");
  std::string line;
  vorn::VornLog::set_level(2);
  vorn::getline(in, line);
  vorn::VornLog::set_level(3);
  vorn::getline(in, line);
  vorn::VornLog::set_level(saved_level);
  std::cout.rdbuf(saved);
  EXPECT_EQ(captured.str(), "DEBUG 3: vorn::getline returning ^second^\n");
}

TEST(CopyFile, CopiesBytesAndNeverTruncatesOnFailure) {
  const std::string dir = ::testing::TempDir();
  const std::string from = dir + "vorn_copy_from.bin";
  const std::string to = dir + "vorn_copy_to.bin";
  const std::string content("a\r\n\0\xff\x1a tail", 10);
  std::ofstream(from, std::ios::binary) << content;
  const auto slurp = [](const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  };

  vorn::copy_file(from, to);
  EXPECT_EQ(slurp(to), content);

  std::ofstream(to, std::ios::binary) << "kept";
  vorn::copy_file(dir + "vorn_no_such_file", to);
  EXPECT_EQ(slurp(to), "kept");
  vorn::copy_file(dir, to);  // a directory is not a readable file
  EXPECT_EQ(slurp(to), "kept");
  vorn::copy_file(from, from);
  EXPECT_EQ(slurp(from), content);
  vorn::copy_file(from, dir + "no_such_dir/x");  // nothing to report

  std::ofstream(from, std::ios::binary | std::ios::trunc).flush();
  vorn::copy_file(from, to);
  EXPECT_EQ(slurp(to), "");
  std::remove(from.c_str());
  std::remove(to.c_str());
}

}  // namespace
