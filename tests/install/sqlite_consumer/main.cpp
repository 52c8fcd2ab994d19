#include <stdlib.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/OpenDatabase.h"
#include "vorn/database/SqliteDatabase.h"

int main() {
  using Entry = vorn::DatabaseEntry<std::string>;
  char directory[] = "/tmp/vorn_sqlite_consumer_XXXXXX";
  if (::mkdtemp(directory) == nullptr) return 1;
  const std::string file = std::string(directory) + "/answers.sqlite";
  vorn::DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = true;
  {
    auto db = vorn::open_database<Entry>("sqlite:" + file, options);
    db->append(vorn::make_handle<Entry>(vorn::DatabaseEntryIdentifier("answer"), vorn::make_handle<std::string>("42")));
    std::cout << "consumer ok " << *db->entry(vorn::DatabaseEntryIdentifier("answer"))->data() << '\n';
  }
  ::unlink(file.c_str());
  ::unlink((file + "-wal").c_str());
  ::unlink((file + "-shm").c_str());
  ::rmdir(directory);
  return 0;
}
