// The standard types of vorn/persistence/types/: archive bytes pinned by a
// golden file, round trips through the archive, typed archive and tagged
// streams, debug print text, and values that cannot be restored.
#include <chrono>
#include <complex>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/RepresentativeGraph.h"
#include "persistence/StreamBytes.h"
#include "persistence/TaggedStreams.h"
#include "vorn/persistence/TypedArchiveReadStream.h"
#include "vorn/persistence/TypedArchiveWriteStream.h"
#include "vorn/persistence/types/chrono.h"
#include "vorn/persistence/types/complex.h"
#include "vorn/persistence/types/memory.h"
#include "vorn/persistence/types/optional.h"
#include "vorn/persistence/types/tuple.h"
#include "vorn/persistence/types/unordered_map.h"
#include "vorn/persistence/types/unordered_set.h"
#include "vorn/persistence/types/variant.h"
#include "vorn/testing/DebugPrintText.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::system_clock;
using test::stream_bytes;
using test::stream_read;
using test::stream_read_error;

// One of each standard type; the unordered ones hold one element so that
// their bytes do not depend on the hash.
struct Everything {
  std::optional<int> none;
  std::optional<std::string> some = "s";
  std::variant<int, std::string> variant = std::string("v");
  std::tuple<signed char, long long, std::string> tuple{-1, 1LL << 40, "t"};
  std::unordered_map<std::string, int> map{{"k", 2}};
  std::unordered_set<int> set{3};
  std::unique_ptr<std::vector<short>> owned = std::make_unique<std::vector<short>>(std::vector<short>{4});
  std::unique_ptr<int> null_owned;
  std::complex<double> complex{1.0, -2.0};
  std::chrono::milliseconds duration = 1500ms;
  Clock::time_point time = Clock::time_point(std::chrono::nanoseconds(1763800000123456789LL));

  static constexpr const char* tags[] = {"none",  "some",       "variant", "tuple",    "map", "set",
                                         "owned", "null_owned", "complex", "duration", "time"};
  template <class Self>
  static auto fields(Self& x) {
    return std::tie(x.none, x.some, x.variant, x.tuple, x.map, x.set, x.owned, x.null_owned, x.complex, x.duration,
                    x.time);
  }
  VORN_TEST_BLOCK(Everything)
};

// Contents that every read must replace.
Everything scrambled() {
  Everything x;
  x.none = 9;
  x.some.reset();
  x.variant = 5;
  x.null_owned = std::make_unique<int>(1);
  x.set = {7, 8};
  return x;
}

TEST(StandardTypes, ArchiveBytesMatchTheGoldenFile) {
  test::expect_golden(stream_bytes(Everything{}), "persistence/standard_types.arc");
}

// Each stream reads back what it wrote, replacing the contents it reads into.
TEST(StandardTypes, RoundTripThroughEveryStream) {
  const Everything original;
  const std::string bytes = stream_bytes(original);
  Everything back[] = {scrambled(), scrambled(), scrambled()};
  EXPECT_EQ(stream_read(bytes, back[0]), "");
  EXPECT_EQ(stream_read<TypedArchiveReadStream>(stream_bytes<TypedArchiveWriteStream>(original), back[1]), "");
  test::TaggedWriteStream out;
  out.write("v", original);
  test::TaggedReadStream(out.items).read("v", back[2]);
  const char* const streams[] = {"archive", "typed archive", "tagged"};
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(streams[k]);
    EXPECT_EQ(stream_bytes(back[k]), bytes);
  }
}

TEST(StandardTypes, DebugPrintShowsTheirItems) {
  struct Row {
    const char* name;
    std::string text;
    const char* want;
  };
  const Row rows[] = {
      {"optional", debug_print_text(std::optional<int>(3), "o"), "o (Optional)\n    present: 1     value: 3 \n"},
      {"variant", debug_print_text(std::variant<int, std::string>("x"), "v"),
       "v (Variant)\n    index: 1     value: 'x' \n"},
      {"duration", debug_print_text(std::chrono::seconds(-7), "d"), "d: -7 "},
      {"complex", debug_print_text(std::complex<float>(1, 2), "z"), "z (Complex)\n    real: 1     imag: 2 \n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.text, row.want);
  }
}

TEST(StandardTypes, ValuesThatCannotBeRestoredAreRefused) {
  struct Row {
    const char* name;
    std::string error;
    const char* want;
  };
  using Variant = std::variant<int, std::string>;
  using MicrosecondClock = std::chrono::time_point<Clock, std::chrono::microseconds>;
  const Row rows[] = {
      {"variant index beyond the alternatives", stream_read_error<Variant>(std::string("\0\0\0\7", 4)),
       "PersistentReadStream::read: variant 'v' index 7 is not below 2"},
      {"duration count beyond int",
       stream_read_error<std::chrono::duration<int, std::milli>>(stream_bytes(std::chrono::milliseconds(1LL << 40))),
       "PersistentReadStream::read: duration 'v' count 1099511627776 does not fit"},
      {"time point finer than the clock",
       stream_read_error<MicrosecondClock>(stream_bytes(std::chrono::nanoseconds(1500))),
       "PersistentReadStream::read: time point 'v' of 1500 ns does not fit the clock's duration"},
      {"empty optional truncated", stream_read_error<std::optional<int>>(std::string("\1", 1)),
       "ArchiveReadStream::read: unexpected end of file reading 'value'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.error, row.want);
  }
}

}  // namespace
}  // namespace vorn
