#include "vorn/database/detail/CaseInsensitiveIndex.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <numeric>
#include <string>

#include "vorn/foundation/StringFunctions.h"

namespace vorn::detail {

namespace {

const CaseInsensitiveStringLess less_folded;

const std::string& text_at(const CaseInsensitiveIndex::Identifiers& ids, std::int32_t position) {
  return ids[static_cast<std::size_t>(position)].text();
}

}  // namespace

void CaseInsensitiveIndex::build(const Identifiers& ids) {
  // Sorting on upper-cased copies compares with plain byte order (std::string
  // compares as unsigned char), which is the order of CaseInsensitiveStringLess
  // without folding every byte again at each comparison.
  std::vector<std::string> keys;
  keys.reserve(ids.size());
  for (const DatabaseEntryIdentifier& id : ids) keys.push_back(vorn::toupper(id.text()));
  std::vector<std::int32_t> order(ids.size());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&keys](std::int32_t a, std::int32_t b) {
    const int c = keys[static_cast<std::size_t>(a)].compare(keys[static_cast<std::size_t>(b)]);
    return c != 0 ? c < 0 : a < b;
  });
  order_.swap(order);
  built_ = true;
}

void CaseInsensitiveIndex::clear() noexcept {
  std::vector<std::int32_t>().swap(order_);
  built_ = false;
}

void CaseInsensitiveIndex::appended(const Identifiers& ids) noexcept {
  if (!built_) return;
  if (ids.empty() || order_.size() + 1 != ids.size()) {
    clear();
    return;
  }
  // The new position is the greatest, so it goes after every identifier that
  // is not above it.
  const std::int32_t position = static_cast<std::int32_t>(ids.size() - 1);
  const std::string& text = text_at(ids, position);
  const auto at = std::upper_bound(order_.begin(), order_.end(), text, [&ids](const std::string& t, std::int32_t p) {
    return less_folded(t, text_at(ids, p));
  });
  try {
    order_.insert(at, position);
  } catch (const std::bad_alloc&) {
    clear();
  }
}

void CaseInsensitiveIndex::erased(int position) noexcept {
  if (!built_) return;
  // Moving the later positions up by one keeps their relative order.
  order_.erase(std::remove(order_.begin(), order_.end(), position), order_.end());
  for (std::int32_t& p : order_) {
    if (p > position) --p;
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
  return result;
}

}  // namespace vorn::detail
