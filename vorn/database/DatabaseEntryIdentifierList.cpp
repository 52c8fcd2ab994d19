#include "vorn/database/DatabaseEntryIdentifierList.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string>
#include <unordered_set>

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
  std::vector<bool> keep(ids_.size());
  {
    std::unordered_set<const DatabaseEntryIdentifier*, IdentifierPointerHash, IdentifierPointerEqual> seen;
    seen.reserve(ids_.size());
    for (std::size_t i = 0; i < ids_.size(); ++i) keep[i] = seen.insert(&ids_[i]).second;
  }
  std::size_t out = 0;
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    if (!keep[i]) continue;
    if (out != i) ids_[out] = std::move(ids_[i]);
    ++out;
  }
  ids_.resize(out);
}

void DatabaseEntryIdentifierList::sort() { std::sort(ids_.begin(), ids_.end()); }

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
  std::string text;
  std::size_t total = 0;
  for (const auto& id : ids_) total += id.text().size() + 1;
  text.reserve(total);
  for (const auto& id : ids_) {
    text += id.text();
    text += '\n';
  }
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
