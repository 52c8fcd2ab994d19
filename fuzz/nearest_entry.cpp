// Fuzzes the case-insensitive order of the archive database's nearest_entry:
// the first line is the target, the others are identifiers. Whatever the
// bytes, the ordered index names the positions that a scan in position order
// finds, when built at once, after appends (and merges of them) and after an
// erasure.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/detail/CaseInsensitiveIndex.h"
#include "vorn/foundation/StringFunctions.h"

namespace {

using Ids = std::vector<vorn::DatabaseEntryIdentifier>;
using Neighbours = vorn::detail::CaseInsensitiveIndex::Neighbours;

// The scan, as Database::nearest_entry does it (without the exact match).
Neighbours scan(const Ids& ids, const vorn::DatabaseEntryIdentifier& target) {
  const vorn::CaseInsensitiveStringLess less;
  Neighbours found;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const int position = static_cast<int>(i);
    if (less(target, ids[i])) {
      if (found.above == -1 || less(ids[i], ids[static_cast<std::size_t>(found.above)])) found.above = position;
    } else if (less(ids[i], target)) {
      if (found.below == -1 || less(ids[static_cast<std::size_t>(found.below)], ids[i])) found.below = position;
    } else if (found.folded == -1) {
      found.folded = position;
    }
  }
  return found;
}

void check(const vorn::detail::CaseInsensitiveIndex& index, const Ids& ids, const vorn::DatabaseEntryIdentifier& target) {
  const Neighbours fast = index.neighbours(ids, target);
  const Neighbours slow = scan(ids, target);
  if (fast.folded != slow.folded || fast.above != slow.above || fast.below != slow.below) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Ids lines;
  try {
    for (std::size_t start = 0; start <= text.size();) {
      std::size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      lines.emplace_back(text.substr(start, end - start));
      start = end + 1;
    }
  } catch (const std::invalid_argument&) {
    return 0;  // a line longer than an identifier may be
  }
  const vorn::DatabaseEntryIdentifier target = lines.front();
  const Ids all(lines.begin() + 1, lines.end());
  // A tail of at most two appended positions: merges come often.
  vorn::detail::CaseInsensitiveIndex index(2);
  index.build(all);
  check(index, all, target);
  if (all.empty()) return 0;

  // Build on the first half, then append the rest one by one.
  Ids ids(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2));
  index.build(ids);
  while (ids.size() < all.size()) {
    ids.push_back(all[ids.size()]);
    index.appended(ids);
    check(index, ids, target);
  }

  // Erase one in the middle.
  const std::size_t erased = ids.size() / 2;
  ids.erase(ids.begin() + static_cast<std::ptrdiff_t>(erased));
  index.erased(static_cast<int>(erased));
  check(index, ids, target);
  return 0;
}
