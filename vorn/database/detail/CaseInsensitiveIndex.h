// Internal: do not include this file directly.
//
// The positions of a vector of identifiers (which the caller owns and passes
// to every call) ordered by (identifier compared case-insensitively,
// position). Answers in logarithmic time what Database::nearest_entry finds
// by scanning: the first position of an identifier equal to a target apart
// from case, and the first position of the smallest identifier above it and
// of the greatest below it. Stores only positions, four bytes each.
//
// Appended positions wait in a short unordered tail that questions scan,
// and join the order in one merge when the tail is full, so that a run of
// appends costs a binary search each plus one pass over the order per
// `tail_limit` appends, instead of moving the whole order every time.
#ifndef VORN_DATABASE_DETAIL_CASEINSENSITIVEINDEX_H_
#define VORN_DATABASE_DETAIL_CASEINSENSITIVEINDEX_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"

namespace vorn::detail {

class CaseInsensitiveIndex {
 public:
  using Identifiers = std::vector<DatabaseEntryIdentifier>;

  // Positions in `ids`, -1 where there is none. Within a group of
  // identifiers that are equal apart from case, the smallest position is
  // the one reported.
  struct Neighbours {
    int folded = -1;  // equal to the target apart from case
    int above = -1;   // the smallest identifier greater than the target
    int below = -1;   // the greatest identifier smaller than the target
  };

  explicit CaseInsensitiveIndex(std::size_t tail_limit = 256) noexcept : tail_limit_(tail_limit) {}

  // False until build(), and again after clear().
  bool built() const noexcept { return built_; }
  // Orders every position of `ids`.
  void build(const Identifiers& ids);
  // Forgets the order (and its memory) until the next build().
  void clear() noexcept;

  // Records that ids.back() was appended; does nothing when not built.
  // When memory runs out the order is cleared, to be built again later.
  void appended(const Identifiers& ids) noexcept;
  // Records that the identifier at `position` was erased and the later ones
  // moved up by one; does nothing when not built.
  void erased(int position) noexcept;

  // The neighbours of `target` in `ids`, which must be built.
  Neighbours neighbours(const Identifiers& ids, const DatabaseEntryIdentifier& target) const;

 private:
  void merge_tail(const Identifiers& ids);

  std::vector<std::int32_t> order_;  // by (folded identifier, position)
  std::vector<std::int32_t> tail_;   // appended since, in increasing order
  std::size_t tail_limit_;
  bool built_ = false;
};

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_CASEINSENSITIVEINDEX_H_
