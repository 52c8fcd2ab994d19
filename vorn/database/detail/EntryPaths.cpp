#include "vorn/database/detail/EntryPaths.h"

#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn::detail {

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
  MemoryDevice image;
  {
    VersionedArchive archive(image, Archive::WRITE);
    archive << static_cast<int>(VersionedArchive::current_version);
    id.write(archive);
    write_entry_data(archive, data);
  }
  return image.take();
}

}  // namespace vorn::detail
