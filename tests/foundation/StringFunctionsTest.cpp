#include "vorn/foundation/StringFunctions.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <climits>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vorn/foundation/VornLog.h"

namespace {

using Lines = std::vector<std::string>;
using vorn::StringFunctionParameters;

using vorn::testing::error_of;

using S = std::string;
using S2 = std::pair<S, S>;
using S3 = std::array<S, 3>;
using SI = std::pair<S, int>;
using SII = std::tuple<S, int, int>;

// Checks `f` of every input against its expected text.
template <class In, class F>
void check(const std::vector<std::pair<In, S>>& cases, F f) {
  for (const auto& [in, expected] : cases) EXPECT_EQ(f(in), expected) << ::testing::PrintToString(in);
}

// "[a][][b]" for {"a", "", "b"}, so that no fields and one empty field differ.
S fields_of(const Lines& lines) {
  S result;
  for (const S& line : lines) result += "[" + line + "]";
  return result;
}

TEST(StringFunctions, CharacterSetsAndReplace) {
  check<S2>({{{" \t \t", " \t"}, "||____"}, {{"xaby", "xy"}, "ab|ab|_ab_"}, {{"", "ab"}, "||"},
             {{"abc", ""}, "abc|abc|abc"}, {{"\xff\x80z\xff", "\xff"}, "\x80z|\x80z|_\x80z_"},
             {{S("\0a\0", 3), S("\0", 1)}, "a|a|_a_"}},
            [](const S2& c) {
              return vorn::trim(c.first, c.second) + "|" + vorn::strip(c.first, c.second) + "|" +
                     vorn::substitute(c.first, c.second, '_');
            });
  EXPECT_EQ(vorn::trim(" \t a b \t") + vorn::strip("a b\tc"), "a babc");  // the default set is blank and tab

  // search, replacement, text: one scan, resuming after each replacement.
  check<S3>({{{"aa", "a", "aaaa"}, "aa"}, {{"a", "aa", "aa"}, "aaaa"}, {{"aa", "b", "aaa"}, "ba"},
             {{"ab", "", "aabb"}, "ab"}, {{"x", "y", ""}, ""}, {{"abc", "Z", "ab"}, "ab"}, {{"aab", "-", "aaab"}, "a-"},
             {{"\n", "\r\n", "a\nb\n"}, "a\r\nb\r\n"}},
            [](const S3& c) { return vorn::replace(c[0], c[1], c[2]); });
  EXPECT_EQ(error_of([] { vorn::replace("", "x", "abc"); }), "replace(): cannot replace an empty string");
}

TEST(StringFunctions, WordsAndFields) {
  check<SI>({{{" one two ", 0}, "one"}, {{" one two ", 1}, "two"}, {{" one two ", 2}, " one two "},
             {{" one two ", -1}, " one two "}, {{"", 0}, ""}, {{"   ", 0}, "   "}, {{"a,b;c", 2}, "c"}},
            [](const SI& c) { return vorn::extract_word(c.first, " ,;", c.second); });
  // Blank fields dropped, then kept.
  check<S>({{"a,,b", "[a][b] [a][][b]"}, {"a,", "[a] [a][]"}, {",a", "[a] [][a]"}, {"", " []"}, {",", " [][]"},
            {"a;b,c", "[a][b][c] [a][b][c]"}, {"abc", "[abc] [abc]"}},
           [](const S& text) {
             Lines fields{"stale"};
             vorn::split(text, fields, ",;", StringFunctionParameters::drop_blank_fields);
             const S dropped = fields_of(fields);
             vorn::split(text, fields, ",;", StringFunctionParameters::keep_blank_fields);
             return dropped + " " + fields_of(fields);
           });
  Lines fields{"x y"};
  vorn::split(fields[0], fields);  // the text may live in the output
  EXPECT_EQ(fields, (Lines{"x", "y"}));
}

TEST(StringFunctions, WrapAndComment) {
  check<SI>({{{"one two three", 8}, "[one two ][three]"}, {{"", 5}, "[]"}, {{"abcdefghij", 4}, "[abcd][efgh][ij]"},
             {{"abc defg", 8}, "[abc ][defg]"}, {{"abcdefg", 8}, "[abcdefg]"}, {{" abcdefgh", 4}, "[ ][abcd][efgh]"},
             {{"a b c", 1}, "[a][ ][b][ ][c]"}, {{"word", INT_MAX}, "[word]"},
             {{"abc", 0}, "wrap(): width must be at least 1, was 0"}},
            [](const SI& c) {
              Lines lines{"stale"};
              const S error = error_of([&] { vorn::wrap(c.first, lines, c.second, " "); });
              return error.empty() ? fields_of(lines) : error;
            });

  Lines lines{"a", "", "b"};
  vorn::comment(lines, lines, "/*", " */", " * ", ";");  // in place
  EXPECT_EQ(fields_of(lines), "[/*][ * a;][ * ;][ * b;][ */]");
  vorn::uncomment(lines, lines, " * ", ";");
  EXPECT_EQ(fields_of(lines), "[/*][a][][b][ */]");
  vorn::comment("one two three", lines, "", "", "# ", " #", 12, " ");
  EXPECT_EQ(fields_of(lines), "[# one two  #][# three #]");
  EXPECT_EQ(error_of([&] { vorn::comment("x", lines, "", "", "# ", " #", 4, " "); }),
            "comment(): width 4 leaves no room between prefix '# ' and suffix ' #'");
  // A line shorter than prefix and suffix together is left alone even when
  // both match (they would overlap).
  vorn::uncomment(Lines{"aba", "abXba", "ab", "Xba"}, lines, "ab", "ba");
  EXPECT_EQ(fields_of(lines), "[aba][X][ab][Xba]");
  vorn::uncomment("// a\n\n//b\n// ", lines);
  EXPECT_EQ(fields_of(lines), "[a][][//b][]");
}

TEST(StringFunctions, Numbers) {
  // The double (15 significant digits), the int, then both ok flags.
  check<S>({{"abc", "0 0 --"}, {"", "0 0 --"}, {"-.5e2", "-50 5 ++"}, {"+7", "7 7 ++"}, {"--5", "-5 -5 ++"},
            {"x-42y", "-42 -42 ++"}, {"width: 12.5 mm", "12.5 12 ++"}, {"1.2.3", "1.2 1 ++"}, {"5-3", "5 5 ++"},
            {"1e", "1 1 ++"}, {"E5", "5 5 ++"}, {"1E3x", "1000 1 ++"}, {"0x1F", "0 0 ++"},
            {"99999999999999999999", "1e+20 2147483647 ++"},
            {"-2147483649", "-2147483649 -2147483648 ++"}, {"-2147483648", "-2147483648 -2147483648 ++"},
            {"\x80\xff-1\xfe", "-1 -1 ++"}, {S("\0" "12", 3), "12 12 ++"},  // digits after an embedded NUL count
            {"1e999", "inf 1 ++"}, {"-1e-999", "-0 -1 ++"}},
           [](const S& text) {
             bool double_ok = false, int_ok = false;
             char result[64];
             const double number = vorn::string_to_double(text, double_ok);
             const int value = vorn::string_to_int(text, &int_ok);
             std::snprintf(result, sizeof result, "%.15g %d %c%c", number, value, double_ok ? '+' : '-',
                           int_ok ? '+' : '-');
             EXPECT_EQ(vorn::string_to_int(text, static_cast<bool*>(nullptr)), value);
             return S(result);
           });

  EXPECT_EQ(vorn::int_to_string(0) + " " + vorn::int_to_string(INT_MIN), "0 -2147483648");
  for (double value : {-0.0, 1.0 / 3, 0.0000005, 0.0000015, 0.1234565, 1e20, DBL_MAX, HUGE_VAL}) {
    char expected[400];
    std::snprintf(expected, sizeof expected, "%f", value);
    EXPECT_EQ(vorn::double_to_string(value), expected);
  }
}

TEST(StringFunctions, Justify) {
  // left_justify and right_justify between two bounds.
  check<SII>({{{"abcd", 4, 8}, "abcd|abcd"}, {{"abcdefgh", 8, 4}, "abcdefgh|abcdefgh"}, {{"ab", 4, 8}, "ab--|--ab"},
              {{"abcde", 4, 8}, "abcde---|---abcde"}, {{"abcdefghij", 4, 8}, "abcdefgh|cdefghij"}, {{"", 0, 2}, "|"},
              {{"abc", -5, 2}, "ab|bc"}, {{"abc", 3, 3}, "abc|abc"}, {{"abcd", 3, 3}, "abc|bcd"}},
             [](const SII& c) {
               const auto& [text, a, b] = c;
               return vorn::left_justify(text, a, b, '-') + "|" + vorn::right_justify(text, a, b, '-');
             });
  // truncate, left_justify and right_justify to one width.
  check<SI>({{{"abc", 5}, "abc|abc..|..abc"}, {{"abcdef", 3}, "abc|abc|def"}, {{"abc", 3}, "abc|abc|abc"},
             {{"abc", 0}, "||"}, {{"abc", -1}, "||"}},
            [](const SI& c) {
              return vorn::truncate(c.first, c.second) + "|" + vorn::left_justify(c.first, c.second, '.') + "|" +
                     vorn::right_justify(c.first, c.second, '.');
            });
}

TEST(StringFunctions, CaseAndNames) {
  EXPECT_EQ(vorn::toupper("abc-XYZ \xe4\xff") + vorn::tolower("abc-XYZ \xc4"), "ABC-XYZ \xe4\xff" "abc-xyz \xc4");
  EXPECT_EQ(vorn::left_cut("a/b/c", '/') + "|" + vorn::left_cut("abc", '/') + "|" + vorn::left_cut("abc/", '/'),
            "c|abc|");
  // contains_case_insensitive, CaseInsensitiveStringLess, CaseInsensitiveStringEquality: only ASCII
  // folds, to upper case ('A' (65) < '[' (91)); bytes compare unsigned; a proper prefix sorts first.
  check<S2>({{{"abc", ""}, "+--"}, {{"", ""}, "+-+"}, {{"xxAbCxx", "aBc"}, "+--"}, {{"ab", "abc"}, "-+-"},
             {{"a\xe4", "A\xc4"}, "---"}, {{"abc", "ABD"}, "-+-"}, {{"abc", "ABC"}, "+-+"}, {{"z", "\x80"}, "-+-"},
             {{"a", "["}, "-+-"}},
            [](const S2& c) {
              const bool results[] = {vorn::contains_case_insensitive(c.first, c.second),
                                      vorn::CaseInsensitiveStringLess()(c.first, c.second),
                                      vorn::CaseInsensitiveStringEquality()(c.first, c.second)};
              S flags;
              for (bool result : results) flags += result ? '+' : '-';
              return flags;
            });
  check<S>({{"  my file (draft) ", "my_file_draft"}, {"report-2024.v2.txt", "report-2024.v2.txt"}, {"__a__b__", "a_b"},
            {"a/../b", "a_.._b"}, {"()[]", ""}, {"", ""}, {"caf\xc3\xa9 bar", "caf_bar"}},
           vorn::to_valid_base_filename);
}

// Serves a text through a get area of `chunk` characters at a time, or with
// no get area at all (chunk 0, as an unbuffered file), so that line ends fall
// on every boundary.
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
  std::string result, line = "stale";
  for (int calls = 0; calls < 1000; ++calls, line = "stale") {
    if (!vorn::getline(in, line)) {
      EXPECT_EQ(line, "") << "after a failed read";
      return result;
    }
    result += (calls > 0 ? "|" : "") + line + (in.eof() ? "$" : "");
  }
  ADD_FAILURE() << "getline never failed";
  return result;
}

TEST(Getline, LineEndsOnEveryBufferShape) {
  const std::string long_line(5000, 'x');  // two of them cross a 4096-byte buffer
  const std::pair<std::string, std::string> cases[] = {
      {"", "$"},        {"a", "a$"},         {"a\n", "a|$"},     {"a\nb", "a|b$"},      {"a\r\nb\r\n", "a|b|$"},
      {"a\rb\r", "a|b$"}, {"\n\n", "||$"},      {"\n\r", "|$"},     {"\r\r\n\n", "|||$"}, {"a\n\rb", "a||b$"},
      {"one\r\ntwo\rthree\nfour", "one|two|three|four$"},
      {"\x8d\x8a\x0b\x0c\n", "\x8d\x8a\x0b\x0c|$"}, {std::string("x\0y\n", 4), std::string("x\0y|$", 5)},
      {long_line + "\r\n" + long_line + "\r", long_line + "|" + long_line + "$"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(::testing::PrintToString(text));
    std::istringstream string_stream(text);
    EXPECT_EQ(read_all(string_stream), expected);
    for (std::size_t chunk : {0, 1, 2, 3, 17, 4096}) {
      ChunkedBuffer buffer(text, chunk);
      std::istream in(&buffer);
      EXPECT_EQ(read_all(in), expected) << "chunk " << chunk;
    }
  }
}

class ThrowingBuffer : public std::streambuf {
 protected:
  int_type underflow() override { throw std::runtime_error("device lost"); }
};

TEST(Getline, KeepsTheBufferTracesAndReportsFailures) {
  std::istringstream in("short\nlines\n");
  std::string line;
  line.reserve(200);
  const char* storage = line.data();
  const int saved_level = vorn::VornLog::level();
  {
    vorn::testing::ScopedStreamCapture capture(std::cout);
    for (int level : {2, 3}) {
      vorn::VornLog::set_level(level);
      vorn::getline(in, line);
    }
    vorn::VornLog::set_level(saved_level);
    EXPECT_EQ(capture.text(), "DEBUG 3: vorn::getline returning ^lines^\n");
  }
  EXPECT_EQ(line.data(), storage);  // the caller's capacity is reused

  ThrowingBuffer buffer;
  std::istream quiet(&buffer), throwing(&buffer);
  throwing.exceptions(std::ios_base::badbit);
  EXPECT_EQ(error_of([&] { vorn::getline(throwing, line); }), "device lost");
  EXPECT_EQ(line, "");
  line = "old";
  EXPECT_FALSE(vorn::getline(quiet, line));
  EXPECT_EQ(line + (quiet.bad() ? "bad" : "") + (throwing.bad() ? " bad" : ""), "bad bad");
}

TEST(CopyFile, CopiesBytesAndNeverTruncatesOnFailure) {
  const S dir = ::testing::TempDir(), from = dir + "vorn_copy_from.bin", to = dir + "vorn_copy_to.bin";
  const S content("a\r\n\0\xff\x1a tail", 10);
  const auto slurp = [](const S& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
  };
  std::ofstream(from, std::ios::binary) << content;
  vorn::copy_file(from, to);
  EXPECT_EQ(slurp(to), content);
  std::ofstream(to, std::ios::binary) << "kept";
  vorn::copy_file(dir + "vorn_no_such_file", to);
  vorn::copy_file(dir, to);  // a directory is not a readable file
  vorn::copy_file(from, from);
  vorn::copy_file(from, dir + "no_such_dir/x");  // nothing to report
  EXPECT_EQ(slurp(to) + "|" + slurp(from), "kept|" + content);
  std::ofstream(from, std::ios::binary | std::ios::trunc).flush();
  vorn::copy_file(from, to);
  EXPECT_EQ(slurp(to), "");
  std::remove(from.c_str());
  std::remove(to.c_str());
}

}  // namespace
