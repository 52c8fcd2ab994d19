#include "vorn/database/detail/FirstPositionIndex.h"

#include <functional>

namespace vorn::detail {

std::uint32_t FirstPositionIndex::hash_of(const DatabaseEntryIdentifier& id) noexcept {
  // Folds a 64-bit hash to 32 bits; a 32-bit size_t is already that wide (and
  // shifting it by 32 would be undefined).
  const std::uint64_t h = std::hash<std::string>()(id.text());
  return static_cast<std::uint32_t>(h ^ (h >> 32));
}

void FirstPositionIndex::rebuild(const Identifiers& ids) {
  std::size_t capacity = 16;
  while (capacity < 2 * ids.size()) capacity *= 2;
  slots_.assign(capacity, Slot{0, -1});
  count_ = 0;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (find(ids, ids[i]) == -1) {
      insert(hash_of(ids[i]), static_cast<int>(i));
      ++count_;
    }
  }
}

int FirstPositionIndex::find(const Identifiers& ids, const DatabaseEntryIdentifier& id) const noexcept {
  if (slots_.empty()) return -1;
  const std::uint32_t hash = hash_of(id);
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t s = hash & mask;; s = (s + 1) & mask) {
    const Slot& slot = slots_[s];
    if (slot.position < 0) return -1;
    if (slot.hash == hash && ids[static_cast<std::size_t>(slot.position)] == id) return slot.position;
  }
}

void FirstPositionIndex::add(const Identifiers& ids, int position) {
  if (2 * (count_ + 1) > slots_.size()) grow(slots_.empty() ? 16 : 2 * slots_.size());
  insert(hash_of(ids[static_cast<std::size_t>(position)]), position);
  ++count_;
}

void FirstPositionIndex::grow(std::size_t capacity) {
  std::vector<Slot> old(capacity, Slot{0, -1});
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.position >= 0) insert(slot.hash, slot.position);
  }
}

void FirstPositionIndex::insert(std::uint32_t hash, int position) noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t s = hash & mask;
  while (slots_[s].position >= 0) s = (s + 1) & mask;
  slots_[s] = Slot{hash, position};
}

}  // namespace vorn::detail
