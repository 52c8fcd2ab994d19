// DatabaseEntryIdentifierList: an ordered sequence of identifiers, duplicates
// allowed, stored in gcd text files (one identifier per line, each followed
// by "\n"), with set arithmetic over sorted lists.
//
//   vorn::DatabaseEntryIdentifierList a, b, only_a, only_b;
//   std::ifstream fa("a.gcd"), fb("b.gcd");
//   a.read_from_file(fa);
//   b.read_from_file(fb);
//   a.sort();  a.remove_duplicates();
//   b.sort();  b.remove_duplicates();
//   vorn::difference(a, b, only_a, only_b);   // inputs must be sorted
//   std::ofstream out("a_not_b.gcd");
//   only_a.write_gcd_file(out);
//
// The reader accepts more than the writer produces: any line-end convention,
// blank lines, blanks and tabs around the text, and an identifier in double
// quotes; a line that still holds a double quote is skipped silently. A line
// longer than 255 characters (after trimming) throws the identifier's
// std::invalid_argument; the identifiers read before it stay in the list.
#ifndef VORN_DATABASE_DATABASEENTRYIDENTIFIERLIST_H_
#define VORN_DATABASE_DATABASEENTRYIDENTIFIERLIST_H_

#include <cstddef>
#include <iosfwd>
#include <utility>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API DatabaseEntryIdentifierList {
 public:
  using value_type = DatabaseEntryIdentifier;
  using container_type = std::vector<DatabaseEntryIdentifier>;
  using size_type = container_type::size_type;
  using iterator = container_type::iterator;
  using const_iterator = container_type::const_iterator;

  DatabaseEntryIdentifierList() = default;
  explicit DatabaseEntryIdentifierList(std::vector<DatabaseEntryIdentifier> ids) : ids_(std::move(ids)) {}

  size_type size() const noexcept { return ids_.size(); }
  bool empty() const noexcept { return ids_.empty(); }
  void clear() noexcept { ids_.clear(); }
  void reserve(size_type n) { ids_.reserve(n); }
  DatabaseEntryIdentifier& operator[](size_type i) { return ids_[i]; }
  const DatabaseEntryIdentifier& operator[](size_type i) const { return ids_[i]; }
  DatabaseEntryIdentifier& at(size_type i) { return ids_.at(i); }
  const DatabaseEntryIdentifier& at(size_type i) const { return ids_.at(i); }
  DatabaseEntryIdentifier& front() { return ids_.front(); }
  const DatabaseEntryIdentifier& front() const { return ids_.front(); }
  DatabaseEntryIdentifier& back() { return ids_.back(); }
  const DatabaseEntryIdentifier& back() const { return ids_.back(); }
  iterator begin() noexcept { return ids_.begin(); }
  iterator end() noexcept { return ids_.end(); }
  const_iterator begin() const noexcept { return ids_.begin(); }
  const_iterator end() const noexcept { return ids_.end(); }
  void push_back(const DatabaseEntryIdentifier& id) { ids_.push_back(id); }
  void push_back(DatabaseEntryIdentifier&& id) { ids_.push_back(std::move(id)); }
  iterator erase(const_iterator first, const_iterator last) { return ids_.erase(first, last); }
  const container_type& identifiers() const noexcept { return ids_; }

  // Appends all of `other`'s identifiers, in order.
  void add(const DatabaseEntryIdentifierList& other);

  // Keeps the first occurrence of each identifier, in their order.
  void remove_duplicates();

  // Ascending byte order.
  void sort();

  // Replaces the content by the identifiers of a gcd text.
  void read_from_file(std::istream& in);
  void write_gcd_file(std::ostream& out) const;
  void print(std::ostream& out) const { write_gcd_file(out); }

  friend bool operator==(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b) {
    return a.ids_ == b.ids_;
  }
  friend bool operator!=(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b) {
    return !(a == b);
  }

 private:
  container_type ids_;
};

// Clears both outputs, then fills `only_in_a` with the sorted-merge difference
// a - b and `only_in_b` with b - a. The inputs must be sorted.
VORN_API void difference(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b,
                DatabaseEntryIdentifierList& only_in_a, DatabaseEntryIdentifierList& only_in_b);

// The sorted-merge intersection of two sorted lists.
VORN_API DatabaseEntryIdentifierList intersection(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b);

// True when both lists hold the same set of identifiers, regardless of order
// and repetition.
VORN_API bool is_equivalent(const DatabaseEntryIdentifierList& a, const DatabaseEntryIdentifierList& b);

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASEENTRYIDENTIFIERLIST_H_
