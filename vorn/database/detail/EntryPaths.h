// Internal: do not include this file directly.
//
// Checks on identifiers before the archive database turns them into file
// names and index lines, and the byte image of a string entry file.
#ifndef VORN_DATABASE_DETAIL_ENTRYPATHS_H_
#define VORN_DATABASE_DETAIL_ENTRYPATHS_H_

#include <string>

#include "vorn/database/DatabaseEntryIdentifier.h"

namespace vorn::detail {

// Throws database_error "ArchiveDatabase::<operation>: identifier does not
// name a file inside the database directory: <id>" when `id` holds a zero
// byte or a ".." path component.
void check_entry_file_identifier(const char* operation, const DatabaseEntryIdentifier& id);

// Throws database_error "ArchiveDatabase::<operation>: identifier cannot be
// stored in the index file: <id>" when `id` would not read back from an index
// line as itself (a line end inside, blanks or tabs at its ends, or longer
// than the maximum length).
void check_index_identifier(const char* operation, const DatabaseEntryIdentifier& id);

// The entry file of a string entry: version 6, the identifier, the data,
// written through an archive in memory as any entry is.
std::string string_entry_image(const DatabaseEntryIdentifier& id, const std::string& data);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_ENTRYPATHS_H_
