#include "vorn/database/detail/EntryPaths.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

#include "vorn/database/database_error.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn::detail {

namespace {

void append_big_endian(std::string& out, std::uint32_t value) {
  out += static_cast<char>(value >> 24);
  out += static_cast<char>(value >> 16);
  out += static_cast<char>(value >> 8);
  out += static_cast<char>(value);
}

void append_counted(std::string& out, const std::string& text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::invalid_argument("write_counted_string: text of " + std::to_string(text.size()) +
                                " bytes does not fit a 32-bit length");
  }
  append_big_endian(out, static_cast<std::uint32_t>(text.size()));
  out += text;
}

}  // namespace

void check_entry_file_identifier(const char* operation, const DatabaseEntryIdentifier& id) {
  const std::string& text = id.text();
  bool bad = text.find('\0') != std::string::npos;
  for (std::size_t start = 0; !bad && start <= text.size();) {
    std::size_t slash = text.find('/', start);
    if (slash == std::string::npos) slash = text.size();
    bad = text.compare(start, slash - start, "..") == 0;
    start = slash + 1;
  }
  if (bad) {
    // A zero byte is shown as \0: written raw it would end the message.
    std::string shown;
    for (char c : text) {
      if (c == '\0') {
        shown += "\\0";
      } else {
        shown += c;
      }
    }
    throw database_error(std::string("ArchiveDatabase::") + operation +
                         ": identifier does not name a file inside the database directory: " + shown);
  }
}

void check_index_identifier(const char* operation, const DatabaseEntryIdentifier& id) {
  const std::string& text = id.text();
  const bool bad = text.size() > DatabaseEntryIdentifier::maximum_length_ ||
                   text.find_first_of("\n\r") != std::string::npos ||
                   (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.back() == ' ' ||
                                      text.back() == '\t'));
  if (bad) {
    throw database_error(std::string("ArchiveDatabase::") + operation +
                         ": identifier cannot be stored in the index file: " + text);
  }
}

std::string string_entry_image(const DatabaseEntryIdentifier& id, const std::string& data) {
  std::string image;
  image.reserve(12 + id.text().size() + data.size());
  append_big_endian(image, static_cast<std::uint32_t>(VersionedArchive::current_version));
  append_counted(image, id.text());
  append_counted(image, data);
  return image;
}

}  // namespace vorn::detail
