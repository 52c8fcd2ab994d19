// A fresh directory under /tmp for a database test, removed with its content
// at the end of the scope, and small helpers to read and write its files.
#ifndef VORN_TESTS_DATABASE_TEMPDIRECTORY_H_
#define VORN_TESTS_DATABASE_TEMPDIRECTORY_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/THandle.h"

namespace vorn::test {

struct TempDirectory {
  ~TempDirectory() { std::filesystem::remove_all(path); }
  std::string file(const std::string& name) const { return path + "/" + name; }
  std::string read(const std::string& name) const {
    std::ifstream in(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary | std::ios::trunc) << content;
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }
  std::string path = [] {
    char name[] = "/tmp/vorn_db_test_XXXXXX";
    return std::string(::mkdtemp(name));
  }();
};

// The message of the `E` that `action` throws: telling apart the kinds of
// error is part of what these tests check.
template <class E = database_error, class Action>
std::string what_of(Action action) {
  try {
    action();
  } catch (const E& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

// A string entry, as the database tests append them.
inline THandle<DatabaseEntry<std::string>> make_entry(const std::string& id, const std::string& data) {
  return make_handle<DatabaseEntry<std::string>>(DatabaseEntryIdentifier(id), make_handle<std::string>(data));
}

}  // namespace vorn::test

#endif  // VORN_TESTS_DATABASE_TEMPDIRECTORY_H_
