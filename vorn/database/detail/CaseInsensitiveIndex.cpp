#include "vorn/database/detail/CaseInsensitiveIndex.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>

#include "vorn/foundation/StringFunctions.h"

namespace vorn::detail {

namespace {

const CaseInsensitiveStringLess less_folded;

const std::string& text_at(const CaseInsensitiveIndex::Identifiers& ids, std::int32_t position) {
  return ids[static_cast<std::size_t>(position)].text();
}

// The first 16 upper-cased bytes of an identifier, big-endian in two words
// and padded with zeros, beside its position. Sorting these small records
// orders most identifiers without touching their text: words that differ
// order the identifiers as CaseInsensitiveStringLess does (a shorter one
// pads with zeros, and so sorts first, as a proper prefix does); only equal
// words need the texts compared.
struct SortKey {
  std::uint64_t high;
  std::uint64_t low;
  std::int32_t position;
};

SortKey sort_key(const std::string& text, std::int32_t position) {
  std::uint64_t words[2] = {0, 0};
  const std::size_t n = std::min<std::size_t>(text.size(), 16);
  for (std::size_t i = 0; i < n; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const std::uint64_t folded = (byte >= 'a' && byte <= 'z') ? byte - ('a' - 'A') : byte;
    words[i / 8] |= folded << (8 * (7 - i % 8));
  }
  return SortKey{words[0], words[1], position};
}

}  // namespace

void CaseInsensitiveIndex::build(const Identifiers& ids) {
  std::vector<SortKey> keys;
  keys.reserve(ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) keys.push_back(sort_key(ids[i].text(), static_cast<std::int32_t>(i)));
  std::sort(keys.begin(), keys.end(), [&ids](const SortKey& a, const SortKey& b) {
    if (a.high != b.high) return a.high < b.high;
    if (a.low != b.low) return a.low < b.low;
    const std::string& x = text_at(ids, a.position);
    const std::string& y = text_at(ids, b.position);
    if (less_folded(x, y)) return true;
    if (less_folded(y, x)) return false;
    return a.position < b.position;
  });
  std::vector<std::int32_t> order;
  order.reserve(keys.size());
  for (const SortKey& key : keys) order.push_back(key.position);
  order_.swap(order);
  tail_.clear();
  built_ = true;
}

void CaseInsensitiveIndex::clear() noexcept {
  std::vector<std::int32_t>().swap(order_);
  std::vector<std::int32_t>().swap(tail_);
  built_ = false;
}

void CaseInsensitiveIndex::appended(const Identifiers& ids) noexcept {
  if (!built_) return;
  if (ids.empty() || order_.size() + tail_.size() + 1 != ids.size()) {
    clear();
    return;
  }
  try {
    tail_.push_back(static_cast<std::int32_t>(ids.size() - 1));
    if (tail_.size() > tail_limit_) merge_tail(ids);
  } catch (const std::bad_alloc&) {
    clear();
  }
}

void CaseInsensitiveIndex::merge_tail(const Identifiers& ids) {
  const auto before = [&ids](std::int32_t a, std::int32_t b) {
    const std::string& x = text_at(ids, a);
    const std::string& y = text_at(ids, b);
    if (less_folded(x, y)) return true;
    if (less_folded(y, x)) return false;
    return a < b;
  };
  std::sort(tail_.begin(), tail_.end(), before);
  // Each tail position finds its place by a binary search; the ordered
  // positions between two places are copied as one block.
  std::vector<std::int32_t> merged;
  merged.reserve(order_.size() + tail_.size());
  auto from = order_.cbegin();
  for (const std::int32_t position : tail_) {
    const auto at = std::upper_bound(from, order_.cend(), position, before);
    merged.insert(merged.end(), from, at);
    merged.push_back(position);
    from = at;
  }
  merged.insert(merged.end(), from, order_.cend());
  order_.swap(merged);
  tail_.clear();
}

void CaseInsensitiveIndex::erased(int position) noexcept {
  if (!built_) return;
  // Moving the later positions up by one keeps their relative order, and
  // keeps every tail position above every ordered one.
  for (std::vector<std::int32_t>* positions : {&order_, &tail_}) {
    positions->erase(std::remove(positions->begin(), positions->end(), position), positions->end());
    for (std::int32_t& p : *positions) {
      if (p > position) --p;
    }
  }
}

CaseInsensitiveIndex::Neighbours CaseInsensitiveIndex::neighbours(const Identifiers& ids,
                                                                  const DatabaseEntryIdentifier& target) const {
  const auto below_target = [&ids](std::int32_t p, const std::string& t) { return less_folded(text_at(ids, p), t); };
  const auto above_target = [&ids](const std::string& t, std::int32_t p) { return less_folded(t, text_at(ids, p)); };
  const auto first = std::lower_bound(order_.begin(), order_.end(), target.text(), below_target);
  const auto last = std::upper_bound(first, order_.end(), target.text(), above_target);
  Neighbours result;
  if (first != last) result.folded = *first;
  if (last != order_.end()) result.above = *last;
  if (first != order_.begin()) {
    // The group just below the target starts at its first position, which
    // sorts first within the group.
    const std::string& greatest = text_at(ids, *(first - 1));
    result.below = *std::lower_bound(order_.begin(), first, greatest, below_target);
  }
  // The tail holds the last positions in increasing order: scanning it as
  // the full scan would, strict comparisons keep the earlier position.
  for (const std::int32_t p : tail_) {
    const std::string& text = text_at(ids, p);
    if (less_folded(target.text(), text)) {
      if (result.above == -1 || less_folded(text, text_at(ids, result.above))) result.above = p;
    } else if (less_folded(text, target.text())) {
      if (result.below == -1 || less_folded(text_at(ids, result.below), text)) result.below = p;
    } else if (result.folded == -1) {
      result.folded = p;
    }
  }
  return result;
}

}  // namespace vorn::detail
