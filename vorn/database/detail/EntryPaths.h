// Internal: do not include this file directly.
//
// Checks on identifiers before the archive database turns them into file
// names and index lines, and the byte image of a string entry file.
#ifndef VORN_DATABASE_DETAIL_ENTRYPATHS_H_
#define VORN_DATABASE_DETAIL_ENTRYPATHS_H_

#include <climits>
#include <cstddef>
#include <string>

#include "vorn/database/DatabaseEntryIdentifier.h"

namespace vorn::detail {

// The longest file name the database creates, in bytes (NAME_MAX of Linux
// file systems).
#ifdef NAME_MAX
constexpr std::size_t entry_file_name_limit = NAME_MAX;
#else
constexpr std::size_t entry_file_name_limit = 255;
#endif

// The most a temporary name may add to an entry file's name (".tmp", or
// ".tmp." with a process id and a serial number). Every identifier accepted
// leaves this much room, so rewriting an entry never meets the name limit.
constexpr std::size_t entry_temporary_suffix_limit = 32;

// Bad identifiers and index lines are quoted in messages up to this many
// bytes, followed by "..." when cut.
constexpr std::size_t message_quote_limit = 80;

// `text` as a message quotes it: at most message_quote_limit bytes, then
// "..." when cut, a zero byte shown as \0 so that it does not end the message.
std::string shown_in_message(const std::string& text);

// Refuses, with a database_error "ArchiveDatabase::<operation>: ...", an
// identifier that does not name exactly one file inside the directory of the
// database `name`, before anything is written:
// - "identifier is empty";
// - "identifier does not name a file inside the database directory: <id>"
//   for a zero byte or an empty, "." or ".." path component (so "s//b",
//   "s/./b", "/x" and "x/" are refused: they would alias "s/b" or leave the
//   directory);
// - "entry file name with its temporary suffix longer than 255 bytes: <id>"
//   when a component of the
//   entry file's path (the first with "<name>_", the last with ".ade" and
//   room for the temporary suffix) would exceed entry_file_name_limit.
void check_entry_file_identifier(const char* operation, const std::string& name, const DatabaseEntryIdentifier& id);

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
