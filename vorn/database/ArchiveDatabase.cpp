#include "vorn/database/ArchiveDatabase.h"

namespace vorn {

template class Database<DatabaseEntry<std::string>>;
template class StoredDatabase<DatabaseEntry<std::string>>;
template class ArchiveDatabase<DatabaseEntry<std::string>>;

}  // namespace vorn
