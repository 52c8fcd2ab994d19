// String functions: the library's free functions on std::string.
//
// Trimming and stripping, substitution, splitting and wrapping, framing blocks
// of lines as comments, lenient number conversion, justification,
// case-insensitive comparison, file-name sanitising, a line reader that
// accepts every line-end convention, and a file copy. Every function takes its
// text by const reference and returns a new string (or fills an output
// vector, replacing its contents); no input is modified. Text is a string of
// 8-bit bytes; case folding is the classic-locale ASCII mapping of each byte.
//
//   vorn::trim("  a b \t");                          // "a b"
//   vorn::replace("aa", "a", "aaaa");                // "aa" (no rescan)
//   std::vector<std::string> f;
//   vorn::split("a,,b", f, ",", vorn::StringFunctionParameters::keep_blank_fields);
//                                                    // f == {"a", "", "b"}
//   vorn::string_to_double("width: 12.5 mm");        // 12.5
//   vorn::left_justify("ab", 4, 8, '-');             // "ab--"
//   vorn::to_valid_base_filename("  my file (draft) ");  // "my_file_draft"
//
//   std::ifstream in("index.txt");
//   std::string line;
//   while (vorn::getline(in, line)) { ... }  // LF, CRLF and CR lines alike
//
// Throws: replace() with an empty search text, and wrap() / the text form of
// comment() with no room for a character, throw std::invalid_argument. The
// number conversions never throw: they report failure through the flag.
// Nothing here reads past its input, whatever bytes it holds.
#ifndef VORN_FOUNDATION_STRINGFUNCTIONS_H_
#define VORN_FOUNDATION_STRINGFUNCTIONS_H_

#include <istream>
#include <string>
#include <vector>

#include "vorn/foundation/Export.h"

namespace vorn {

struct VORN_API StringFunctionParameters {
  // How split() treats the empty text between two adjacent separators, or
  // before a leading or after a trailing one.
  enum BlankFieldControl { drop_blank_fields = 0, keep_blank_fields = 1 };
};

// `text` without the leading and trailing characters that occur in `chars`;
// empty when every character of `text` is in `chars`.
VORN_API std::string trim(const std::string& text, std::string chars = " \t");

// `text` with every character that occurs in `chars` removed.
VORN_API std::string strip(const std::string& text, std::string chars = " \t");

// `text` with every character that occurs in `chars` replaced by `c`.
VORN_API std::string substitute(const std::string& text, std::string chars, char c);

// `text` with every non-overlapping occurrence of `search` replaced by
// `replacement`, scanning left to right and resuming after each inserted
// replacement, so replace("a", "aa", "aa") is "aaaa". Linear in the length of
// `text`. Throws std::invalid_argument "replace(): cannot replace an empty
// string" when `search` is empty.
VORN_API std::string replace(const std::string& search, const std::string& replacement, const std::string& text);

// Word number `n` (from 0) of `text`, words being maximal runs of characters
// not in `separators`. When there is no such word (or `n` is negative), the
// whole `text` unchanged, not an empty string.
VORN_API std::string extract_word(const std::string& text, const std::string& separators, int n);

// Replaces `fields` by the pieces of `text` between characters of
// `separators`. drop_blank_fields returns the maximal runs of non-separators
// ("  a b " gives {"a", "b"}, an empty text nothing). keep_blank_fields ends a
// field at every separator: "a,,b" gives {"a", "", "b"}, "a," gives
// {"a", ""}, and an empty text one empty field. The strings already in
// `fields` are overwritten in place, so a vector reused for every line of a
// file stops allocating once it has grown; `text` may be one of them.
VORN_API void split(const std::string& text, std::vector<std::string>& fields, const std::string& separators = " \t",
           StringFunctionParameters::BlankFieldControl control = StringFunctionParameters::drop_blank_fields);

// Replaces `lines` by pieces of `text` of at most `width` characters. A line
// ends at the last break character within the width, which stays at the end
// of the line; a word longer than the width is cut hard. An empty text gives
// one empty line. Line feeds in `text` are ordinary characters.
//
//   wrap("one two three", lines, 8, " ");   // {"one two ", "three"}
//
// Throws std::invalid_argument when `width` is below 1.
VORN_API void wrap(const std::string& text, std::vector<std::string>& lines, int width,
          const std::string& break_characters = " \t");

// Replaces `lines_out` by a framed copy of `lines_in`: `first_line` (when not
// empty), then every line as prefix + line + suffix, then `last_line` (when
// not empty).
//
//   comment({"a", "b"}, out, "/*", " */", " * ");   // {"/*", " * a", " * b", " */"}
VORN_API void comment(const std::vector<std::string>& lines_in, std::vector<std::string>& lines_out,
             const std::string& first_line = "", const std::string& last_line = "",
             const std::string& prefix = "// ", const std::string& suffix = "");

// As above for a text, first wrapped with wrap() so that every framed line,
// prefix and suffix included, fits in `width`. Throws std::invalid_argument
// when the prefix and suffix leave no room for a character.
VORN_API void comment(const std::string& text, std::vector<std::string>& lines_out, const std::string& first_line = "",
             const std::string& last_line = "", const std::string& prefix = "// ",
             const std::string& suffix = "", int width = 80, const std::string& break_characters = " \t");

// Replaces `lines_out` by the lines of `lines_in`, each with
// `prefix` and `suffix` removed, when the line is long enough to hold both and
// starts with `prefix` and ends with `suffix`; any other line unchanged.
VORN_API void uncomment(const std::vector<std::string>& lines_in, std::vector<std::string>& lines_out,
               const std::string& prefix = "// ", const std::string& suffix = "");

// As above for a text, split first at every line feed (keeping blank lines).
VORN_API void uncomment(const std::string& text, std::vector<std::string>& lines_out, const std::string& prefix = "// ",
               const std::string& suffix = "");

// Lenient number parsing: the number starts at the first digit (taking in a
// full stop and a minus sign directly before it: ".5", "-.5", "-5"; never a
// plus sign) and is whatever strtod in the classic locale accepts of the
// following run of "Ee-+.0123456789". Text before and after is ignored:
// "width: 12.5 mm" gives 12.5. With no digit at all, 0 and `ok` false.
// Out-of-range values give +-HUGE_VAL or a denormal/zero, as strtod does.
VORN_API double string_to_double(const std::string& text, bool& ok);
VORN_API double string_to_double(const std::string& text, bool* ok);  // `ok` may be null
VORN_API double string_to_double(const std::string& text);

// As string_to_double with digits only and a minus sign: "x-42y" gives -42,
// "3.7" gives 3. Values beyond int's range saturate at INT_MIN / INT_MAX.
VORN_API int string_to_int(const std::string& text, bool& ok);
VORN_API int string_to_int(const std::string& text, bool* ok);  // `ok` may be null
VORN_API int string_to_int(const std::string& text);

// The value as printf's "%d".
VORN_API std::string int_to_string(int value);

// The value as printf's "%f" in the classic locale: six decimals, never an
// exponent ("1.500000", "-0.000000", "inf", "nan").
VORN_API std::string double_to_string(double value);

// The first `n` characters of `text`, or `text` when it is not longer. A
// negative `n` counts as 0.
VORN_API std::string truncate(const std::string& text, int n);

// `text` padded on the right with `fill` to `width`, or cut to `width` when
// longer. A negative width counts as 0.
VORN_API std::string left_justify(const std::string& text, int width, char fill = ' ');

// Justification between two bounds, min and max being the smaller and larger
// of `a` and `b`: a text of exactly min or max characters is returned as it
// is; a shorter one is padded on the right to min, one strictly between the
// bounds to max; a longer one is cut to max.
//
//   left_justify("abcde", 4, 8, '-');   // "abcde---"
VORN_API std::string left_justify(const std::string& text, int a, int b, char fill = ' ');

// `text` padded on the left with `fill` to `width`; a longer text keeps its
// last `width` characters.
VORN_API std::string right_justify(const std::string& text, int width, char fill = ' ');

// The two-bound form of right_justify: as the two-bound left_justify, padding
// on the left and keeping the last max characters of a longer text.
VORN_API std::string right_justify(const std::string& text, int a, int b, char fill = ' ');

// The part of `text` after the last `c`, or all of `text` when `c` does not
// occur: left_cut("a/b/c", '/') is "c".
VORN_API std::string left_cut(const std::string& text, char c);

// Each byte mapped by the classic-locale toupper / tolower (ASCII letters
// only; other bytes unchanged).
VORN_API std::string toupper(const std::string& text);
VORN_API std::string tolower(const std::string& text);

// True when `part` occurs in `text` ignoring case; always true for an empty
// `part`.
VORN_API bool contains_case_insensitive(const std::string& text, const std::string& part);

// A name usable as a file name: ASCII letters, digits, '-' and '.' are kept,
// every other byte becomes '_', runs of '_' collapse into one, and '_' is
// trimmed from both ends. The result may be empty (for "", "()", ...).
VORN_API std::string to_valid_base_filename(const std::string& name);

// Reads one line into `line`, ending it at a line feed, a carriage return,
// or a carriage return directly followed by a line feed (both consumed). The
// line end is not stored. End of input sets eofbit only, never failbit, so a
// last line without a line end arrives with eof() already true; a carriage
// return as the very last byte also sets eofbit. When the stream is not good
// on entry, `line` becomes empty and failbit is set (the stream's input
// sentry; whitespace is not skipped). If the stream buffer throws, badbit is
// set (rethrowing when the stream's exception mask asks for it) and `line` is
// empty. `line` keeps its capacity, so reusing one string allocates nothing
// per line.
//
// A loop `while (vorn::getline(in, line))` sees every line; when the input
// ends with a line end it sees one final empty line (read with eof set).
VORN_API std::istream& getline(std::istream& stream, std::string& line);

// Copies the whole content of the file `from` to the file `to` (binary).
// Does nothing, and reports nothing, when `from` cannot be opened for
// reading, `to` cannot be opened for writing, or both name the same file
// (so a failed copy never truncates `to`, and never the source).
VORN_API void copy_file(const std::string& from, const std::string& to);

// Orders strings by the lexicographic comparison of their upper-cased bytes
// (as unsigned values); a proper prefix sorts first. For
// std::set<std::string, CaseInsensitiveStringLess> and sorting.
struct VORN_API CaseInsensitiveStringLess {
  bool operator()(const std::string& a, const std::string& b) const noexcept;
};

// True when both strings have the same length and equal upper-cased bytes.
struct VORN_API CaseInsensitiveStringEquality {
  bool operator()(const std::string& a, const std::string& b) const noexcept;
};

}  // namespace vorn

#endif  // VORN_FOUNDATION_STRINGFUNCTIONS_H_
