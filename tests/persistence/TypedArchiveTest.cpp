// Typed archive streams: polymorphic handles and class versions in binary
// files, against a golden file, and damaged input.
#include "vorn/persistence/TypedArchiveReadStream.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/Shapes.h"
#include "persistence/StreamBytes.h"
#include "vorn/persistence/TypedArchiveWriteStream.h"

namespace vorn {
namespace {

using test::Disc;
using test::Polygon;
using test::Shape;
using test::stream_bytes;
using test::stream_read;

std::vector<THandle<Shape>> figures() {
  THandle<Disc> disc(new Disc);
  disc->radius = 2;
  disc->label = "d";
  THandle<Polygon> polygon(new Polygon);
  polygon->sides = 6;
  return {disc, polygon, disc, THandle<Shape>()};
}

TEST(TypedArchive, GoldenBytesAndPolymorphicRoundTrip) {
  const std::string bytes = stream_bytes<TypedArchiveWriteStream>(figures());
  test::expect_golden(bytes, "persistence/typed_archive.bin");

  std::vector<THandle<Shape>> back;
  ASSERT_EQ(stream_read<TypedArchiveReadStream>(bytes, back), "");
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

TEST(TypedArchive, DamagedAndUnknownInput) {
  const std::string good = stream_bytes<TypedArchiveWriteStream>(THandle<Shape>(new Polygon));
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
       "unknown type: Failed whilst reading tag'v' PolymorphicFactory did not contain a type with name 'Hexagon'"},
      {"name longer than the file", long_name,
       "ArchiveReadStream::read: string length 2130706439 exceeds the 15 bytes left in the file reading 'value'"},
      {"cut in the version", good.substr(0, 2), "ArchiveReadStream::read: unexpected end of file reading 'v'"},
      {"empty", "", "ArchiveReadStream::read: unexpected end of file reading 'v'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    THandle<Shape> shape;
    EXPECT_EQ(stream_read<TypedArchiveReadStream>(row.bytes, shape), row.error);
  }
}

}  // namespace
}  // namespace vorn
