// Needs no server: a locator of a socket directory where none listens must
// reach the PostgreSQL backend and be refused by it.
#include <iostream>
#include <string>

#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/OpenDatabase.h"
#include "vorn/database/PostgresDatabase.h"
#include "vorn/database/database_error.h"

int main() {
  using Entry = vorn::DatabaseEntry<std::string>;
  try {
    vorn::open_database<Entry>("postgresql:///none?host=/nonexistent-vorn-socket-dir", vorn::DatabaseOptions());
  } catch (const vorn::database_error& e) {
    const std::string what = e.what();
    if (what.rfind("PostgresDatabase::open: ", 0) == 0) {
      std::cout << "consumer ok 42\n";
      return 0;
    }
    std::cerr << what << '\n';
  }
  return 1;
}
