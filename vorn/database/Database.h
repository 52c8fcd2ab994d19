// Database<Entry>: the abstract interface of a keyed store of entries
// (DatabaseEntry<T>), looked up by position or by identifier.
//
// Positions run from 0 to size() - 1. Lookups by identifier are exact and
// case-sensitive; nearest_entry() also finds case-insensitive matches and
// neighbours. A database that was not opened for writing refuses append(),
// replace() and remove(). A range-for visits the entries in position order,
// reading each one only when the loop reaches it; identifiers() is the range
// of the identifiers alone, which reads no entry.
//
//   const vorn::Database<Entry>& db = ...;
//   for (const THandle<Entry>& e : db) std::cout << *e->data() << '\n';
//   for (const vorn::DatabaseEntryIdentifier& id : db.identifiers()) std::cout << id.text() << '\n';
//   if (THandle<Entry> e = db.find(vorn::DatabaseEntryIdentifier("X1"))) { ... }   // null when absent
//   vorn::Database<Entry>::IdentifierMatch match;
//   int near = db.nearest_entry(vorn::DatabaseEntryIdentifier("x1"), match);
//
// The end of a range is fixed when end() is taken: entries appended during a
// loop are not visited, and a position that a removal made vanish throws the
// out-of-range error below when the loop reaches it.
//
// Every failure is a database_error: "Database::append: database is not
// opened for writing" (and likewise for replace and remove) here,
// "<Class>::entry( int ) <i> is out of range" and "<Class>::entry(
// DatabaseEntryIdentifier <id> is not in the database" from the lookups of
// the implementations (the second message has no closing parenthesis).
#ifndef VORN_DATABASE_DATABASE_H_
#define VORN_DATABASE_DATABASE_H_

#include <cstddef>
#include <iterator>
#include <sstream>
#include <string>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/database_error.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/foundation/THandle.h"

namespace vorn {

template <class Entry>
class Database {
 public:
  enum IdentifierMatch { no_match = 0, case_insensitive_match = 1, exact_match = 2 };

  virtual ~Database() = default;

  // The identifier at position i.
  virtual DatabaseEntryIdentifier identifier(int i) const = 0;
  virtual bool identifier_exists(const DatabaseEntryIdentifier& id) const = 0;

  // The position of `target` when it is present (match: exact_match), else of
  // the first identifier equal to it apart from case (case_insensitive_match),
  // else of the smallest identifier above it or, when there is none, the
  // greatest below it (no_match; -1 for an empty database). Neighbours are
  // ordered case-insensitively.
  virtual int nearest_entry(const DatabaseEntryIdentifier& target, IdentifierMatch& match) const;

  // The position of the first identifier equal to `id`; size() when absent.
  virtual int index(const DatabaseEntryIdentifier& id) const = 0;
  virtual int size() const = 0;
  virtual THandle<Entry> entry(int i) const = 0;
  virtual THandle<Entry> entry(const DatabaseEntryIdentifier& id) const = 0;

  virtual bool writable() const { return false; }
  virtual void append(THandle<Entry> entry);
  virtual void replace(THandle<Entry> entry);
  virtual void remove(const DatabaseEntryIdentifier& id);
  virtual void flush() = 0;

  // Returns `id` unchanged: a hook for databases whose keys are canonicalised.
  virtual DatabaseEntryIdentifier normalise_identifier(const DatabaseEntryIdentifier& id) const { return id; }
  virtual unsigned int identifier_maximum_length() const { return DatabaseEntryIdentifier::maximum_length_; }

  // The entry with identifier `id`, or a null handle when there is none.
  // Errors of reading a present entry are thrown as entry() throws them.
  // (Declared after the other virtual functions, which keep their slots.)
  virtual THandle<Entry> find(const DatabaseEntryIdentifier& id) const;

  // An input iterator over positions [i, end) that loads the value at a
  // position (through `Load`, a virtual call) when first dereferenced and
  // keeps it until the iterator moves on.
  template <class Value, Value (Database::*Load)(int) const>
  class PositionIterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Value;
    using difference_type = std::ptrdiff_t;
    using pointer = const Value*;
    using reference = const Value&;

    PositionIterator() = default;
    PositionIterator(const Database* database, int position) : database_(database), position_(position) {}

    reference operator*() const {
      if (!loaded_) {
        value_ = (database_->*Load)(position_);
        loaded_ = true;
      }
      return value_;
    }
    pointer operator->() const { return &**this; }
    PositionIterator& operator++() {
      ++position_;
      loaded_ = false;
      value_ = Value();
      return *this;
    }
    PositionIterator operator++(int) {
      PositionIterator old = *this;
      ++*this;
      return old;
    }
    int position() const noexcept { return position_; }

    friend bool operator==(const PositionIterator& a, const PositionIterator& b) noexcept {
      return a.position_ == b.position_ && a.database_ == b.database_;
    }
    friend bool operator!=(const PositionIterator& a, const PositionIterator& b) noexcept { return !(a == b); }

   private:
    const Database* database_ = nullptr;
    int position_ = 0;
    mutable Value value_{};
    mutable bool loaded_ = false;
  };

  using const_iterator = PositionIterator<THandle<Entry>, &Database::entry>;
  using iterator = const_iterator;
  using IdentifierIterator = PositionIterator<DatabaseEntryIdentifier, &Database::identifier>;

  // The identifiers in position order, as returned by identifiers().
  class IdentifierRange {
   public:
    explicit IdentifierRange(const Database& database) : database_(&database) {}
    IdentifierIterator begin() const { return IdentifierIterator(database_, 0); }
    IdentifierIterator end() const { return IdentifierIterator(database_, database_->size()); }

   private:
    const Database* database_;
  };

  const_iterator begin() const { return const_iterator(this, 0); }
  const_iterator end() const { return const_iterator(this, size()); }
  IdentifierRange identifiers() const { return IdentifierRange(*this); }

 protected:
  Database() = default;
  Database(const Database&) = default;
  Database& operator=(const Database&) = default;

  [[noreturn]] void entry_error(const std::string& class_name, int i) const;
  [[noreturn]] void entry_error(const std::string& class_name, const DatabaseEntryIdentifier& id) const;
};

template <class Entry>
int Database<Entry>::nearest_entry(const DatabaseEntryIdentifier& target, IdentifierMatch& match) const {
  static const CaseInsensitiveStringLess less;
  match = no_match;
  int above = -1;
  int below = -1;
  int folded = -1;
  DatabaseEntryIdentifier above_id;
  DatabaseEntryIdentifier below_id;
  const int n = size();
  for (int i = 0; i < n; ++i) {
    DatabaseEntryIdentifier id = identifier(i);
    if (less(target, id)) {
      if (above == -1 || less(id, above_id)) {
        above = i;
        above_id = std::move(id);
      }
    } else if (less(id, target)) {
      if (below == -1 || less(below_id, id)) {
        below = i;
        below_id = std::move(id);
      }
    } else if (id == target) {
      match = exact_match;
      return i;
    } else if (folded == -1) {
      folded = i;
    }
  }
  if (folded != -1) {
    match = case_insensitive_match;
    return folded;
  }
  return above != -1 ? above : below;
}

template <class Entry>
THandle<Entry> Database<Entry>::find(const DatabaseEntryIdentifier& id) const {
  const int i = index(id);
  if (i < 0 || i >= size()) return THandle<Entry>();
  return entry(i);
}

template <class Entry>
void Database<Entry>::append(THandle<Entry>) {
  throw database_error("Database::append: database is not opened for writing");
}

template <class Entry>
void Database<Entry>::replace(THandle<Entry>) {
  throw database_error("Database::replace: database is not opened for writing");
}

template <class Entry>
void Database<Entry>::remove(const DatabaseEntryIdentifier&) {
  throw database_error("Database::remove: database is not opened for writing");
}

template <class Entry>
void Database<Entry>::entry_error(const std::string& class_name, int i) const {
  std::ostringstream message;
  message << class_name << "::entry( int ) " << i << " is out of range";
  throw database_error(message.str());
}

template <class Entry>
void Database<Entry>::entry_error(const std::string& class_name, const DatabaseEntryIdentifier& id) const {
  std::ostringstream message;
  message << class_name << "::entry( DatabaseEntryIdentifier " << id << " is not in the database";
  throw database_error(message.str());
}

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASE_H_
