#include "vorn/database/EntryStore.h"

#include <sstream>

#include "vorn/database/database_error.h"

namespace vorn {

EntryStore::~EntryStore() = default;

std::string EntryStore::entry_location(const DatabaseEntryIdentifier& id) const {
  return id.text() + " in " + locator();
}

void EntryStore::position_error(int i) const {
  std::ostringstream message;
  message << class_name() << "::entry( int ) " << i << " is out of range";
  throw database_error(message.str());
}

}  // namespace vorn
