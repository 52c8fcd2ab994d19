#include "vorn/database/DatabaseEntryIdentifierList.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>

#include "vorn/database/detail/ListText.h"

namespace vorn {

namespace {

struct IdentifierPointerHash {
  std::size_t operator()(const DatabaseEntryIdentifier* id) const noexcept {
    return std::hash<DatabaseEntryIdentifier>()(*id);
  }
};

struct IdentifierPointerEqual {
  bool operator()(const DatabaseEntryIdentifier* a, const DatabaseEntryIdentifier* b) const noexcept {
    return *a == *b;
  }
};

}  // namespace

void DatabaseEntryIdentifierList::add(const DatabaseEntryIdentifierList& other) {
  ids_.insert(ids_.end(), other.ids_.begin(), other.ids_.end());
}

void DatabaseEntryIdentifierList::remove_duplicates() {
  // On a sorted list equal identifiers are neighbours.
  if (std::is_sorted(ids_.begin(), ids_.end())) {
    ids_.erase(std::unique(ids_.begin(), ids_.end()), ids_.end());
    return;
  }
  detail::remove_later_duplicates(ids_, IdentifierPointerHash{}, IdentifierPointerEqual{});
}

void DatabaseEntryIdentifierList::sort() {
  // Sorting compact keys made of the first 16 bytes is much faster than
  // sorting the strings themselves; equal keys fall back to the full text.
  // Equal identifiers are indistinguishable, so the result is the same as
  // that of any other sort.
  struct Key {
    std::uint64_t high;
    std::uint64_t low;
    std::uint32_t index;
  };
  const auto prefix = [](const std::string& text, std::size_t from) {
    std::uint64_t key = 0;
    for (std::size_t i = 0; i < 8; ++i) {
      key <<= 8;
      if (from + i < text.size()) key |= static_cast<unsigned char>(text[from + i]);
    }
    return key;
  };
  if (ids_.size() < 64 || ids_.size() > std::numeric_limits<std::uint32_t>::max()) {
    std::sort(ids_.begin(), ids_.end());
    return;
  }
  std::vector<Key> keys(ids_.size());
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    const std::string& text = ids_[i].text();
    keys[i] = Key{prefix(text, 0), prefix(text, 8), static_cast<std::uint32_t>(i)};
  }
  // A stable byte-wise radix sort on the first eight bytes (skipping bytes
  // that all keys share), then a comparison sort inside each run of equal
  // first bytes.
  std::size_t counts[8][256] = {};
  for (const Key& key : keys) {
    for (int b = 0; b < 8; ++b) ++counts[b][(key.high >> (8 * b)) & 0xFF];
  }
  std::vector<Key> scratch(keys.size());
  for (int b = 0; b < 8; ++b) {
    std::size_t* count = counts[b];
    if (count[(keys[0].high >> (8 * b)) & 0xFF] == keys.size()) continue;
    std::size_t offset = 0;
    for (int v = 0; v < 256; ++v) {
      const std::size_t c = count[v];
      count[v] = offset;
      offset += c;
    }
    for (const Key& key : keys) scratch[count[(key.high >> (8 * b)) & 0xFF]++] = key;
    keys.swap(scratch);
  }
  const auto less = [this](const Key& a, const Key& b) {
    if (a.low != b.low) return a.low < b.low;
    const std::string_view x(ids_[a.index].text());
    const std::string_view y(ids_[b.index].text());
    if (x.size() <= 16 && y.size() <= 16) return x.size() < y.size();
    return x.substr(std::min<std::size_t>(16, x.size())) < y.substr(std::min<std::size_t>(16, y.size()));
  };
  for (auto run = keys.begin(); run != keys.end();) {
    auto run_end = run + 1;
    while (run_end != keys.end() && run_end->high == run->high) ++run_end;
    if (run_end - run > 1) std::sort(run, run_end, less);
    run = run_end;
  }
  std::vector<DatabaseEntryIdentifier> sorted;
  sorted.reserve(ids_.size());
  // The gather reads the identifiers in random order: fetch ahead.
  constexpr std::size_t ahead = 16;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (i + ahead < keys.size()) __builtin_prefetch(&ids_[keys[i + ahead].index]);
    sorted.push_back(std::move(ids_[keys[i].index]));
  }
  ids_.swap(sorted);
}

void DatabaseEntryIdentifierList::read_from_file(std::istream& in) {
  ids_.clear();
  const std::string text = detail::read_rest(in);
  detail::for_each_trimmed_line(text, [this](std::string_view line) {
    if (line.size() >= 2 && line.front() == '"' && line.back() == '"') line = line.substr(1, line.size() - 2);
    if (line.find('"') != std::string_view::npos) return;
    ids_.emplace_back(std::string(line));
  });
}

void DatabaseEntryIdentifierList::write_gcd_file(std::ostream& out) const {
  const std::string text = detail::identifier_lines(ids_);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void difference(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b,
                DatabaseEntryIdentifierList& only_in_a, DatabaseEntryIdentifierList& only_in_b) {
  only_in_a.clear();
  only_in_b.clear();
  std::vector<DatabaseEntryIdentifier> in_a;
  std::vector<DatabaseEntryIdentifier> in_b;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(in_a));
  std::set_difference(b.begin(), b.end(), a.begin(), a.end(), std::back_inserter(in_b));
  only_in_a = DatabaseEntryIdentifierList(std::move(in_a));
  only_in_b = DatabaseEntryIdentifierList(std::move(in_b));
}

DatabaseEntryIdentifierList intersection(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b) {
  std::vector<DatabaseEntryIdentifier> common;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(common));
  return DatabaseEntryIdentifierList(std::move(common));
}

bool is_equivalent(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b) {
  // Sorting first and then dropping neighbours gives the same sets as
  // dropping duplicates first.
  DatabaseEntryIdentifierList x = a;
  DatabaseEntryIdentifierList y = b;
  x.sort();
  x.remove_duplicates();
  y.sort();
  y.remove_duplicates();
  return x == y;
}

}  // namespace vorn
