// Fuzzes the dip reader of DatabaseEntryIdentifierPairList and the pair
// operations on what it reads.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>

#include "vorn/database/DatabaseEntryIdentifierPairList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using PairList = vorn::DatabaseEntryIdentifierPairList;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::istringstream in(text);
  PairList list;
  try {
    list.read_from_file(in);
  } catch (const std::invalid_argument&) {
  }
  // Pairs without blanks, quotes or line ends read back as written.
  PairList plain;
  for (const auto& p : list) {
    if (!p.first.text().empty() && p.first.text().find_first_of(" \t\"\r\n") == std::string::npos &&
        !p.second.text().empty() &&
        p.second.text().find_first_of(" \t\"\r\n") == std::string::npos) {
      plain.push_back(p);
    }
  }
  std::ostringstream out;
  plain.write_dip_file(out);
  std::istringstream back(out.str());
  PairList again;
  again.read_from_file(back);
  if (!(again == plain)) std::abort();

  PairList unique = list;
  unique.remove_duplicates(PairList::order_ignored);
  if (!vorn::is_equivalent(unique, list, PairList::order_ignored)) std::abort();
  PairList only_a, only_b;
  vorn::difference(list, unique, only_a, only_b, PairList::order_ignored);
  if (!only_b.empty()) std::abort();
  return 0;
}
