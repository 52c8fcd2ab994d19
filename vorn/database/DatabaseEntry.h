// DatabaseEntry<T>: one record of an entry database, an identifier together
// with a counted handle to the record's data.
//
// The data handle is shared with whoever created it, not copied. The library
// stores DatabaseEntry<std::string>, whose data is an uninterpreted blob;
// other data types need `Archive& operator<<(Archive&, const T&)` and
// `Archive& operator>>(Archive&, T&)` (the archive's own primitives qualify)
// and a default constructor.
//
//   THandle<std::string> text(new std::string("hello"));
//   DatabaseEntry<std::string> entry(DatabaseEntryIdentifier("X1"), text);
//   archive << entry;          // 00 00 00 02 'X' '1' 00 00 00 05 'h' ... 'o'
//   DatabaseEntry<std::string> copy;
//   archive2 >> copy;          // copy.data() is a new handle
//
// A string is written like an identifier: an unsigned 32-bit length, then the
// bytes; on reading it is cut at the first zero byte, and a length beyond the
// end of the file leaves the archive failed() without allocating it.
//
// Throws std::runtime_error "Illegal null data in entry <id>
// (DatabaseEntry::DatabaseEntry)" when constructed with a null handle, and the
// null-handle error when a default-constructed entry is written.
#ifndef VORN_DATABASE_DATABASEENTRY_H_
#define VORN_DATABASE_DATABASEENTRY_H_

#include <stdexcept>
#include <string>
#include <utility>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/detail/CountedString.h"
#include "vorn/foundation/THandle.h"
#include "vorn/persistence/Archive.h"

namespace vorn {

namespace detail {

inline void write_entry_data(Archive& archive, const std::string& data) { write_counted_string(archive, data); }
inline void read_entry_data(Archive& archive, std::string& data) { data = read_counted_string(archive); }

template <class T>
void write_entry_data(Archive& archive, const T& data) {
  archive << data;
}
template <class T>
void read_entry_data(Archive& archive, T& data) {
  archive >> data;
}

}  // namespace detail

template <class T>
class DatabaseEntry {
 public:
  using data_type = T;

  // An empty identifier and a null handle, to be filled by read().
  DatabaseEntry() = default;

  DatabaseEntry(const DatabaseEntryIdentifier& id, THandle<T> data) : identifier_(id), data_(std::move(data)) {
    if (data_ == nullptr) {
      throw std::runtime_error("Illegal null data in entry " + identifier_ + " (DatabaseEntry::DatabaseEntry)");
    }
  }

  DatabaseEntryIdentifier identifier() const { return identifier_; }
  THandle<T> data() const noexcept { return data_; }

  void write(Archive& archive) const {
    identifier_.write(archive);
    detail::write_entry_data(archive, *data_);
  }

  // Reads the identifier, then the data into a new object, dropping any
  // previous data.
  void read(Archive& archive) {
    identifier_.read(archive);
    data_ = THandle<T>(new T());
    detail::read_entry_data(archive, *data_);
  }

 private:
  DatabaseEntryIdentifier identifier_;
  THandle<T> data_;
};

template <class T>
Archive& operator<<(Archive& archive, const DatabaseEntry<T>& entry) {
  entry.write(archive);
  return archive;
}

template <class T>
Archive& operator>>(Archive& archive, DatabaseEntry<T>& entry) {
  entry.read(archive);
  return archive;
}

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASEENTRY_H_
