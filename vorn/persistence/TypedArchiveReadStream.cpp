#include "vorn/persistence/TypedArchiveReadStream.h"

namespace vorn {

TypedArchiveReadStream::~TypedArchiveReadStream() = default;

bool TypedArchiveReadStream::find_block(const char* tag, const char*, PersistentReadStreamPresence) {
  ArchiveReadStream::read(tag, version_, ITEM_REQUIRED);
  return true;
}

bool TypedArchiveReadStream::find_type(const char* tag, std::string& type_name, PersistentReadStreamPresence) {
  ArchiveReadStream::read(tag, type_name, ITEM_REQUIRED);
  return true;
}

}  // namespace vorn
