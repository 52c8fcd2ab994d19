// DatabaseEntry<T>: one record of an entry database, an identifier together
// with a counted handle to the record's data.
//
// The data handle is shared with whoever created it, not copied. The library
// stores DatabaseEntry<std::string>, whose data is an uninterpreted blob.
// Other data types need a default constructor and either
//   - `Archive& operator<<(Archive&, const T&)` and `Archive& operator>>
//     (Archive&, T&)` (the archive's own primitives qualify), used when
//     present; or
//   - the tagged persistence every persistent class has (`write(const char*,
//     PersistentWriteStream&) const` and `read(const char*,
//     PersistentReadStreamPresence, PersistentReadStream&)`, or the overloads
//     of PersistentContainers.h and the types/ headers): the data is then
//     stored through an ArchiveWriteStream as the item "data", exactly the
//     bytes `ArchiveWriteStream(archive).write("data", *data)` gives.
//
//   struct Reading {                       // a tagged persistent class
//     long long at = 0; double value = 0;
//     void write(const char* tag, vorn::PersistentWriteStream& s) const;
//     void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s);
//   };
//   vorn::ArchiveDatabase<vorn::DatabaseEntry<Reading>> readings(dir, "readings", vorn::Archive::WRITE);
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
#include <type_traits>
#include <utility>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/detail/CountedString.h"
#include "vorn/foundation/THandle.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"

namespace vorn {

namespace detail {

inline void write_entry_data(Archive& archive, const std::string& data) { write_counted_string(archive, data); }
inline void read_entry_data(Archive& archive, std::string& data) { data = read_counted_string(archive); }

// True when T has its own Archive operators (which then define its bytes).
template <class T, class = void>
struct HasArchiveOperators : std::false_type {};
template <class T>
struct HasArchiveOperators<T, std::void_t<decltype(std::declval<Archive&>() << std::declval<const T&>()),
                                          decltype(std::declval<Archive&>() >> std::declval<T&>())>>
    : std::true_type {};

template <class T>
void write_entry_data(Archive& archive, const T& data) {
  if constexpr (HasArchiveOperators<T>::value) {
    archive << data;
  } else {
    ArchiveWriteStream stream(archive);
    stream.write("data", data);
  }
}
template <class T>
void read_entry_data(Archive& archive, T& data) {
  if constexpr (HasArchiveOperators<T>::value) {
    archive >> data;
  } else {
    ArchiveReadStream stream(archive);
    stream.read("data", data);
  }
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

// A string handle in an archive: the string as an entry stores it. Writing a
// null handle raises the null-handle error; reading gives a fresh handle.
inline Archive& operator<<(Archive& archive, const THandle<std::string>& text) {
  detail::write_counted_string(archive, *text);
  return archive;
}

inline Archive& operator>>(Archive& archive, THandle<std::string>& text) {
  text = THandle<std::string>(new std::string(detail::read_counted_string(archive)));
  return archive;
}

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
