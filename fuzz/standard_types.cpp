// Reads arbitrary bytes as the standard types of vorn/persistence/types/
// through an ArchiveReadStream. Every input must end in a value or an
// exception: never a crash, a hang, a leak or a huge allocation.
#include <chrono>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/types/chrono.h"
#include "vorn/persistence/types/complex.h"
#include "vorn/persistence/types/memory.h"
#include "vorn/persistence/types/optional.h"
#include "vorn/persistence/types/tuple.h"
#include "vorn/persistence/types/unordered_map.h"
#include "vorn/persistence/types/unordered_set.h"
#include "vorn/persistence/types/variant.h"

namespace {

// The same fields, in the same order, as the standard types test writes.
using Everything =
    std::tuple<std::optional<int>, std::optional<std::string>, std::variant<int, std::string>,
               std::tuple<signed char, long long, std::string>, std::unordered_map<std::string, int>,
               std::unordered_set<int>, std::unique_ptr<std::vector<short>>, std::unique_ptr<int>,
               std::complex<double>, std::chrono::milliseconds, std::chrono::system_clock::time_point>;

template <class T>
void read_as(const std::uint8_t* data, std::size_t size) {
  vorn::MemoryDevice input(data, size);
  vorn::Archive archive(input, vorn::Archive::READ);
  vorn::ArchiveReadStream stream(archive);
  T value;
  try {
    stream.read("v", value);
  } catch (const std::exception&) {
    // Damaged input: the exception is the expected outcome.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  read_as<Everything>(data, size);
  read_as<std::vector<std::optional<std::variant<std::tuple<>, std::unique_ptr<long long>>>>>(data, size);
  return 0;
}
