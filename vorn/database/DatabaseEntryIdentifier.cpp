#include "vorn/database/DatabaseEntryIdentifier.h"

#include <ostream>
#include <stdexcept>

#include "vorn/database/detail/CountedString.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn {

DatabaseEntryIdentifier::DatabaseEntryIdentifier(const std::string& text) : text_(trim(text, " \t")) {
  if (text_.size() > maximum_length_) {
    throw std::invalid_argument(
        "DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid DatabaseEntryIdentifier (wrong size):" + text);
  }
}

void DatabaseEntryIdentifier::print(std::ostream& out) const { out << text_; }

void DatabaseEntryIdentifier::write(Archive& archive) const { detail::write_counted_string(archive, text_); }

void DatabaseEntryIdentifier::read(Archive& archive) { text_ = detail::read_counted_string(archive); }

void DatabaseEntryIdentifier::write(const char* name, PersistentWriteStream& stream) const {
  PersistentWriteStream::Block block(stream, name, "DatabaseEntryIdentifier");
  stream.write("id", text_);
}

void DatabaseEntryIdentifier::read(const char* name, PersistentReadStreamPresence presence,
                                   PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, name, "DatabaseEntryIdentifier", presence);
  std::string text;
  stream.read("id", text, ITEM_REQUIRED);
  text_ = std::move(text);
}

}  // namespace vorn
