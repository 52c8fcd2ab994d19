// Internal: do not include this file directly.
//
// Line handling shared by the gcd and dip readers and writers.
#ifndef VORN_DATABASE_DETAIL_LISTTEXT_H_
#define VORN_DATABASE_DETAIL_LISTTEXT_H_

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"

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

// The identifiers' texts, each followed by "\n": the gcd and index form.
std::string identifier_lines(const std::vector<DatabaseEntryIdentifier>& ids);

// Removes every element equal (under `Hash` and `Equal`, which compare
// through pointers) to an earlier one, keeping the survivors in order.
// Expected linear time.
template <class T, class Hash, class Equal>
void remove_later_duplicates(std::vector<T>& items, Hash hash, Equal equal) {
  std::vector<bool> keep(items.size());
  {
    std::unordered_set<const T*, Hash, Equal> seen(items.size(), hash, equal);
    for (std::size_t i = 0; i < items.size(); ++i) keep[i] = seen.insert(&items[i]).second;
  }
  std::size_t out = 0;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!keep[i]) continue;
    if (out != i) items[out] = std::move(items[i]);
    ++out;
  }
  items.resize(out);
}

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_LISTTEXT_H_
