#include "vorn/database/detail/EntryPaths.h"

#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/VersionedArchive.h"

namespace vorn::detail {

void check_entry_file_identifier(const char* operation, const std::string& name, const DatabaseEntryIdentifier& id) {
  const std::string& text = id.text();
  const auto prefix = [operation] { return std::string("ArchiveDatabase::") + operation + ": "; };
  if (text.empty()) throw database_error(prefix() + "identifier is empty");
  bool bad = text.find('\0') != std::string::npos;
  bool too_long = false;
  for (std::size_t start = 0; !bad && start <= text.size();) {
    std::size_t slash = text.find('/', start);
    const bool last = slash == std::string::npos;
    if (last) slash = text.size();
    const std::size_t length = slash - start;
    bad = length == 0 || text.compare(start, length, ".") == 0 || text.compare(start, length, "..") == 0;
    // The first component carries the database name, the last the extension
    // and, while it is rewritten, a temporary suffix.
    std::size_t file_name = length;
    if (start == 0) file_name += name.size() + 1;
    if (last) file_name += 4 + entry_temporary_suffix_limit;
    too_long = too_long || file_name > entry_file_name_limit;
    start = slash + 1;
  }
  if (bad) {
    throw database_error(prefix() + "identifier does not name a file inside the database directory: " +
                         shown_in_message(text));
  }
  if (too_long) {
    throw database_error(prefix() + "entry file name with its temporary suffix longer than " +
                         std::to_string(entry_file_name_limit) + " bytes: " + shown_in_message(text));
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
                         ": identifier cannot be stored in the index file: " + shown_in_message(text));
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
