// Internal: do not include this file directly.
//
// Line handling shared by the gcd and dip readers and writers.
#ifndef VORN_DATABASE_DETAIL_LISTTEXT_H_
#define VORN_DATABASE_DETAIL_LISTTEXT_H_

#include <iosfwd>
#include <string>
#include <string_view>

namespace vorn::detail {

// Reads what is left of `in` (nothing when it is not good) and leaves it at
// end of file.
std::string read_rest(std::istream& in);

// Calls `visit(line)` for every line of `text` with blanks and tabs trimmed
// from both ends, skipping lines that are then empty. Lines end with "\n",
// "\r" or "\r\n"; a last line without a line end counts.
template <class Visit>
void for_each_trimmed_line(const std::string& text, Visit visit) {
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p != end) {
    const char* q = p;
    while (q != end && *q != '\n' && *q != '\r') ++q;
    const char* first = p;
    const char* last = q;
    while (first != last && (*first == ' ' || *first == '\t')) ++first;
    while (last != first && (last[-1] == ' ' || last[-1] == '\t')) --last;
    if (first != last) visit(std::string_view(first, static_cast<std::size_t>(last - first)));
    if (q == end) break;
    p = (*q == '\r' && q + 1 != end && q[1] == '\n') ? q + 2 : q + 1;
  }
}

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_LISTTEXT_H_
