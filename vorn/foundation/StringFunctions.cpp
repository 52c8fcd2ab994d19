#include "vorn/foundation/StringFunctions.h"

#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <streambuf>
#include <system_error>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "vorn/foundation/VornLog.h"
#include "vorn/io/FileSystem.h"

namespace vorn {

namespace {

unsigned char byte_of(char c) noexcept { return static_cast<unsigned char>(c); }

char ascii_upper(char c) noexcept { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }
char ascii_lower(char c) noexcept { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }

// Membership table for a set of bytes: one lookup per character keeps the
// set operations linear whatever the size of the set.
class CharSet {
 public:
  explicit CharSet(const std::string& chars) noexcept {
    for (char c : chars) member_[byte_of(c)] = true;
  }
  bool contains(char c) const noexcept { return member_[byte_of(c)]; }

 private:
  std::array<bool, 256> member_{};
};

std::size_t non_negative(int n) noexcept { return n < 0 ? 0 : static_cast<std::size_t>(n); }

// The span [begin, end) of the number in `text`: from the first digit over
// the characters accepted by `in_body`, extended backwards by a full stop
// (when `allow_point`) and then by a minus sign. False when there is no digit.
template <class InBody>
bool find_number(const std::string& text, InBody in_body, bool allow_point, std::string& span) {
  const std::size_t size = text.size();
  std::size_t first = 0;
  while (first < size && !is_digit(text[first])) ++first;
  if (first == size) return false;
  std::size_t end = first;
  while (end < size && in_body(text[end])) ++end;
  std::size_t begin = first;
  if (allow_point && begin > 0 && text[begin - 1] == '.') --begin;
  if (begin > 0 && text[begin - 1] == '-') --begin;
  span.assign(text, begin, end - begin);
  return true;
}

// strtod in the classic locale, whatever the program's C locale is, so that
// "12.5" reads as 12.5 even where the decimal point is a comma.
double classic_strtod(const std::string& span) {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  if (classic == static_cast<locale_t>(nullptr)) return strtod(span.c_str(), nullptr);
  return strtod_l(span.c_str(), nullptr, classic);
}

// Gives protected access to any stream buffer's get area: a pointer to a
// member named through a derived class may be applied to a base object.
class GetArea : public std::streambuf {
 public:
  static char* next(std::streambuf& buffer) { return (buffer.*&GetArea::gptr)(); }
  static char* end(std::streambuf& buffer) { return (buffer.*&GetArea::egptr)(); }
  static void bump(std::streambuf& buffer, int n) { (buffer.*&GetArea::gbump)(n); }
};

using Traits = std::char_traits<char>;

// The first '\n' or '\r' in [p, end), or `end`. Sixteen bytes per step, so a
// file with CR line ends is scanned as fast as one with LF.
const char* find_line_end(const char* p, const char* end) noexcept {
#ifdef __SSE2__
  const __m128i lf = _mm_set1_epi8('\n');
  const __m128i cr = _mm_set1_epi8('\r');
  while (end - p >= 16) {
    const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const int mask = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(chunk, lf), _mm_cmpeq_epi8(chunk, cr)));
    if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    p += 16;
  }
#endif
  while (p != end && *p != '\n' && *p != '\r') ++p;
  return p;
}

// After a carriage return: swallows a directly following line feed. True at
// end of input.
bool skip_line_feed(std::streambuf& buffer) {
  const int c = buffer.sgetc();
  if (Traits::eq_int_type(c, Traits::eof())) return true;
  if (c == '\n') buffer.sbumpc();
  return false;
}

// Appends the rest of the current line to `line` and consumes its line end.
// True when the input ended (before or just after a carriage return).
bool read_line(std::streambuf& buffer, std::string& line) {
  for (;;) {
    char* p = GetArea::next(buffer);
    char* end = GetArea::end(buffer);
    if (p < end) {
      if (end - p > INT_MAX) end = p + INT_MAX;  // gbump takes an int
      const char* hit = find_line_end(p, end);
      line.append(p, static_cast<std::size_t>(hit - p));
      if (hit == end) {
        GetArea::bump(buffer, static_cast<int>(end - p));
        continue;
      }
      GetArea::bump(buffer, static_cast<int>(hit - p) + 1);
      return *hit == '\r' ? skip_line_feed(buffer) : false;
    }
    const int c = buffer.sgetc();
    if (Traits::eq_int_type(c, Traits::eof())) return true;
    if (GetArea::next(buffer) < GetArea::end(buffer)) continue;
    // A stream buffer without a get area: one character at a time.
    buffer.sbumpc();
    if (c == '\n') return false;
    if (c == '\r') return skip_line_feed(buffer);
    line.push_back(Traits::to_char_type(c));
  }
}

}  // namespace

std::string trim(const std::string& text, std::string chars) {
  const CharSet set(chars);
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && set.contains(text[begin])) ++begin;
  while (end > begin && set.contains(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

std::string strip(const std::string& text, std::string chars) {
  const CharSet set(chars);
  std::string result;
  result.reserve(text.size());
  for (char c : text) {
    if (!set.contains(c)) result.push_back(c);
  }
  return result;
}

std::string substitute(const std::string& text, std::string chars, char c) {
  const CharSet set(chars);
  std::string result(text);
  for (char& r : result) {
    if (set.contains(r)) r = c;
  }
  return result;
}

std::string replace(const std::string& search, const std::string& replacement, const std::string& text) {
  if (search.empty()) throw std::invalid_argument("replace(): cannot replace an empty string");
  std::string result;
  result.reserve(text.size());
  const char* p = text.data();
  const char* const end = p + text.size();
  // glibc's memmem is linear in the worst case (two-way matching).
  while (const void* found = memmem(p, static_cast<std::size_t>(end - p), search.data(), search.size())) {
    const char* hit = static_cast<const char*>(found);
    result.append(p, hit);
    result.append(replacement);
    p = hit + search.size();
  }
  result.append(p, end);
  return result;
}

std::string extract_word(const std::string& text, const std::string& separators, int n) {
  if (n < 0) return text;
  const CharSet set(separators);
  const std::size_t size = text.size();
  std::size_t pos = 0;
  for (int word = 0;; ++word) {
    while (pos < size && set.contains(text[pos])) ++pos;
    if (pos == size) return text;
    const std::size_t begin = pos;
    while (pos < size && !set.contains(text[pos])) ++pos;
    if (word == n) return text.substr(begin, pos - begin);
  }
}

void split(const std::string& text, std::vector<std::string>& fields, const std::string& separators,
           StringFunctionParameters::BlankFieldControl control) {
  const std::less<const std::string*> before;
  if (!fields.empty() && !before(&text, fields.data()) && before(&text, fields.data() + fields.size())) {
    const std::string copy(text);  // `text` is one of the fields about to be overwritten
    split(copy, fields, separators, control);
    return;
  }
  const CharSet set(separators);
  const std::size_t size = text.size();
  // Fields overwrite the strings already in `fields`, so that a vector reused
  // from line to line allocates nothing once it has grown.
  std::size_t count = 0;
  const auto emit = [&](std::size_t begin, std::size_t end) {
    if (count < fields.size()) {
      fields[count].assign(text, begin, end - begin);
    } else {
      fields.emplace_back(text, begin, end - begin);
    }
    ++count;
  };
  if (control == StringFunctionParameters::drop_blank_fields) {
    std::size_t pos = 0;
    for (;;) {
      while (pos < size && set.contains(text[pos])) ++pos;
      if (pos == size) break;
      const std::size_t begin = pos;
      while (pos < size && !set.contains(text[pos])) ++pos;
      emit(begin, pos);
    }
  } else {
    std::size_t start = 0;
    while (start <= size) {
      std::size_t end = start;
      while (end < size && !set.contains(text[end])) ++end;
      emit(start, end);
      start = end + 1;
    }
  }
  fields.resize(count);
}

void wrap(const std::string& text, std::vector<std::string>& lines, int width, const std::string& break_characters) {
  if (width < 1) throw std::invalid_argument("wrap(): width must be at least 1, was " + std::to_string(width));
  const CharSet breaks(break_characters);
  const std::size_t size = text.size();
  const std::size_t w = static_cast<std::size_t>(width);
  std::vector<std::string> result;
  if (size == 0) result.emplace_back();
  // `scanned` only moves forward and `last_break` is the last break character
  // before it, so finding each line's break costs nothing extra overall.
  std::size_t scanned = 0;
  std::size_t last_break = std::string::npos;
  std::size_t start = 0;
  while (start < size) {
    const std::size_t limit = start + w - 1;
    std::size_t last = size - 1;
    if (limit < size) {
      for (; scanned <= limit; ++scanned) {
        if (breaks.contains(text[scanned])) last_break = scanned;
      }
      last = (last_break != std::string::npos && last_break >= start) ? last_break : limit;
    }
    result.emplace_back(text, start, last - start + 1);
    start = last + 1;
  }
  lines.swap(result);
}

void comment(const std::vector<std::string>& lines_in, std::vector<std::string>& lines_out,
             const std::string& first_line, const std::string& last_line, const std::string& prefix,
             const std::string& suffix) {
  std::vector<std::string> result;
  result.reserve(lines_in.size() + 2);
  if (!first_line.empty()) result.push_back(first_line);
  for (const std::string& line : lines_in) {
    std::string& framed = result.emplace_back();
    framed.reserve(prefix.size() + line.size() + suffix.size());
    framed.append(prefix).append(line).append(suffix);
  }
  if (!last_line.empty()) result.push_back(last_line);
  lines_out.swap(result);
}

void comment(const std::string& text, std::vector<std::string>& lines_out, const std::string& first_line,
             const std::string& last_line, const std::string& prefix, const std::string& suffix, int width,
             const std::string& break_characters) {
  const long long room = static_cast<long long>(width) - static_cast<long long>(prefix.size()) -
                         static_cast<long long>(suffix.size());
  if (room < 1) {
    throw std::invalid_argument("comment(): width " + std::to_string(width) + " leaves no room between prefix '" +
                                prefix + "' and suffix '" + suffix + "'");
  }
  std::vector<std::string> wrapped;
  wrap(text, wrapped, static_cast<int>(room), break_characters);
  comment(wrapped, lines_out, first_line, last_line, prefix, suffix);
}

void uncomment(const std::vector<std::string>& lines_in, std::vector<std::string>& lines_out,
               const std::string& prefix, const std::string& suffix) {
  std::vector<std::string> result;
  result.reserve(lines_in.size());
  for (const std::string& line : lines_in) {
    const std::size_t frame = prefix.size() + suffix.size();
    if (line.size() >= frame && line.compare(0, prefix.size(), prefix) == 0 &&
        line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0) {
      result.emplace_back(line, prefix.size(), line.size() - frame);
    } else {
      result.push_back(line);
    }
  }
  lines_out.swap(result);
}

void uncomment(const std::string& text, std::vector<std::string>& lines_out, const std::string& prefix,
               const std::string& suffix) {
  std::vector<std::string> lines;
  split(text, lines, "\n", StringFunctionParameters::keep_blank_fields);
  uncomment(lines, lines_out, prefix, suffix);
}

double string_to_double(const std::string& text, bool& ok) {
  std::string span;
  const auto in_body = [](char c) { return is_digit(c) || c == '.' || c == '-' || c == '+' || c == 'E' || c == 'e'; };
  ok = find_number(text, in_body, true, span);
  return ok ? classic_strtod(span) : 0.0;
}

double string_to_double(const std::string& text, bool* ok) {
  bool found = false;
  const double value = string_to_double(text, found);
  if (ok != nullptr) *ok = found;
  return value;
}

double string_to_double(const std::string& text) { return string_to_double(text, static_cast<bool*>(nullptr)); }

int string_to_int(const std::string& text, bool& ok) {
  std::string span;
  ok = find_number(text, is_digit, false, span);
  if (!ok) return 0;
  // The span is an optional minus and digits; parse it as a wide integer and
  // saturate, as strtol does with a 32-bit long.
  long long value = 0;
  const std::from_chars_result parsed = std::from_chars(span.data(), span.data() + span.size(), value, 10);
  if (parsed.ec == std::errc::result_out_of_range) return span[0] == '-' ? INT_MIN : INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  if (value > INT_MAX) return INT_MAX;
  return static_cast<int>(value);
}

int string_to_int(const std::string& text, bool* ok) {
  bool found = false;
  const int value = string_to_int(text, found);
  if (ok != nullptr) *ok = found;
  return value;
}

int string_to_int(const std::string& text) { return string_to_int(text, static_cast<bool*>(nullptr)); }

std::string int_to_string(int value) { return std::to_string(value); }

std::string double_to_string(double value) {
  // The widest fixed form of a double: sign, 309 digits, point, 6 decimals.
  char buffer[330];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
  return std::string(buffer, result.ptr);
}

std::string truncate(const std::string& text, int n) { return text.substr(0, non_negative(n)); }

std::string left_justify(const std::string& text, int width, char fill) {
  const std::size_t w = non_negative(width);
  if (text.size() >= w) return text.substr(0, w);
  std::string result(text);
  result.append(w - text.size(), fill);
  return result;
}

std::string left_justify(const std::string& text, int a, int b, char fill) {
  const std::size_t low = non_negative(std::min(a, b));
  const std::size_t high = non_negative(std::max(a, b));
  const std::size_t size = text.size();
  if (size == low || size == high) return text;
  return left_justify(text, static_cast<int>(size < low ? low : high), fill);
}

std::string right_justify(const std::string& text, int width, char fill) {
  const std::size_t w = non_negative(width);
  if (text.size() >= w) return text.substr(text.size() - w);
  std::string result(w - text.size(), fill);
  result.append(text);
  return result;
}

std::string right_justify(const std::string& text, int a, int b, char fill) {
  const std::size_t low = non_negative(std::min(a, b));
  const std::size_t high = non_negative(std::max(a, b));
  const std::size_t size = text.size();
  if (size == low || size == high) return text;
  return right_justify(text, static_cast<int>(size < low ? low : high), fill);
}

std::string left_cut(const std::string& text, char c) {
  const std::size_t pos = text.rfind(c);
  return pos == std::string::npos ? text : text.substr(pos + 1);
}

std::string toupper(const std::string& text) {
  std::string result(text);
  for (char& c : result) c = ascii_upper(c);
  return result;
}

std::string tolower(const std::string& text) {
  std::string result(text);
  for (char& c : result) c = ascii_lower(c);
  return result;
}

bool contains_case_insensitive(const std::string& text, const std::string& part) {
  if (part.empty()) return true;
  if (part.size() > text.size()) return false;
  const std::string haystack = toupper(text);
  const std::string needle = toupper(part);
  return memmem(haystack.data(), haystack.size(), needle.data(), needle.size()) != nullptr;
}

std::string to_valid_base_filename(const std::string& name) {
  // Every byte's replacement: itself for letters, digits, '-' and '.', else '_'.
  static const std::array<char, 256> mapping = [] {
    std::array<char, 256> table{};
    for (int b = 0; b < 256; ++b) {
      const char c = static_cast<char>(b);
      const bool kept = is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '.';
      table[static_cast<std::size_t>(b)] = kept ? c : '_';
    }
    return table;
  }();
  std::string result(name.size(), '\0');
  char* const begin = result.data();
  char* out = begin;
  // Branch-free: every byte is written, and the output advances unless it
  // is a '_' after a '_' (or leading: `previous` starts as '_'). Mixed text
  // would otherwise mispredict on most replaced bytes.
  char previous = '_';
  for (char c : name) {
    const char mapped = mapping[byte_of(c)];
    *out = mapped;
    out += static_cast<int>((mapped != '_') | (previous != '_'));
    previous = mapped;
  }
  if (out != begin && out[-1] == '_') --out;
  result.resize(static_cast<std::size_t>(out - begin));
  return result;
}

std::istream& getline(std::istream& stream, std::string& line) {
  const std::istream::sentry sentry(stream, true);
  line.clear();
  if (!sentry) return stream;
  bool at_end = false;
  try {
    at_end = read_line(*stream.rdbuf(), line);
  } catch (...) {
    line.clear();
    // setstate throws its own ios_base::failure when badbit is in the
    // exception mask; the stream buffer's exception is the useful one.
    if ((stream.exceptions() & std::ios_base::badbit) == 0) {
      stream.setstate(std::ios_base::badbit);
      return stream;
    }
    try {
      stream.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
    }
    throw;
  }
  VORN_DEBUG_TRACE(3, "vorn::getline returning ^" << line << "^");
  if (at_end) stream.setstate(std::ios_base::eofbit);
  return stream;
}

void copy_file(const std::string& from, const std::string& to) {
  FileSystem& fs = FileSystem::current();
  try {
    // Refuses a directory, a FIFO or a device before the target is touched.
    std::unique_ptr<File> in = fs.open(from, OpenOptions());
    // Opening the target truncates it: never when it is the source itself.
    std::error_code error;
    if (std::filesystem::equivalent(from, to, error)) return;
    OpenOptions writing;
    writing.read = false;
    writing.write = true;
    writing.create = true;
    writing.truncate = true;
    std::unique_ptr<File> out = fs.open(to, writing);
    std::string buffer(64 * 1024, '\0');
    std::uint64_t offset = 0;
    while (const std::size_t n = in->read_at(offset, buffer.data(), buffer.size())) {
      out->write_at(offset, buffer.data(), n);
      offset += n;
    }
    out->close();
  } catch (const FileError&) {
    // Reports nothing, as documented.
  }
}

bool CaseInsensitiveStringLess::operator()(const std::string& a, const std::string& b) const noexcept {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const unsigned char x = byte_of(ascii_upper(a[i]));
    const unsigned char y = byte_of(ascii_upper(b[i]));
    if (x != y) return x < y;
  }
  return a.size() < b.size();
}

bool CaseInsensitiveStringEquality::operator()(const std::string& a, const std::string& b) const noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (ascii_upper(a[i]) != ascii_upper(b[i])) return false;
  }
  return true;
}

}  // namespace vorn
