#include "vorn/database/DatabaseEntryIdentifierPairList.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "vorn/database/detail/ListText.h"

namespace vorn {

namespace {

using Pair = DatabaseEntryIdentifierPairList::value_type;

// Hashes and compares pairs through pointers, optionally as unordered pairs.
struct PairKeyHash {
  bool unordered;
  std::size_t operator()(const Pair* p) const noexcept {
    std::size_t h1 = std::hash<DatabaseEntryIdentifier>()(p->first);
    std::size_t h2 = std::hash<DatabaseEntryIdentifier>()(p->second);
    if (unordered && h2 < h1) std::swap(h1, h2);
    return h1 * 0x9E3779B97F4A7C15ull ^ (h2 + 0x7F4A7C15u + (h1 << 6) + (h1 >> 2));
  }
};

struct PairKeyEqual {
  bool unordered;
  bool operator()(const Pair* a, const Pair* b) const noexcept {
    return *a == *b || (unordered && a->first == b->second && a->second == b->first);
  }
};

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// Splits a trimmed, non-empty dip line into its two tokens.
std::optional<std::pair<std::string_view, std::string_view>> split_dip_line(std::string_view line) {
  std::string_view first;
  std::size_t rest = 0;
  if (line.front() == '"') {
    const std::size_t close = line.find('"', 1);
    if (close == std::string_view::npos || close == 1 || close == line.size() - 1) return std::nullopt;
    first = line.substr(1, close - 1);
    rest = close + 1;
  } else {
    const std::size_t blank = line.find_first_of(" \t");
    if (blank == std::string_view::npos) return std::nullopt;
    first = line.substr(0, blank);
    rest = blank;
  }
  while (rest < line.size() && is_blank(line[rest])) ++rest;
  if (rest == line.size()) return std::nullopt;
  std::string_view second = line.substr(rest);
  const std::size_t quote = second.find('"');
  if (quote == std::string_view::npos) {
    if (second.find_first_of(" \t") != std::string_view::npos) return std::nullopt;
  } else {
    if (quote != 0 || second.size() < 2 || second.find('"', 1) != second.size() - 1) return std::nullopt;
    second = second.substr(1, second.size() - 2);
  }
  return std::make_pair(first, second);
}

}  // namespace

void DatabaseEntryIdentifierPairList::add(const DatabaseEntryIdentifierPairList& other) {
  pairs_.insert(pairs_.end(), other.pairs_.begin(), other.pairs_.end());
}

void DatabaseEntryIdentifierPairList::remove_duplicates(EquivalenceOption option) {
  const bool unordered = option == order_ignored;
  detail::remove_later_duplicates(pairs_, PairKeyHash{unordered}, PairKeyEqual{unordered});
}

void DatabaseEntryIdentifierPairList::sort_each_pair() {
  for (auto& p : pairs_) {
    if (p.second < p.first) p.first.swap(p.second);
  }
}

void DatabaseEntryIdentifierPairList::swap_each_pair() {
  for (auto& p : pairs_) p.first.swap(p.second);
}

void DatabaseEntryIdentifierPairList::sort() { std::sort(pairs_.begin(), pairs_.end()); }

void DatabaseEntryIdentifierPairList::split(DatabaseEntryIdentifierList& firsts,
                                            DatabaseEntryIdentifierList& seconds) const {
  std::vector<DatabaseEntryIdentifier> a;
  std::vector<DatabaseEntryIdentifier> b;
  a.reserve(pairs_.size());
  b.reserve(pairs_.size());
  for (const auto& p : pairs_) {
    a.push_back(p.first);
    b.push_back(p.second);
  }
  firsts = DatabaseEntryIdentifierList(std::move(a));
  seconds = DatabaseEntryIdentifierList(std::move(b));
}

void DatabaseEntryIdentifierPairList::read_from_file(std::istream& in) {
  pairs_.clear();
  const std::string text = detail::read_rest(in);
  detail::for_each_trimmed_line(text, [this](std::string_view line) {
    const auto tokens = split_dip_line(line);
    if (!tokens) return;
    DatabaseEntryIdentifier first{std::string(tokens->first)};
    DatabaseEntryIdentifier second{std::string(tokens->second)};
    pairs_.emplace_back(std::move(first), std::move(second));
  });
}

void DatabaseEntryIdentifierPairList::write_dip_file(std::ostream& out) const {
  std::string text;
  for (const auto& p : pairs_) {
    text += p.first.text();
    text += ' ';
    text += p.second.text();
    text += '\n';
  }
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void difference(const DatabaseEntryIdentifierPairList& a, const DatabaseEntryIdentifierPairList& b,
                DatabaseEntryIdentifierPairList& only_in_a, DatabaseEntryIdentifierPairList& only_in_b,
                DatabaseEntryIdentifierPairList::EquivalenceOption option) {
  DatabaseEntryIdentifierPairList normal_a;
  DatabaseEntryIdentifierPairList normal_b;
  const bool normalise = option == DatabaseEntryIdentifierPairList::order_ignored;
  if (normalise) {
    normal_a = a;
    normal_a.sort_each_pair();
    normal_a.sort();
    normal_b = b;
    normal_b.sort_each_pair();
    normal_b.sort();
  }
  const DatabaseEntryIdentifierPairList& x = normalise ? normal_a : a;
  const DatabaseEntryIdentifierPairList& y = normalise ? normal_b : b;
  DatabaseEntryIdentifierPairList::container_type in_x;
  DatabaseEntryIdentifierPairList::container_type in_y;
  std::set_difference(x.begin(), x.end(), y.begin(), y.end(), std::back_inserter(in_x));
  std::set_difference(y.begin(), y.end(), x.begin(), x.end(), std::back_inserter(in_y));
  only_in_a = DatabaseEntryIdentifierPairList(std::move(in_x));
  only_in_b = DatabaseEntryIdentifierPairList(std::move(in_y));
}

bool is_equivalent(const DatabaseEntryIdentifierPairList& a, const DatabaseEntryIdentifierPairList& b,
                   DatabaseEntryIdentifierPairList::EquivalenceOption option) {
  DatabaseEntryIdentifierPairList x = a;
  DatabaseEntryIdentifierPairList y = b;
  if (option == DatabaseEntryIdentifierPairList::order_ignored) {
    x.sort_each_pair();
    y.sort_each_pair();
  }
  x.remove_duplicates(DatabaseEntryIdentifierPairList::order_matters);
  y.remove_duplicates(DatabaseEntryIdentifierPairList::order_matters);
  x.sort();
  y.sort();
  return x == y;
}

}  // namespace vorn
