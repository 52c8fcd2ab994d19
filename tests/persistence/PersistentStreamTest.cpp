#include "vorn/persistence/PersistentReadStream.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "persistence/TaggedStreams.h"
#include "persistence/TempFile.h"
#include "vorn/foundation/THandle.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/DebugPrintStream.h"
#include "vorn/persistence/HandleReadRegistry.h"
#include "vorn/persistence/HandleWriteRegistry.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/PolymorphicFactory.h"
#include "vorn/persistence/PolymorphicPersistent.h"
#include "vorn/persistence/PolymorphicRegistrar.h"
#include "vorn/testing/ArchiveRoundTrip.h"
#include "vorn/testing/DebugPrintText.h"

namespace vorn {
namespace {

using test::Bytes;
using test::TaggedItem;
using test::TaggedReadStream;
using test::TaggedWriteStream;
using test::TempFile;

struct Item {
  int value = 0;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Item");
    s.write("value", value);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Item", presence);
    s.read("value", value);
  }
};

struct Other {
  std::string name;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Other");
    s.write("name", name);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Other", presence);
    s.read("name", name);
  }
};

class Shape {
 public:
  virtual ~Shape() = default;
  virtual void write(const char* tag, PersistentWriteStream& s) const = 0;
  virtual void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) = 0;
  virtual THandle<Shape> clone() const = 0;
  virtual const char* class_name() const = 0;
};

class Circle : public PolymorphicPersistent<Circle, Shape> {
 public:
  static constexpr const char* type_name_ = "Circle";
  double radius = 1;
  void write(const char* tag, PersistentWriteStream& s) const override {
    PersistentWriteStream::Block block(s, tag, class_name());
    s.write("radius", radius);
  }
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& s) override {
    PersistentReadStream::Block block(s, tag, class_name(), presence);
    s.read("radius", radius);
  }
};

class Square : public PolymorphicPersistent<Square, Shape> {  // never registered
 public:
  static constexpr const char* type_name_ = "Square";
  void write(const char* tag, PersistentWriteStream& s) const override { PersistentWriteStream::Block b(s, tag, "Square"); }
  void read(const char* tag, PersistentReadStreamPresence p, PersistentReadStream& s) override {
    PersistentReadStream::Block b(s, tag, "Square", p);
  }
};

const PolymorphicRegistrar<Shape, Circle> circle_registrar;

TEST(HandleProtocol, NullAndSharedHandlesPrintTheirItems) {
  THandle<Item> item(new Item{5});
  const std::vector<THandle<Item>> three = {item, item, item};
  EXPECT_EQ(debug_print_text(THandle<Item>(), "h"), "h (Handle)\n    serial_number: 0 \n");
  EXPECT_EQ(debug_print_text(three, "v"),
            "v (Container)\n"
            "    count: 3     item (Handle)\n"
            "        serial_number: 1         value (Item)\n"
            "            value: 5 \n"
            "\n"
            "    item (Handle)\n"
            "        serial_number: 1 \n"
            "    item (Handle)\n"
            "        serial_number: 1 \n"
            "\n");
}

TEST(HandleProtocol, SerialNumbersAreSharedAcrossHandleTypes) {
  THandle<Item> item(new Item{1});
  THandle<Other> other(new Other{"o"});
  Bytes bytes;
  {
    TempFile file;
    {
      Archive archive(file.name(), Archive::WRITE);
      ArchiveWriteStream s(archive);
      s.write("a", item);
      s.write("b", other);
      s.write("c", item);
      s.write("d", other);
    }
    bytes = file.bytes();
  }
  EXPECT_EQ(bytes, (Bytes{0, 0, 0, 1, 0, 0, 0, 1,          // serial 1, Item::value
                          0, 0, 0, 2, 0, 0, 0, 1, 'o',     // serial 2, Other::name
                          0, 0, 0, 1, 0, 0, 0, 2}));       // serials only
}

TEST(HandleProtocol, SharedObjectsAreRestoredShared) {
  struct Pair {
    THandle<Item> a, b, none;
    THandle<Other> other;
    void write(const char* tag, PersistentWriteStream& s) const {
      PersistentWriteStream::Block block(s, tag, "Pair");
      s.write("a", a);
      s.write("other", other);
      s.write("b", b);
      s.write("none", none);
    }
    void read(const char* tag, PersistentReadStreamPresence p, PersistentReadStream& s) {
      PersistentReadStream::Block block(s, tag, "Pair", p);
      s.read("a", a);
      s.read("other", other);
      s.read("b", b);
      s.read("none", none);
    }
  };
  Pair pair;
  pair.a = THandle<Item>(new Item{3});
  pair.b = pair.a;
  pair.other = THandle<Other>(new Other{"x"});
  const Pair back = archive_round_trip(pair);
  ASSERT_NE(back.a, nullptr);
  EXPECT_EQ(back.a, back.b);
  EXPECT_NE(back.a, pair.a);
  EXPECT_EQ(back.a.count_block()->strong_count(), 2);  // the stream's registry is gone
  EXPECT_EQ(back.a->value, 3);
  EXPECT_EQ(back.other->name, "x");
  EXPECT_EQ(back.none, nullptr);
}

TEST(HandleProtocol, SerialNumbersOutOfOrderAreRefused) {
  struct Case {
    const char* name;
    Bytes bytes;
    const char* message;
  };
  const std::vector<Case> cases = {
      {"first serial is 2", {0, 0, 0, 2, 0, 0, 0, 1}, "Handle serial number out of order.  Expected: 1 was: 2"},
      {"unknown serial after 1", {0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0, 5, 0, 0, 0, 0},
       "Handle serial number out of order.  Expected: 2 was: 5"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFile file;
    file.set_bytes(c.bytes);
    Archive archive(file.name(), Archive::READ);
    ArchiveReadStream s(archive);
    std::vector<THandle<Item>> items(2);
    try {
      s.read("first", items[0]);
      s.read("second", items[1]);
      FAIL() << "accepted";
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

TEST(HandleRegistries, SaveAndLoadFollowTheCounter) {
  THandle<Counter> counter(new Counter);
  HandleWriteRegistry<Item> writes(counter);
  THandle<Item> a(new Item);
  THandle<Item> b(new Item);
  EXPECT_EQ(writes.save(a), std::make_pair(1u, true));
  EXPECT_EQ(writes.save(THandle<Item>(a)), std::make_pair(1u, false));
  EXPECT_EQ(writes.save(b), std::make_pair(2u, true));
  EXPECT_EQ(a.count_block()->strong_count(), 2);  // the registry keeps the object alive

  THandle<Counter> read_counter(new Counter);
  HandleReadRegistry<Item> reads(read_counter);
  EXPECT_TRUE(reads.load(1).missing);
  try {
    reads.set_value(2, a);
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Handle serial number out of order.  Expected: 1 was: 2");
  }
  EXPECT_TRUE(reads.load(2).missing);  // not registered
  reads.set_value(2, a);                // the counter moved on past the mismatch
  EXPECT_EQ(reads.load(2).handle, a);
  EXPECT_FALSE(reads.load(2).missing);

  HandleWriteRegistry<Item> no_counter{THandle<Counter>()};
  EXPECT_THROW(no_counter.save(a), std::runtime_error);
}

TEST(PolymorphicFactory, RegistersCreatesAndReplaces) {
  EXPECT_TRUE(PolymorphicFactory<Shape>::has_type("Circle"));
  EXPECT_FALSE(PolymorphicFactory<Shape>::has_type("Square"));
  EXPECT_EQ(PolymorphicFactory<Shape>::create("Square"), nullptr);
  THandle<Shape> made = PolymorphicFactory<Shape>::create("Circle");
  ASSERT_NE(handle_dynamic_cast<Circle>(made), nullptr);

  THandle<Circle> big(new Circle);
  big->radius = 10;
  PolymorphicFactory<Shape>::register_class(big);
  EXPECT_EQ(handle_dynamic_cast<Circle>(PolymorphicFactory<Shape>::create("Circle"))->radius, 10);
  PolymorphicFactory<Shape>::register_class(THandle<Shape>(new Circle));  // back to the default prototype
  EXPECT_EQ(handle_dynamic_cast<Circle>(PolymorphicFactory<Shape>::create("Circle"))->radius, 1);
  EXPECT_THROW(PolymorphicFactory<Shape>::register_class(THandle<Shape>()), std::runtime_error);
}

TEST(PolymorphicHandles, WriteChecks) {
  THandle<Shape> circle(new Circle);
  THandle<Shape> square(new Square);
  TempFile file;
  {
    Archive archive(file.name(), Archive::WRITE);
    ArchiveWriteStream s(archive);
    for (const THandle<Shape>& h : {circle, THandle<Shape>()}) {
      try {
        s.write("shape", h);
        FAIL() << "archive stream accepted a polymorphic handle";
      } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Failed whilst writing as stream does not support polymorphism");
      }
    }
  }
  EXPECT_TRUE(file.bytes().empty());

  EXPECT_EQ(debug_print_text(THandle<Shape>(), "s"), "s (Handle)\n    serial_number: 0 \n");
  EXPECT_EQ(debug_print_text(circle, "s"), "s (Handle)\n    serial_number: 1     value (Circle)\n        radius: 1 \n\n");
  try {
    debug_print_text(square, "s");
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Error: Type 'Square' has not been registered with PolymorphicFactory");
  }
}

TEST(PolymorphicHandles, ReadBackThroughTheFactory) {
  THandle<Circle> circle(new Circle);
  circle->radius = 2.5;
  TaggedWriteStream out;
  const std::vector<THandle<Shape>> shapes = {circle, circle, THandle<Shape>()};
  out.write("shapes", shapes);

  TaggedReadStream in(out.items);
  std::vector<THandle<Shape>> back;
  in.read("shapes", back);
  ASSERT_EQ(back.size(), 3u);
  THandle<Circle> first = handle_dynamic_cast<Circle>(back[0]);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->radius, 2.5);
  EXPECT_EQ(back[1], back[0]);
  EXPECT_EQ(back[2], nullptr);
  EXPECT_TRUE(in.at_end());
}

TEST(PolymorphicHandles, ReadFailures) {
  // A type name that the factory does not know.
  std::vector<TaggedItem> hexagon = {{TaggedItem::BEGIN, "shape", "Handle", 0, ""},
                                     {TaggedItem::VALUE, "serial_number", "", 1, ""},
                                     {TaggedItem::BEGIN, "value", "Hexagon", 0, ""},
                                     {TaggedItem::END, "", "", 0, ""},
                                     {TaggedItem::END, "", "", 0, ""}};
  TaggedReadStream unknown(hexagon);
  THandle<Shape> shape;
  try {
    unknown.read("shape", shape);
    FAIL();
  } catch (const PersistentReadStream::UnknownTypeTag& e) {
    EXPECT_STREQ(e.what(),
                 "Failed whilst reading tag'shape' PolymorphicFactory did not contain a type with name 'Hexagon'");
  }

  // An archive holds no type names.
  for (PersistentReadStreamPresence presence : {ITEM_REQUIRED, ITEM_OPTIONAL}) {
    TempFile file;
    file.set_bytes({0, 0, 0, 1});
    Archive archive(file.name(), Archive::READ);
    ArchiveReadStream s(archive);
    try {
      s.read("shape", shape, presence);
      FAIL();
    } catch (const PersistentReadStream::ItemNotPresent& e) {
      EXPECT_STREQ(e.what(), "Failed to find polymorphic item with tag 'value'");
      EXPECT_EQ(dynamic_cast<const PersistentReadStream::OptionalItemNotPresent*>(&e) != nullptr,
                presence == ITEM_OPTIONAL);
    }
  }
}

TEST(MissingItems, RequiredAndOptionalBlocks) {
  TaggedWriteStream out;
  out.write("present", Item{4});
  Item item;
  {
    TaggedReadStream in(out.items);
    try {
      in.read("absent", item, ITEM_OPTIONAL);
      FAIL();
    } catch (const PersistentReadStream::OptionalItemNotPresent& e) {
      EXPECT_STREQ(e.what(), "Failed to find item with tag 'absent' and type_name 'Item'");
    }
    EXPECT_EQ(in.block_depth(), 0u);
    in.read("present", item);  // nothing was consumed by the failure
    EXPECT_EQ(item.value, 4);
  }
  TaggedReadStream in(out.items);
  EXPECT_THROW(in.read("absent", item), PersistentReadStream::ItemNotPresent);
  TaggedReadStream optional(out.items);
  EXPECT_THROW(optional.read("absent", item, ITEM_OPTIONAL), PersistentReadStream::ItemNotPresent);
}

// A chain of nodes, each one Handle block and one Chain block deep.
struct Chain {
  THandle<Chain> next;
  void write(const char* tag, PersistentWriteStream& s) const {
    PersistentWriteStream::Block block(s, tag, "Chain");
    s.write("next", next);
  }
  void read(const char* tag, PersistentReadStreamPresence p, PersistentReadStream& s) {
    PersistentReadStream::Block block(s, tag, "Chain", p);
    s.read("next", next);
  }
  static THandle<Chain> make(std::size_t length) {
    THandle<Chain> head;
    for (std::size_t i = 0; i < length; ++i) {
      THandle<Chain> node(new Chain);
      node->next = head;
      head = node;
    }
    return head;
  }
  // Unlinks iteratively so that destroying a long chain does not recurse.
  static void destroy(THandle<Chain> head) {
    while (head != nullptr) {
      THandle<Chain> next = head->next;
      head->next = THandle<Chain>();
      head = next;
    }
  }
};

TEST(BlockDepth, DeepNestingIsRefusedAboveTheLimit) {
  const std::size_t nodes = PersistentReadStream::default_maximum_block_depth / 2;
  TempFile file;
  THandle<Chain> chain = Chain::make(nodes);
  {
    Archive archive(file.name(), Archive::WRITE);
    ArchiveWriteStream s(archive);
    s.write("chain", chain);
  }
  Chain::destroy(chain);
  {
    // nodes handles + nodes chains + the final null handle: one block too many.
    Archive archive(file.name(), Archive::READ);
    ArchiveReadStream s(archive);
    THandle<Chain> back;
    try {
      s.read("chain", back);
      FAIL();
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "PersistentReadStream::Block: more than 2000 nested blocks reading 'next'");
    }
    Chain::destroy(back);
  }
  Archive archive(file.name(), Archive::READ);
  ArchiveReadStream s(archive);
  s.set_maximum_block_depth(nodes * 2 + 1);
  THandle<Chain> back;
  s.read("chain", back);
  EXPECT_TRUE(archive.at_end());
  EXPECT_EQ(s.block_depth(), 0u);
  Chain::destroy(back);
}

}  // namespace
}  // namespace vorn
