// DatabaseEntryIdentifier: the short text key that names a database entry, an
// element of an identifier list and the identifier of a model item.
//
// The text is stored with blanks and tabs removed from both ends and may be
// at most maximum_length_ (255) bytes long; it may be empty. Identity is the
// exact byte string: comparisons are case-sensitive and order bytes as
// unsigned, a proper prefix first ("AB" < "ABC" < "abc").
//
//   vorn::DatabaseEntryIdentifier id("  ABC\t");     // id.text() == "ABC"
//   const std::string& text = id;                    // converts implicitly
//   std::string file = "entry_" + id + ".ade";       // joins with strings
//   std::unordered_set<vorn::DatabaseEntryIdentifier> seen{id};
//
// In a persistent stream it is a block of type "DatabaseEntryIdentifier"
// with one string item "id":
//
//   stream.write("key", id);                   // or id.write("key", stream)
//   in_stream.read("key", id);
//
// In an archive an identifier is an unsigned 32-bit length followed by the
// bytes. Reading takes the text as it stands (no trimming, no length check)
// but cut at the first zero byte; a truncated archive is left failed().
//
// The constructor from text throws std::invalid_argument
// "DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid
// DatabaseEntryIdentifier (wrong size):<text>" when the trimmed text is longer
// than 255 bytes, quoting the argument untrimmed.
#ifndef VORN_DATABASE_DATABASEENTRYIDENTIFIER_H_
#define VORN_DATABASE_DATABASEENTRYIDENTIFIER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <utility>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/PersistentReadStream.h"

namespace vorn {

class Archive;
class PersistentWriteStream;

class VORN_API DatabaseEntryIdentifier {
 public:
  static constexpr std::uint32_t maximum_length_ = 255;

  DatabaseEntryIdentifier() = default;

  // Stores `text` without its leading and trailing blanks and tabs.
  explicit DatabaseEntryIdentifier(const std::string& text);

  const std::string& text() const noexcept { return text_; }
  /*implicit*/ operator const std::string&() const noexcept { return text_; }  // NOLINT

  // Inserts the text alone: no quotes, no line end.
  void print(std::ostream& out) const;

  void write(Archive& archive) const;
  // Replaces the identifier by the text read.
  void read(Archive& archive);

  // A block `name` of type "DatabaseEntryIdentifier" holding the string item
  // "id". Reading an absent block throws the stream's ItemNotPresent (or
  // OptionalItemNotPresent) and leaves the identifier unchanged.
  void write(const char* name, PersistentWriteStream& stream) const;
  void read(const char* name, PersistentReadStreamPresence presence, PersistentReadStream& stream);

  friend bool operator==(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) noexcept {
    return a.text_ == b.text_;
  }
  friend bool operator!=(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) noexcept {
    return a.text_ != b.text_;
  }
  friend bool operator<(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) noexcept {
    return a.text_ < b.text_;
  }
  friend bool operator>(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) noexcept {
    return a.text_ > b.text_;
  }
  friend bool operator<=(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) noexcept {
    return a.text_ <= b.text_;
  }
  friend bool operator>=(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) noexcept {
    return a.text_ >= b.text_;
  }

  // The conversion to const std::string& does not reach the standard
  // library's operator templates, so joining and inserting are spelled out.
  friend std::string operator+(const DatabaseEntryIdentifier& a, const std::string& b) { return a.text_ + b; }
  friend std::string operator+(const std::string& a, const DatabaseEntryIdentifier& b) { return a + b.text_; }
  friend std::string operator+(const DatabaseEntryIdentifier& a, const char* b) { return a.text_ + b; }
  friend std::string operator+(const char* a, const DatabaseEntryIdentifier& b) { return a + b.text_; }
  friend std::string operator+(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return a.text_ + b.text_;
  }

  friend std::ostream& operator<<(std::ostream& out, const DatabaseEntryIdentifier& id) {
    id.print(out);
    return out;
  }

  void swap(DatabaseEntryIdentifier& other) noexcept { text_.swap(other.text_); }

 private:
  std::string text_;
};

inline void swap(DatabaseEntryIdentifier& a, DatabaseEntryIdentifier& b) noexcept { a.swap(b); }

}  // namespace vorn

template <>
struct std::hash<vorn::DatabaseEntryIdentifier> {
  std::size_t operator()(const vorn::DatabaseEntryIdentifier& id) const noexcept {
    return std::hash<std::string>()(id.text());
  }
};

#endif  // VORN_DATABASE_DATABASEENTRYIDENTIFIER_H_
