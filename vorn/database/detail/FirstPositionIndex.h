// Internal: do not include this file directly.
//
// A hash index from identifiers to the position of their first occurrence in
// a vector of identifiers that the caller owns and passes to every call. It
// stores only positions and hashes, not copies of the identifiers.
#ifndef VORN_DATABASE_DETAIL_FIRSTPOSITIONINDEX_H_
#define VORN_DATABASE_DETAIL_FIRSTPOSITIONINDEX_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"

namespace vorn::detail {

class FirstPositionIndex {
 public:
  using Identifiers = std::vector<DatabaseEntryIdentifier>;

  // Indexes every identifier of `ids`, keeping the first of equal ones.
  void rebuild(const Identifiers& ids);

  // The first position of `id` in `ids`, or -1.
  int find(const Identifiers& ids, const DatabaseEntryIdentifier& id) const noexcept;

  // Records that ids[position], which must not be indexed yet, was appended.
  void add(const Identifiers& ids, int position);

 private:
  struct Slot {
    std::uint32_t hash;
    std::int32_t position;  // -1 when the slot is free
  };

  static std::uint32_t hash_of(const DatabaseEntryIdentifier& id) noexcept;
  void grow(std::size_t capacity);
  void insert(std::uint32_t hash, int position) noexcept;

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_FIRSTPOSITIONINDEX_H_
