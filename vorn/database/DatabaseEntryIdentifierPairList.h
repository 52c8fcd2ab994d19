// DatabaseEntryIdentifierPairList: an ordered sequence of identifier pairs,
// stored in dip text files (the first identifier, one blank, the second, and
// "\n" on every line), with set arithmetic that can treat (A, B) and (B, A)
// as the same pair.
//
//   vorn::DatabaseEntryIdentifierPairList pairs;
//   std::ifstream in("links.dip");
//   pairs.read_from_file(in);
//   pairs.remove_duplicates(vorn::DatabaseEntryIdentifierPairList::order_ignored);
//   vorn::DatabaseEntryIdentifierList firsts, seconds;
//   pairs.split(firsts, seconds);
//   bool same = vorn::is_equivalent(pairs, other,
//                                   vorn::DatabaseEntryIdentifierPairList::order_ignored);
//
// Pairs order by first, then second. The reader skips lines that do not hold
// exactly two tokens; a token may be put in double quotes to hold blanks (the
// writer never adds quotes, so such identifiers do not read back as
// written). A token longer than 255 characters throws the identifier's
// std::invalid_argument; the pairs read before it stay in the list.
#ifndef VORN_DATABASE_DATABASEENTRYIDENTIFIERPAIRLIST_H_
#define VORN_DATABASE_DATABASEENTRYIDENTIFIERPAIRLIST_H_

#include <cstddef>
#include <iosfwd>
#include <utility>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/DatabaseEntryIdentifierList.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API DatabaseEntryIdentifierPairList {
 public:
  enum EquivalenceOption { order_matters = 0, order_ignored = 1 };

  using value_type = std::pair<DatabaseEntryIdentifier, DatabaseEntryIdentifier>;
  using container_type = std::vector<value_type>;
  using size_type = container_type::size_type;
  using iterator = container_type::iterator;
  using const_iterator = container_type::const_iterator;

  DatabaseEntryIdentifierPairList() = default;
  explicit DatabaseEntryIdentifierPairList(container_type pairs) : pairs_(std::move(pairs)) {}

  size_type size() const noexcept { return pairs_.size(); }
  bool empty() const noexcept { return pairs_.empty(); }
  void clear() noexcept { pairs_.clear(); }
  void reserve(size_type n) { pairs_.reserve(n); }
  value_type& operator[](size_type i) { return pairs_[i]; }
  const value_type& operator[](size_type i) const { return pairs_[i]; }
  value_type& at(size_type i) { return pairs_.at(i); }
  const value_type& at(size_type i) const { return pairs_.at(i); }
  value_type& front() { return pairs_.front(); }
  const value_type& front() const { return pairs_.front(); }
  value_type& back() { return pairs_.back(); }
  const value_type& back() const { return pairs_.back(); }
  iterator begin() noexcept { return pairs_.begin(); }
  iterator end() noexcept { return pairs_.end(); }
  const_iterator begin() const noexcept { return pairs_.begin(); }
  const_iterator end() const noexcept { return pairs_.end(); }
  void push_back(const value_type& pair) { pairs_.push_back(pair); }
  void push_back(value_type&& pair) { pairs_.push_back(std::move(pair)); }
  iterator erase(const_iterator first, const_iterator last) { return pairs_.erase(first, last); }
  const container_type& pairs() const noexcept { return pairs_; }

  // Appends all pairs of `other`, in order.
  void add(const DatabaseEntryIdentifierPairList& other);

  // Keeps the first occurrence of each pair; with order_ignored a pair also
  // duplicates an earlier swapped one.
  void remove_duplicates(EquivalenceOption option);

  // Swaps the members of every pair whose second sorts before its first.
  void sort_each_pair();
  // Exchanges first and second in every pair.
  void swap_each_pair();
  // Ascending by (first, second).
  void sort();

  // Replaces the two lists by the first and the second members of all pairs.
  void split(DatabaseEntryIdentifierList& firsts, DatabaseEntryIdentifierList& seconds) const;

  // Replaces the content by the pairs of a dip text.
  void read_from_file(std::istream& in);
  void write_dip_file(std::ostream& out) const;
  void print(std::ostream& out) const { write_dip_file(out); }

  friend bool operator==(const DatabaseEntryIdentifierPairList& a, const DatabaseEntryIdentifierPairList& b) {
    return a.pairs_ == b.pairs_;
  }
  friend bool operator!=(const DatabaseEntryIdentifierPairList& a, const DatabaseEntryIdentifierPairList& b) {
    return !(a == b);
  }

 private:
  container_type pairs_;
};

// Clears both outputs, then fills them with the sorted-merge differences a - b
// and b - a. With order_matters the inputs must be sorted; with order_ignored
// copies are normalised (sort_each_pair, then sort) first, and the results
// hold normalised pairs.
VORN_API void difference(const DatabaseEntryIdentifierPairList& a, const DatabaseEntryIdentifierPairList& b,
                DatabaseEntryIdentifierPairList& only_in_a, DatabaseEntryIdentifierPairList& only_in_b,
                DatabaseEntryIdentifierPairList::EquivalenceOption option);

// True when both lists hold the same set of pairs (with order_ignored, of
// unordered pairs), regardless of order and repetition.
VORN_API bool is_equivalent(const DatabaseEntryIdentifierPairList& a, const DatabaseEntryIdentifierPairList& b,
                   DatabaseEntryIdentifierPairList::EquivalenceOption option);

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASEENTRYIDENTIFIERPAIRLIST_H_
