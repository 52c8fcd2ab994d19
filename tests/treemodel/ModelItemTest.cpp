#include "vorn/treemodel/ModelItem.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/treemodel/IntegerAttribute.h"
#include "vorn/treemodel/TextAttribute.h"

namespace vorn {
namespace {

// Hands out 1, 2, 3, ... and counts its calls; can be told to fail.
class CountingSupplier : public AttributeSupplier {
 public:
  THandle<Attribute> attribute(ModelItem& item) override {
    ++calls;
    last_item = &item;
    if (fail) throw std::runtime_error("supplier failed");
    return THandle<Attribute>(new IntegerAttribute(calls));
  }
  int calls = 0;
  bool fail = false;
  const ModelItem* last_item = nullptr;
};

// An item that computes one attribute itself instead of asking the supplier.
class LabelledItem : public ModelItem {
 public:
  using ModelItem::ModelItem;
  THandle<Attribute> attribute_from_source(THandle<AttributeSupplier> supplier) override {
    ++own_computations;
    if (supplier == label) return THandle<Attribute>(new TextAttribute("label"));
    return ModelItem::attribute_from_source(supplier);
  }
  THandle<AttributeSupplier> label;
  int own_computations = 0;
};

int value_of(const THandle<Attribute>& a) { return a->as_integer(); }

TEST(ModelItem, DefaultStateAndIdentity) {
  ModelItem item;
  EXPECT_EQ(item.identifier().text(), "");
  EXPECT_TRUE(item.is_cache_empty());
  EXPECT_EQ(item.ncached_attributes(), 0);
  item.set_identifier(DatabaseEntryIdentifier("peak"));
  EXPECT_EQ(item.identifier().text(), "peak");

  const LabelledItem other(DatabaseEntryIdentifier("peak"));
  EXPECT_TRUE(item == other);  // different classes, same identifier
  EXPECT_TRUE(other == item);
  EXPECT_FALSE(item == ModelItem(DatabaseEntryIdentifier("Peak")));
  EXPECT_FALSE(item == ModelItem(DatabaseEntryIdentifier("pea")));
}

TEST(ModelItem, AttributeIsComputedOnceAndCached) {
  THandle<CountingSupplier> supplier(new CountingSupplier);
  THandle<AttributeSupplier> s = supplier;
  ModelItem item(DatabaseEntryIdentifier("a"));

  THandle<Attribute> first = item.attribute(s);
  EXPECT_EQ(item.attribute(s), first);
  EXPECT_EQ(supplier->calls, 1);
  EXPECT_EQ(supplier->last_item, &item);
  EXPECT_EQ(item.ncached_attributes(), 1);

  item.set_identifier(DatabaseEntryIdentifier("b"));  // keeps the cache
  EXPECT_EQ(item.ncached_attributes(), 1);

  item.clear_cached_attributes();
  EXPECT_TRUE(item.is_cache_empty());
  EXPECT_EQ(value_of(first), 1);  // a kept attribute outlives the cache entry
  EXPECT_EQ(value_of(item.attribute(s)), 2);
  EXPECT_EQ(supplier->calls, 2);
  item.clear_cached_attributes();
  item.clear_cached_attributes();
  EXPECT_TRUE(item.is_cache_empty());
}

TEST(ModelItem, CacheAttributeKeepsAnExistingEntryUntilUpdated) {
  THandle<CountingSupplier> one(new CountingSupplier), two(new CountingSupplier);
  ModelItem item;
  item.cache_attribute(one);
  item.cache_attribute(one);  // computed again, dropped
  EXPECT_EQ(one->calls, 2);
  EXPECT_EQ(item.ncached_attributes(), 1);
  EXPECT_EQ(value_of(item.attribute(one)), 1);

  item.cache_attributes({two, one, two});
  EXPECT_EQ(item.ncached_attributes(), 2);
  EXPECT_EQ(two->calls, 2);
  EXPECT_EQ(value_of(item.attribute(two)), 1);

  item.update_cached_attributes();
  EXPECT_EQ(item.ncached_attributes(), 2);
  EXPECT_EQ(value_of(item.attribute(one)), 4);
  EXPECT_EQ(value_of(item.attribute(two)), 3);
}

TEST(ModelItem, FailuresLeaveTheCacheAsItWas) {
  THandle<CountingSupplier> supplier(new CountingSupplier);
  THandle<CountingSupplier> other(new CountingSupplier);
  ModelItem item;
  item.attribute(other);
  supplier->fail = true;
  EXPECT_THROW(item.attribute(supplier), std::runtime_error);
  EXPECT_THROW(item.cache_attribute(supplier), std::runtime_error);
  EXPECT_EQ(item.ncached_attributes(), 1);

  const THandle<AttributeSupplier> null;
  const std::vector<std::function<void()>> paths = {
      [&] { item.attribute(null); }, [&] { item.cache_attribute(null); }, [&] { item.cache_attributes({null}); },
      [&] { item.attribute_from_source(null); }};
  for (const auto& path : paths) {
    try {
      path();
      ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "Internal error: access of null handle");
    }
    EXPECT_EQ(item.ncached_attributes(), 1);
  }
}

TEST(ModelItem, DerivedItemsComputeTheirOwnAttributes) {
  THandle<CountingSupplier> counting(new CountingSupplier);
  THandle<AttributeSupplier> label(new CountingSupplier);
  LabelledItem item(DatabaseEntryIdentifier("x"));
  item.label = label;
  EXPECT_EQ(item.attribute(label)->as_text(), "label");
  EXPECT_EQ(value_of(item.attribute(counting)), 1);
  EXPECT_EQ(item.own_computations, 2);
  item.update_cached_attributes();
  EXPECT_EQ(item.own_computations, 4);
  EXPECT_EQ(counting->calls, 2);
}

}  // namespace
}  // namespace vorn
