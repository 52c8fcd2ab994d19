// Internal: do not include this file directly.
//
// The checks ArchiveDatabase::open makes before loading a database.
#ifndef VORN_DATABASE_DETAIL_DATABASEOPENING_H_
#define VORN_DATABASE_DETAIL_DATABASEOPENING_H_

#include <string>

#include "vorn/database/DatabaseOptions.h"

namespace vorn::detail {

// Makes sure that `directory` is a directory and that the index file
// `index_path` is there as `options` require, creating an empty one when
// asked to. Throws database_error "ArchiveDatabase::open: ..." naming the
// path otherwise, and for any failure of the file system.
void prepare_to_open(const std::string& directory, const std::string& index_path, const DatabaseOptions& options);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_DATABASEOPENING_H_
