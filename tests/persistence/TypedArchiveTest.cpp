// Typed archive streams: polymorphic handles and class versions in binary
// files, against a golden file, and damaged input.
#include "vorn/persistence/TypedArchiveReadStream.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "vorn/io/MemoryDevice.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/PolymorphicPersistent.h"
#include "vorn/persistence/PolymorphicRegistrar.h"
#include "vorn/persistence/TypedArchiveWriteStream.h"

namespace vorn {
namespace {

class Figure {
 public:
  virtual ~Figure() = default;
  virtual void write(const char* tag, PersistentWriteStream& s) const = 0;
  virtual void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) = 0;
  virtual THandle<Figure> clone() const = 0;
  virtual const char* class_name() const = 0;
};

// Version 1 stored the radius only; version 2 added the label.
class Disc : public PolymorphicPersistent<Disc, Figure> {
 public:
  static constexpr const char* type_name_ = "Disc";
  double radius = 1;
  std::string label;
  unsigned int read_version = 99;
  void write(const char* tag, PersistentWriteStream& s) const override {
    PersistentWriteStream::Block block(s, tag, class_name(), 2);
    s.write("radius", radius);
    s.write("label", label);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) override {
    PersistentReadStream::Block block(s, tag, class_name(), presence);
    read_version = block.version();
    s.read("radius", radius);
    if (block.version() >= 2) s.read("label", label);
  }
};

class Polygon : public PolymorphicPersistent<Polygon, Figure> {
 public:
  static constexpr const char* type_name_ = "Polygon";
  int sides = 3;
  void write(const char* tag, PersistentWriteStream& s) const override {
    PersistentWriteStream::Block block(s, tag, class_name());
    s.write("sides", sides);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) override {
    PersistentReadStream::Block block(s, tag, class_name(), presence);
    s.read("sides", sides);
  }
};

const PolymorphicRegistrar<Figure, Disc> disc_registrar;
const PolymorphicRegistrar<Figure, Polygon> polygon_registrar;

template <class T>
std::string typed_bytes(const T& value) {
  MemoryDevice memory;
  {
    Archive archive(memory, Archive::WRITE);
    TypedArchiveWriteStream stream(archive);
    stream.write("v", value);
  }
  return memory.take();
}

// Reads `value` from `bytes`: the error, or "" when every byte was read.
template <class T>
std::string typed_read(const std::string& bytes, T& value) {
  MemoryDevice memory(bytes.data(), bytes.size());
  Archive archive(memory, Archive::READ);
  TypedArchiveReadStream stream(archive);
  try {
    stream.read("v", value);
  } catch (const std::exception& e) {
    return e.what();
  }
  return archive.at_end() ? "" : "bytes left over";
}

std::vector<THandle<Figure>> figures() {
  THandle<Disc> disc(new Disc);
  disc->radius = 2;
  disc->label = "d";
  THandle<Polygon> polygon(new Polygon);
  polygon->sides = 6;
  return {disc, polygon, disc, THandle<Figure>()};
}

const std::string golden_file = std::string(VORN_TEST_DATA_DIR) + "/persistence/typed_archive.bin";

TEST(TypedArchive, GoldenBytesAndPolymorphicRoundTrip) {
  const std::string bytes = typed_bytes(figures());
  if (std::getenv("VORN_UPDATE_GOLDEN") != nullptr) std::ofstream(golden_file, std::ios::binary) << bytes;
  std::ifstream in(golden_file, std::ios::binary);
  const std::string golden{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  EXPECT_TRUE(bytes == golden) << "differs from " << golden_file;

  std::vector<THandle<Figure>> back;
  ASSERT_EQ(typed_read(bytes, back), "");
  ASSERT_EQ(back.size(), 4u);
  const THandle<Disc> disc = handle_dynamic_cast<Disc>(back[0]);
  ASSERT_NE(disc, nullptr);
  EXPECT_EQ(disc->radius, 2);
  EXPECT_EQ(disc->label, "d");
  EXPECT_EQ(disc->read_version, 2u);
  EXPECT_EQ(handle_dynamic_cast<Polygon>(back[1])->sides, 6);
  EXPECT_EQ(back[2], back[0]);
  EXPECT_EQ(back[3], nullptr);
}

TEST(TypedArchive, DocumentedLayoutOfOneHandle) {
  THandle<Figure> polygon(new Polygon);
  EXPECT_EQ(typed_bytes(std::make_pair(7, polygon)),
            std::string("\0\0\0\0"                 // Pair block version
                        "\0\0\0\7"                 // first
                        "\0\0\0\0"                 // Handle block version
                        "\0\0\0\1"                 // serial number
                        "\0\0\0\7Polygon"          // class name
                        "\0\0\0\0"                 // Polygon block version
                        "\0\0\0\3",                // sides
                        35));
}

TEST(TypedArchive, DamagedAndUnknownInput) {
  const std::string good = typed_bytes(THandle<Figure>(new Polygon));
  std::string unknown = good;
  unknown.replace(12, 7, "Hexagon");
  std::string long_name = good;
  long_name[8] = '\x7F';
  struct Row {
    const char* name;
    std::string bytes;
    const char* error;
  };
  const Row rows[] = {
      {"unknown class name", unknown,
       "Failed whilst reading tag'v' PolymorphicFactory did not contain a type with name 'Hexagon'"},
      {"name longer than the file", long_name,
       "ArchiveReadStream::read: string length 2130706439 exceeds the 15 bytes left in the file reading 'value'"},
      {"cut in the version", good.substr(0, 2), "ArchiveReadStream::read: unexpected end of file reading 'v'"},
      {"empty", "", "ArchiveReadStream::read: unexpected end of file reading 'v'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    THandle<Figure> figure;
    EXPECT_EQ(typed_read(row.bytes, figure), row.error);
  }
}

}  // namespace
}  // namespace vorn
