// Fuzzes the gcd reader of DatabaseEntryIdentifierList against a line-by-line
// reading with vorn::getline: same identifiers, same exception.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>

#include "vorn/database/DatabaseEntryIdentifierList.h"
#include "vorn/foundation/StringFunctions.h"

namespace {

bool read_by_lines(const std::string& text, vorn::DatabaseEntryIdentifierList& list) {
  std::istringstream in(text);
  std::string line;
  try {
    while (!in.eof() && in.good()) {
      vorn::getline(in, line);
      if (in.eof() && line.empty()) break;
      line = vorn::trim(line, " \t");
      if (line.empty()) continue;
      if (line.size() >= 2 && line.front() == '"' && line.back() == '"') line = line.substr(1, line.size() - 2);
      if (line.find('"') != std::string::npos) continue;
      list.push_back(vorn::DatabaseEntryIdentifier(line));
    }
  } catch (const std::invalid_argument&) {
    return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  vorn::DatabaseEntryIdentifierList expected;
  const bool expected_ok = read_by_lines(text, expected);
  vorn::DatabaseEntryIdentifierList list;
  bool ok = true;
  std::istringstream in(text);
  try {
    list.read_from_file(in);
  } catch (const std::invalid_argument&) {
    ok = false;
  }
  if (ok != expected_ok || !(list == expected)) std::abort();

  // Whatever was read survives a write and a second reading.
  if (ok) {
    std::ostringstream out;
    list.write_gcd_file(out);
    vorn::DatabaseEntryIdentifierList again;
    std::istringstream back(out.str());
    again.read_from_file(back);
    std::size_t j = 0;
    for (const auto& id : list) {
      if (id.text().empty() || id.text().find_first_of("\r\n") != std::string::npos) continue;
      while (j < again.size() && again[j] != id) ++j;
      if (j == again.size()) std::abort();
    }
    vorn::DatabaseEntryIdentifierList sorted = list;
    sorted.sort();
    sorted.remove_duplicates();
    if (!vorn::is_equivalent(sorted, list)) std::abort();
  }
  return 0;
}
