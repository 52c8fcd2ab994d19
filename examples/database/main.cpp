// An entry database in a directory: append, look up by identifier and by
// nearest identifier, replace, remove, reopen; then identifier lists with set
// operations, as kept in gcd files.
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>

#include "vorn/vorn.h"

namespace {

using Entry = vorn::DatabaseEntry<std::string>;
using Id = vorn::DatabaseEntryIdentifier;

vorn::THandle<Entry> entry(const std::string& id, const std::string& text) {
  return vorn::make_handle<Entry>(Id(id), vorn::make_handle<std::string>(text));
}

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  const std::filesystem::path directory = std::filesystem::temp_directory_path() / "vorn_example_database";
  std::filesystem::create_directories(directory);
  {
    vorn::DatabaseOptions options;
    options.writable = true;
    options.create_if_missing = true;
    auto db = vorn::ArchiveDatabase<Entry>::open(directory.string(), "spectra", options);
    db->append(entry("S100", "peaks at 1.2, 3.4"));
    db->append(entry("S200", "no peaks"));
    db->append(entry("s300", "one peak at 7.1"));
    db->replace(entry("S200", "one weak peak"));
    try {
      db->append(entry("S100", "again"));
    } catch (const vorn::database_error& e) {
      std::cout << "refused: " << e.what() << '\n';
    }
  }
  try {
    vorn::ArchiveDatabase<Entry>::open(directory.string(), "spectrum", vorn::DatabaseOptions());
  } catch (const vorn::database_error& e) {
    std::cout << "refused: " << e.what() << '\n';
  }
  {
    auto db = vorn::ArchiveDatabase<Entry>::open(directory.string(), "spectra", vorn::DatabaseOptions());
    for (const vorn::THandle<Entry>& e : *db) std::cout << e->identifier().text() << ": " << *e->data() << '\n';
    if (!db->find(Id("S999"))) std::cout << "no S999\n";
    vorn::ArchiveDatabase<Entry>::IdentifierMatch match;
    const int i = db->nearest_entry(Id("S300"), match);
    std::cout << "nearest to S300: " << db->identifier(i).text()
              << (match == vorn::ArchiveDatabase<Entry>::case_insensitive_match ? " (ignoring case)" : "") << '\n';
  }
  vorn::ArchiveDatabase<Entry>::delete_database_files(directory.string(), "spectra");
  std::filesystem::remove_all(directory);

  std::istringstream first_file("S100\nS200\n\"S400\"\n");
  std::istringstream second_file("S200\nS300\n");
  vorn::DatabaseEntryIdentifierList first;
  vorn::DatabaseEntryIdentifierList second;
  first.read_from_file(first_file);
  second.read_from_file(second_file);
  first.sort();
  second.sort();
  vorn::DatabaseEntryIdentifierList only_first;
  vorn::DatabaseEntryIdentifierList only_second;
  vorn::difference(first, second, only_first, only_second);
  std::cout << "only in the first list:\n";
  only_first.write_gcd_file(std::cout);
  return 0;
}
