#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/RepresentativeGraph.h"
#include "persistence/Shapes.h"
#include "persistence/StreamBytes.h"
#include "support/TestSupport.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/json/JsonReadStream.h"
#include "vorn/persistence/json/JsonWriteStream.h"
#include "vorn/testing/ArchiveRoundTrip.h"

namespace vorn {
namespace {

using test::Disc;
using test::Leaf;
using test::Polygon;
using test::Shape;
using testing::error_of;

template <class T>
std::string json_of(const T& value, const char* tag = "v", JsonWriteStream::Options options = {}) {
  std::ostringstream text;
  JsonWriteStream stream(text, options);
  stream.write(tag, value);
  stream.close();
  return text.str();
}

template <class T>
T read_json(const std::string& json, const char* tag = "v") {
  std::istringstream text(json);
  JsonReadStream stream(text);
  T value{};
  stream.read(tag, value);
  return value;
}

template <class T>
T round_trip(const T& value) {
  return read_json<T>(json_of(value));
}

// The value read back is the value written, bit for bit (an x86 long
// double has 10 bytes of value and padding after them), at the limits of
// each type and, for floating point, the special values.
template <class T>
void expect_round_trips(const char* type) {
  using L = std::numeric_limits<T>;
  constexpr std::size_t bytes = L::digits == 64 && sizeof(T) > 10 ? 10 : sizeof(T);
  std::vector<T> values{L::min(), L::max(), L::lowest(), T(0), T(1)};
  if constexpr (!L::is_integer) {
    values.insert(values.end(),
                  {L::denorm_min(), L::epsilon(), -T(0), T(0.1L), T(1) / T(3), L::infinity(), -L::infinity()});
    EXPECT_TRUE(std::isnan(round_trip(L::quiet_NaN()))) << type;
  }
  for (const T value : values) {
    SCOPED_TRACE(std::string(type) + " " + std::to_string(value));
    const T back = round_trip(value);
    EXPECT_EQ(std::memcmp(&back, &value, bytes), 0) << back;
  }
}

TEST(JsonPrimitives, NumbersRoundTripBitForBit) {
  expect_round_trips<signed char>("signed char");
  expect_round_trips<long long>("long long");
  expect_round_trips<unsigned long long>("unsigned long long");
  expect_round_trips<float>("float");
  expect_round_trips<double>("double");
  expect_round_trips<long double>("long double");
}

TEST(JsonWriting, DocumentedTextForms) {
  struct Case {
    const char* name;
    std::string json;
    std::string want;
  };
  const Case cases[] = {
      {"compact container", json_of(std::vector<int>{1, 2, 3}, "numbers"), R"({"numbers":[1,2,3]})"},
      {"unsigned long long maximum", json_of(std::numeric_limits<unsigned long long>::max()),
       R"({"v":18446744073709551615})"},
      {"shortest double", json_of(0.1), R"({"v":0.1})"},
      {"shortest float", json_of(0.1f), R"({"v":0.1})"},
      {"long double keeps its digits", json_of(1.0L / 3), R"({"v":"0.33333333333333333334"})"},
      {"NaN", json_of(std::numeric_limits<double>::quiet_NaN()), R"({"v":"NaN"})"},
      {"minus infinity", json_of(-std::numeric_limits<long double>::infinity()), R"({"v":"-Infinity"})"},
      {"zero byte", json_of(std::string("a\0b", 3)), R"({"v":"a\u0000b"})"},
      {"empty document", [] {
         std::ostringstream text;
         JsonWriteStream(text).close();
         return text.str();
       }(),
       "{}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.json, c.want);
  }
}

TEST(JsonPrimitives, StringsRoundTripByteForByte) {
  struct Case {
    const char* name;
    std::string text;
  };
  const Case cases[] = {
      {"quotes and backslashes", R"(say "hi" \ bye)"},
      {"control characters", "tab\tnew\nline\rbell\x07\x1f"},
      {"UTF-8", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"},
      {"zero bytes", std::string("\0a\0\0b\0", 6)},
      {"bytes that are not UTF-8", "\xff\xfe\x80"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(round_trip(c.text), c.text);
  }
}

TEST(JsonGraphs, GoldenFile) {
  test::expect_golden(json_of(test::Graph::make(), "graph", {true}) + "\n", "json/graph.json");
  test::Node::break_all_cycles();
  std::istringstream in(test::golden_contents("json/graph.json"));
  JsonReadStream stream(in);
  test::Graph back;
  stream.read("graph", back);
  EXPECT_EQ(archive_bytes(back), archive_bytes(test::Graph::make()));
  test::Node::break_all_cycles();
}

// The golden graph pins the handle layout, sharing and null handles; here
// the values are made through the factory by their "$type", and a class
// without a version writes none.
TEST(JsonPolymorphism, HandlesAreRecreatedThroughTheFactory) {
  THandle<Disc> disc(new Disc);
  disc->label = "north";
  THandle<Polygon> polygon(new Polygon);
  polygon->sides = 6;
  const std::vector<THandle<Shape>> shapes = {disc, polygon};
  const std::string json = json_of(shapes, "shapes");
  EXPECT_NE(json.find(R"("value":{"$type":"Polygon","sides":6}})"), std::string::npos) << json;
  const auto back = read_json<std::vector<THandle<Shape>>>(json, "shapes");
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(handle_dynamic_cast<Disc>(back[0])->label, "north");
  EXPECT_EQ(handle_dynamic_cast<Disc>(back[0])->read_version, 2u);
  EXPECT_EQ(handle_dynamic_cast<Polygon>(back[1])->sides, 6);
}

// A block without a version reads as version 0; the reader accepts the
// whole unsigned range.
TEST(JsonEvolution, OldAndNewClassVersionsAreRead) {
  EXPECT_EQ(read_json<Disc>(R"({"v":{"$type":"Disc","radius":3}})").read_version, 0u);
  EXPECT_EQ(read_json<Disc>(R"({"v":{"$type":"Disc","$version":4294967295,"radius":3,"label":""}})").read_version,
            4294967295u);
}

// Callers tell a missing item from a missing optional one by its type.
TEST(JsonReading, MissingItemsThrowTheirKind) {
  EXPECT_THROW(read_json<Leaf>(R"({"p":{"$type":"Leaf","name":"a"}})", "p"), PersistentReadStream::ItemNotPresent);
  std::istringstream in(R"({})");
  JsonReadStream stream(in);
  Leaf p;
  EXPECT_THROW(stream.read("p", p, ITEM_OPTIONAL), PersistentReadStream::OptionalItemNotPresent);
  std::string added_later;  // a field that older files lack
  EXPECT_THROW(stream.read("s", added_later, ITEM_OPTIONAL), PersistentReadStream::OptionalItemNotPresent);
}

// Items are found by tag, not position; a repeated tag is read in turn.
TEST(JsonReading, ItemsAreFoundByTagAndRepeatedTagsInTurn) {
  const Leaf leaf = read_json<Leaf>(R"({"p":{"$type":"Leaf","weight":-5,"name":"a"}})", "p");
  EXPECT_EQ(leaf.name, "a");
  EXPECT_EQ(leaf.weight, -5);
  std::istringstream in(R"({"n":1,"n":2,"other":true,"n":3})");
  JsonReadStream stream(in);
  for (int want : {1, 2, 3}) {
    int n = 0;
    stream.read("n", n);
    EXPECT_EQ(n, want);
  }
}

TEST(JsonReading, MalformedInputNamesLineAndColumn) {
  struct Case {
    const char* name;
    std::string json;
    std::string error;
  };
  const std::string prefix = "JsonReadStream::JsonReadStream: malformed JSON at ";
  const Case cases[] = {
      {"empty input", "", "line 1, column 1: The document is empty."},
      {"missing comma", "{\"a\":1\n \"b\":2}", "line 2, column 2: Missing a comma or '}' after an object member."},
      {"truncated", "{\"a\":[1,2", "line 1, column 10: Missing a comma or ']' after an array element."},
      {"bad literal", "{\n\n  \"a\": tru}", "line 3, column 11: Invalid value."},
      {"trailing garbage", "{} x", "line 1, column 4: The document root must not be followed by other values."},
      {"zero byte after the document", std::string("{}\0{", 4), "line 1, column 3: A zero byte outside a string."},
      {"top is an array", "[1]", "line 1, column 1: The document is not an object."},
      {"number beyond double", "{\"a\":1e400}", "line 1, column 6: Number too big to be stored in double."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::istringstream in(c.json);
    EXPECT_EQ(error_of([&] { JsonReadStream stream(in); }), prefix + c.error);
  }
}

template <class T>
std::string read_error(const std::string& json, const char* tag = "v") {
  return error_of([&] { read_json<T>(json, tag); });
}

TEST(JsonReading, ItemsThatCannotBeReadAreRefused) {
  struct Case {
    const char* name;
    std::string error;
    std::string want;
  };
  const std::string not_found = "Failed to find item with tag 'p' and type_name 'Leaf'";
  const std::size_t depth = 200000;
  const Case cases[] = {
      {"fraction as int", read_error<int>(R"({"v":1.5})"), "JsonReadStream::read: 'v' holds 1.5, not an int"},
      {"too large for int", read_error<int>(R"({"v":3000000000})"),
       "JsonReadStream::read: 'v' holds 3000000000, not an int"},
      {"beyond float", read_error<float>(R"({"v":1e39})"), "JsonReadStream::read: 'v' holds 1e39, not a float"},
      {"string as number", read_error<double>(R"({"v":"1"})"),
       "JsonReadStream::read: 'v' holds a string, not a double"},
      {"number as string", read_error<std::string>(R"({"v":1})"),
       "JsonReadStream::read: 'v' holds 1, not a std::string"},
      {"null as int", read_error<int>(R"({"v":null})"), "JsonReadStream::read: 'v' holds null, not an int"},
      {"negative version", read_error<Disc>(R"({"v":{"$type":"Disc","$version":-1}})"),
       "JsonReadStream::read: '$version' holds -1, not an unsigned int"},
      {"nesting too deep to recurse",
       read_error<std::vector<std::vector<int>>>("{\"v\":" + std::string(depth, '[') + std::string(depth, ']') + "}"),
       "JsonReadStream::read: 'item' holds an array, not an int"},
      {"required primitive", read_error<Leaf>(R"({"p":{"$type":"Leaf","name":"a"}})", "p"),
       "Failed to find item with tag 'weight' and type_name 'int'"},
      {"block of another type", read_error<Leaf>(R"({"p":{"$type":"Vector","name":"a","weight":2}})", "p"), not_found},
      {"an item that is not a block", read_error<Leaf>(R"({"p":[1,2]})", "p"), not_found},
      {"unknown class",
       read_error<THandle<Shape>>(R"({"v":{"$type":"Handle","serial_number":1,"value":{"$type":"Hexagon"}}})"),
       "Failed whilst reading tag'v' PolymorphicFactory did not contain a type with name 'Hexagon'"},
      {"no type name",
       read_error<THandle<Shape>>(R"({"v":{"$type":"Handle","serial_number":1,"value":{"radius":1}}})"),
       "Failed to find polymorphic item with tag 'value'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.error, c.want);
  }
}

TEST(JsonWriting, RefusedTagsAndFailedOutput) {
  struct Case {
    const char* name;
    std::string error;
    std::string want;
  };
  struct Odd {
    void write(const char* tag, PersistentWriteStream& s) const {
      PersistentWriteStream::Block block(s, tag, "Container");
      s.write("size", 1);
    }
  };
  const Case cases[] = {
      {"tag with a dollar", error_of([] { json_of(1, "$type"); }),
       "JsonWriteStream::write: tag '$type' begins with '$', which marks the stream's own keys"},
      {"other tag in a container", error_of([] { json_of(Odd{}, "odd"); }),
       "JsonWriteStream::write: tag 'size' inside a container, which holds only \"count\" and \"item\"s"},
      {"failed output", error_of([] {
         std::ostringstream text;
         text.setstate(std::ios::badbit);
         JsonWriteStream stream(text);
         stream.write("v", 1);
         stream.close();
       }),
       "JsonWriteStream::close: writing to the output stream failed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.error, c.want);
  }
}

}  // namespace
}  // namespace vorn
