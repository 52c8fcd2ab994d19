// Fuzzes the entry-file reader of ArchiveDatabase: a damaged file gives a
// database_error naming it, never a crash, a partial entry or a huge
// allocation; a whole one reads back as what its bytes say.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/database_error.h"

namespace {

using Entry = vorn::DatabaseEntry<std::string>;

const std::string& scratch_directory() {
  static const std::string path = [] {
    char name[] = "/tmp/vorn_fuzz_entry_XXXXXX";
    return std::string(::mkdtemp(name));
  }();
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vorn::ArchiveDatabase<Entry> db(scratch_directory(), "fuzz", vorn::Archive::READ);
  const std::string path = scratch_directory() + "/fuzz_entry.ade";
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  Entry entry;
  try {
    db.read_entry(path, entry);
  } catch (const vorn::database_error& e) {
    if (std::string(e.what()).find(path) == std::string::npos) std::abort();
    return 0;
  }
  // A whole entry holds what its bytes say, each text cut at a zero byte.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto length_at = [&bytes](std::size_t at) {
    std::uint32_t n = 0;
    for (std::size_t i = 0; i < 4; ++i) n = (n << 8) | static_cast<unsigned char>(bytes.at(at + i));
    return static_cast<std::size_t>(n);
  };
  const auto text_at = [&bytes](std::size_t at, std::size_t n) {
    const std::string text = bytes.substr(at, n);
    return text.substr(0, text.find('\0'));
  };
  const std::size_t id_length = length_at(4);
  const std::size_t data_length = length_at(8 + id_length);
  if (12 + id_length + data_length > bytes.size()) std::abort();
  if (entry.identifier().text() != text_at(8, id_length)) std::abort();
  if (*entry.data() != text_at(12 + id_length, data_length)) std::abort();
  return 0;
}
