// The persistence framework on the representative graph against golden
// files, and then the streams over archives (their bytes, runs and damaged
// input), handles, polymorphism, missing items and the nesting limit. Set
// VORN_UPDATE_GOLDEN=1 to rewrite the golden files from the code (then check
// them by hand).
#include "vorn/persistence/PersistentReadStream.h"

#include <algorithm>
#include <array>
#include <list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/RepresentativeGraph.h"
#include "persistence/Shapes.h"
#include "persistence/StreamBytes.h"
#include "persistence/TaggedStreams.h"
#include "persistence/TempFile.h"
#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/DebugPrintStream.h"
#include "vorn/persistence/PolymorphicFactory.h"
#include "vorn/persistence/detail/HandleWriteRegistry.h"
#include "vorn/testing/ArchiveRoundTrip.h"
#include "vorn/testing/DebugPrintText.h"

namespace vorn {
namespace {

using test::Bytes;
using test::Graph;
using test::Leaf;
using test::Node;
using test::TaggedReadStream;
using test::TaggedWriteStream;
using test::TempFile;
using test::Disc;
using test::error_and_kind_of;
using test::Shape;
using test::Square;

template <class T, class... Options>
std::string read_from(const Bytes& bytes, T& value, Options... options) {
  return test::stream_read(std::string(bytes.begin(), bytes.end()), value, options...);
}

template <class T>
std::string read_error(const Bytes& bytes) {
  T value{};
  return read_from(bytes, value);
}

class GoldenRoundTrip : public ::testing::Test {
 protected:
  void TearDown() override { Node::break_all_cycles(); }
};

TEST_F(GoldenRoundTrip, ArchiveBytesAndReadBack) {
  const Graph graph = Graph::make();
  for (const auto& [format, name] : {std::pair(Archive::NATIVE_FORMAT, "graph_native.arc"),
                                     std::pair(Archive::PORTABLE_FORMAT, "graph_portable.arc")}) {
    SCOPED_TRACE(name);
    const Bytes bytes = archive_bytes(graph, format);
    test::expect_golden(std::string(bytes.begin(), bytes.end()), std::string("persistence/") + name);
    const Graph back = archive_round_trip(graph, format);  // which also checks that every byte was read
    EXPECT_EQ(archive_bytes(back), archive_bytes(graph));
    EXPECT_NE(back.first_leaf, graph.first_leaf);
  }
}

// Every prefix of the golden archive is a truncated file: reading it must end
// in an exception from the archive stream, never in a crash or a partial
// success.
TEST_F(GoldenRoundTrip, EveryTruncationThrows) {
  const std::string golden = test::golden_contents("persistence/graph_native.arc");
  for (std::size_t length = 0; length < golden.size(); ++length) {
    SCOPED_TRACE(length);
    Graph back;
    const Bytes prefix(golden.begin(), golden.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(read_from(prefix, back).substr(0, 25), "ArchiveReadStream::read: ");
  }
}

// The golden text covers the layout of every value, block, container and
// handle; these are the cases it cannot.
TEST_F(GoldenRoundTrip, DebugPrintText) {
  test::expect_golden(debug_print_text(Graph::make(), "graph"), "persistence/graph.txt");
  struct Row {
    const char* name;
    std::string text;
    const char* want;
  };
  const Row rows[] = {
      {"long double", debug_print_text(1.0L / 3, "ld"), "ld: 0.333333 "},
      {"quote in a string", debug_print_text(std::string("it's"), "t"), "t: 'it's' "},
      {"untagged pair", debug_print_text(std::make_pair(1, 'a')), " (Pair)\n    first: 1     second: 97 \n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.text, row.want);
  }
  std::ostringstream text;  // an unbalanced end of block stays at the top level
  DebugPrintStream s(text);
  s.begin_block("a", "A");
  s.end_block();
  s.end_block();
  s.write("m", 2);
  EXPECT_EQ(text.str(), "a (A)\n\n\nm: 2 ");
}

// Strings keep the bytes before their first NUL but consume all stored
// bytes; reading replaces a container's contents.
TEST(ArchiveStreams, StringsStopAtTheirFirstNulAndContainersAreReplaced) {
  std::string long_text(10000, '\x80');
  long_text[9000] = '\0';
  EXPECT_EQ(archive_round_trip(std::vector<std::string>{std::string("\0abc", 4), std::string("1234567\0", 8),
                                                        std::string("12345678\0x", 10),
                                                        std::string("123456789abcdef\0", 16),
                                                        std::string(17, '\xFF'), long_text}),
            (std::vector<std::string>{"", "1234567", "12345678", "123456789abcdef", std::string(17, '\xFF'),
                                      long_text.substr(0, 9000)}));
  using Pair = std::pair<std::vector<int>, std::map<int, int>>;
  Pair read = {{9, 9, 9}, {{5, 5}}};
  EXPECT_EQ(read_from(archive_bytes(Pair{{1, 2}, {{1, 1}}}), read), "");
  EXPECT_EQ(read, (Pair{{1, 2}, {{1, 1}}}));
}

// A container's run gives the bytes of its count and items written one by
// one, and reads back equal.
// The run also goes through a file, whose device buffer edges split values.
template <class C>
void expect_run_matches_single_values(const C& values, unsigned int format) {
  MemoryDevice singles;
  {
    Archive a(singles, Archive::WRITE | format);
    a << static_cast<unsigned int>(values.size());
    for (const auto& x : values) a << static_cast<typename C::value_type>(x);
  }
  const std::string single_image = singles.take();
  const Bytes expected(single_image.begin(), single_image.end());
  ASSERT_TRUE(archive_bytes(values, format) == expected);
  EXPECT_TRUE(archive_round_trip(values, format) == values);

  TempFile file;
  {
    Archive a(file.name(), Archive::WRITE | format);
    ArchiveWriteStream(a).write("", values);
  }
  ASSERT_TRUE(file.bytes() == expected);
  Archive in(file.name(), Archive::READ | format);
  C back{};
  ArchiveReadStream(in).read("", back);
  EXPECT_TRUE(back == values);
}

// Enough items to fill more than one of the archive's 1 MiB direct reads,
// of the file device's buffers and of the containers' read chunks.
template <class... T>
void expect_long_runs_match_single_values(unsigned int format) {
  auto sequence = [](auto zero) {
    std::vector<decltype(zero)> v((std::size_t{1} << 20) / std::min<std::size_t>(sizeof zero, 4) + 3);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<decltype(zero)>((i * 37) % 250);
    return v;
  };
  (expect_run_matches_single_values(sequence(T{}), format), ...);
}

// A list is written through the chunked copy that sets share: 10000 items
// cross its chunk edges; an array's run is the vector's.
TEST(ArchiveStreams, ContainerRunsGiveTheBytesOfSingleValues) {
  const std::vector<int> ints(10000, 3);
  for (unsigned int format : {Archive::NATIVE_FORMAT, Archive::PORTABLE_FORMAT}) {
    SCOPED_TRACE(format);
    expect_long_runs_match_single_values<char, unsigned char, bool, short, unsigned short, int, unsigned int, long,
                                         unsigned long, float, double, long double>(format);
    expect_run_matches_single_values(std::list<double>(ints.begin(), ints.end()), format);
  }
}

TEST(ArchiveStreams, DamagedFilesThrowBeforeAllocating) {
  const std::string eof = "ArchiveReadStream::read: unexpected end of file reading ";
  const std::string length = "ArchiveReadStream::read: string length ";
  const std::string count = "ArchiveReadStream::read: container count ";
  const std::string serial = "Handle serial number out of order.  Expected: ";
  using Handles = std::pair<THandle<Leaf>, THandle<Leaf>>;
  using Triple = std::array<short, 3>;
  EXPECT_EQ(read_error<int>({}), eof + "'v'");
  EXPECT_EQ(read_error<std::string>({0xFF, 0xFF, 0xFF, 0xFE}),
            length + "-2 exceeds the 0 bytes left in the file reading 'v'");
  EXPECT_EQ(read_error<std::string>({0, 0, 0, 9, 'a', 'b'}),
            length + "9 exceeds the 2 bytes left in the file reading 'v'");
  EXPECT_EQ(read_error<std::vector<int>>({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1}),
            count + "4294967295 needs at least 17179869180 bytes but the file has 4 left reading 'v'");
  EXPECT_EQ(read_error<std::list<std::string>>({0x10, 0, 0, 0}),
            count + "268435456 needs at least 1073741824 bytes but the file has 0 left reading 'v'");
  EXPECT_EQ(read_error<std::vector<int>>({0, 0, 0, 3, 0, 0, 0, 1, 0, 0}),
            count + "3 needs at least 12 bytes but the file has 6 left reading 'v'");
  EXPECT_EQ(read_error<std::vector<double>>({0, 0, 0, 2, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0, 0x3F, 0xF0}), eof + "'item'");
  EXPECT_EQ(read_error<std::vector<Leaf>>({0, 0, 0, 5, 0, 0, 0, 0}), eof + "'weight'");  // items of unknown size
  EXPECT_EQ(read_error<Triple>({0, 0, 0, 2, 0, 1, 0, 2}),
            "PersistentReadStream::read: container 'v' holds 2 items, expected 3");
  EXPECT_EQ(read_error<Handles>({0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 1}), serial + "1 was: 2");
  EXPECT_EQ(read_error<Handles>({0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 5, 0, 0, 0, 0}), serial + "2 was: 5");
}

TEST(ArchiveRoundTripHelper, AcceptsEmptyObjectsAndReportsReadsThatDoNotMirrorTheWrites) {
  struct Empty {  // writes nothing: any count of them is valid
    void write(const char*, PersistentWriteStream&) const {}
    void read(const char*, PersistentReadStreamPresence, PersistentReadStream&) {}
  };
  EXPECT_EQ(archive_round_trip(std::vector<Empty>(1000)).size(), 1000u);
  struct Lopsided {
    void write(const char*, PersistentWriteStream& s) const {
      s.write("a", 1);
      s.write("b", 2);
    }
    void read(const char*, PersistentReadStreamPresence, PersistentReadStream& s) { s.read("a", b); }
    int b = 0;
  };
  EXPECT_EQ(error_and_kind_of([] { archive_round_trip(Lopsided()); }),
            "archive_round_trip: 4 bytes written but not read back");
}

TEST(Handles, SharingIsRestoredAndRegistriesHoldTheObjectsOnlyWhileTheyLive) {
  THandle<Leaf> leaf(new Leaf{"", 3});
  const std::vector<THandle<Leaf>> back = archive_round_trip(std::vector<THandle<Leaf>>{leaf, leaf});
  EXPECT_EQ(back[0], back[1]);
  EXPECT_EQ(back[0]->weight, 3);
  EXPECT_EQ(back[0].count_block()->strong_count(), 2);  // the read registry is gone

  detail::HandleWriteRegistry<Leaf> writes(THandle<detail::Counter>(new detail::Counter));
  writes.save(THandle<Leaf>(leaf));
  EXPECT_EQ(leaf.count_block()->strong_count(), 2);  // the registry keeps the object alive
  EXPECT_THROW(detail::HandleWriteRegistry<Leaf>(THandle<detail::Counter>()).save(leaf), std::runtime_error);
}

TEST(PolymorphicFactory, RegistersCreatesAndReplaces) {
  EXPECT_TRUE(PolymorphicFactory<Shape>::has_type("Disc"));
  EXPECT_FALSE(PolymorphicFactory<Shape>::has_type("Square"));
  EXPECT_EQ(PolymorphicFactory<Shape>::create("Square"), nullptr);
  auto radius = [] { return handle_dynamic_cast<Disc>(PolymorphicFactory<Shape>::create("Disc"))->radius; };
  EXPECT_EQ(radius(), 1);
  THandle<Disc> big(new Disc);
  big->radius = 10;
  PolymorphicFactory<Shape>::register_class(big);
  EXPECT_EQ(radius(), 10);
  PolymorphicFactory<Shape>::register_class(THandle<Shape>(new Disc));  // back to the default prototype
  EXPECT_EQ(radius(), 1);
  EXPECT_THROW(PolymorphicFactory<Shape>::register_class(THandle<Shape>()), std::runtime_error);
}

TEST(PolymorphicHandles, WriteChecks) {
  const THandle<Shape> disc(new Disc);
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE);
    ArchiveWriteStream s(archive);
    for (const THandle<Shape>& h : {disc, THandle<Shape>()}) {
      EXPECT_EQ(error_and_kind_of([&] { s.write("shape", h); }),
                "Failed whilst writing as stream does not support polymorphism");
    }
  }
  EXPECT_TRUE(memory.take().empty());
  EXPECT_EQ(debug_print_text(disc, "s"),
            "s (Handle)\n    serial_number: 1     value (Disc)\n        radius: 1         label: '' \n\n");
  EXPECT_EQ(error_and_kind_of([] { debug_print_text(THandle<Shape>(new Square)); }),
            "Error: Type 'Square' has not been registered with PolymorphicFactory");
}

// Reading back through the factory, shared and null handles and unknown
// names are the typed archive streams' tests; a plain archive holds no type
// names, so a polymorphic handle cannot be read from it.
TEST(PolymorphicHandles, PlainArchivesHoldNoTypeNames) {
  THandle<Shape> shape;
  EXPECT_EQ(read_from({0, 0, 0, 1}, shape), "required: Failed to find polymorphic item with tag 'value'");
  EXPECT_EQ(read_from({0, 0, 0, 1}, shape, ITEM_OPTIONAL),
            "optional: Failed to find polymorphic item with tag 'value'");
}

TEST(MissingItems, RequiredAndOptionalBlocks) {
  TaggedWriteStream out;
  out.write("present", Leaf{"", 4});
  Leaf leaf;
  TaggedReadStream in(out.items);
  EXPECT_EQ(error_and_kind_of([&] { in.read("absent", leaf, ITEM_OPTIONAL); }),
            "optional: Failed to find item with tag 'absent' and type_name 'Leaf'");
  EXPECT_EQ(in.block_depth(), 0u);
  in.read("present", leaf);  // nothing was consumed by the failure
  EXPECT_EQ(leaf.weight, 4);
  EXPECT_EQ(error_and_kind_of([&] { TaggedReadStream(out.items).read("absent", leaf); }),
            "required: Failed to find item with tag 'absent' and type_name 'Leaf'");
}

TEST(BlockDepth, DeepNestingIsRefusedAboveTheLimit) {
  const std::size_t nodes = PersistentReadStream::default_maximum_block_depth / 2;
  THandle<Node> chain;
  for (std::size_t i = 0; i < nodes; ++i) {
    THandle<Node> node(new Node);
    node->next = chain;
    chain = node;
  }
  // Each node is one Handle and one Node block deep: the null leaf handle in
  // the innermost node is one block too many, for the writer as for the
  // reader.
  std::string write_error;
  try {
    archive_bytes(chain);
  } catch (const std::length_error& e) {
    write_error = e.what();
  }
  EXPECT_EQ(write_error, "PersistentWriteStream::Block: nesting deeper than 2000 blocks writing 'leaf'");
  const std::string bytes = test::stream_bytes(chain, nodes * 2 + 1);
  THandle<Node> back;
  EXPECT_EQ(test::stream_read(bytes, back),
            "PersistentReadStream::Block: more than 2000 nested blocks reading 'leaf'");
  EXPECT_EQ(test::stream_read(bytes, back, ITEM_REQUIRED, nodes * 2 + 1), "");
}

}  // namespace
}  // namespace vorn
