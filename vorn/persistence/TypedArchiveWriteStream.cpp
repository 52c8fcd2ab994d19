#include "vorn/persistence/TypedArchiveWriteStream.h"

#include <string>

namespace vorn {

TypedArchiveWriteStream::~TypedArchiveWriteStream() = default;

void TypedArchiveWriteStream::begin_block(const char* tag, const char* type_name) { begin_block(tag, type_name, 0); }

void TypedArchiveWriteStream::begin_block(const char* tag, const char*, unsigned int version) {
  ArchiveWriteStream::write(tag, version);
}

void TypedArchiveWriteStream::write_type_name(const char* tag, const char* type_name) {
  ArchiveWriteStream::write(tag, std::string(type_name));
}

}  // namespace vorn
