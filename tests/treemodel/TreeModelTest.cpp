#include "vorn/treemodel/TreeModel.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/treemodel/CompareIdentifiers.h"
#include "vorn/treemodel/IdentifierEquals.h"
#include "vorn/treemodel/IntegerAttribute.h"
#include "vorn/treemodel/TreeModelFunctions.h"

namespace vorn {
namespace {

using Position = TreeModel::pre_order_iterator;
using Item = THandle<ModelItem>;

Item item(const std::string& id) { return Item(new ModelItem(DatabaseEntryIdentifier(id))); }

std::string printed(const TreeModel& model) {
  std::ostringstream out;
  model.print(out);
  return out.str();
}

std::string id_of(Position p) { return p.node() == nullptr ? "end" : (*p)->identifier().text(); }

TreeModelBranchIdentifiers path(const std::vector<std::string>& texts) {
  std::vector<DatabaseEntryIdentifier> ids(texts.begin(), texts.end());
  return TreeModelBranchIdentifiers(ids);
}

void expect_null_handle_error(const std::function<void()>& action) {
  try {
    action();
    ADD_FAILURE() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Internal error: access of null handle");
  }
}

// The value after "=" in an item's identifier ("c1=5" gives 5), counting calls.
class ValueSupplier : public AttributeSupplier {
 public:
  THandle<Attribute> attribute(ModelItem& item) override {
    ++calls;
    const std::string id = item.identifier().text();
    return THandle<Attribute>(new IntegerAttribute(std::stoi(id.substr(id.find('=') + 1))));
  }
  int calls = 0;
};

THandle<AttributeSupplier> values() { return THandle<AttributeSupplier>(new ValueSupplier); }

// Builds a model from lines of "<tabs>identifier", as print writes them.
void build(TreeModel& model, const std::string& text) {
  std::vector<Position> stack;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    const std::size_t depth = line.find_first_not_of('\t');
    stack.resize(depth);
    if (depth > 0) {
      stack.push_back(model.append_child(stack.back(), item(line.substr(depth))));
    } else {
      stack.push_back(model.empty() ? model.insert(item(line))
                                    : model.insert_after(model.top_level_begin().range_last(), item(line)));
    }
  }
}

TEST(TreeModel, APIExamples) {
  TreeModel model;
  EXPECT_TRUE(model.is_duplicate_checking_on());
  EXPECT_EQ(model.begin(), model.end());
  const Position r = model.insert(item("r"));
  const Position c = model.append_child(r, item("c"));
  EXPECT_EQ(printed(model), "r\n\tc\n");
  EXPECT_EQ(model.size(), 2u);
  EXPECT_EQ(model.depth(c), 1);
  EXPECT_TRUE(model.is_valid(c));
  EXPECT_FALSE(model.is_valid(model.end()));
  EXPECT_FALSE(model.is_valid(std::prev(model.begin())));
  EXPECT_FALSE(model.is_valid(Position()));

  EXPECT_EQ(model.find(model.begin(), model.end(), "c"), c);
  EXPECT_EQ(model.find(model.begin(), model.end(), DatabaseEntryIdentifier(" c\t")), c);
  EXPECT_EQ(model.find(model.begin(), c, "c"), c);  // `to` when missing
  EXPECT_EQ(model.find(model.begin(), model.end(), "C"), model.end());
  EXPECT_EQ(model.find_sibling(model.top_level_begin(), model.top_level_end(), DatabaseEntryIdentifier("r")), r);
  EXPECT_EQ(model.find_sibling(r.begin(), r.end(), DatabaseEntryIdentifier("x")).node(), nullptr);
  EXPECT_THROW(model.find(model.begin(), model.end(), std::string(256, 'x')), std::invalid_argument);
  EXPECT_EQ(model.remove(r), model.end());
  EXPECT_TRUE(model.empty());
}

TEST(TreeModel, DuplicateCheckingGivesSiblingsUniqueIdentifiers) {
  const struct {
    const char* name;
    const char* existing;  // built with checking off
    const char* where;     // "top", "after <id>" or "child <id>"
    const char* expected;
  } cases[] = {
      {"empty model", "", "top", "a\n"},
      {"a taken", "a\n", "top", "a_1\na\n"},
      {"a and a_1 taken", "a\na_1\n", "top", "a_2\na\na_1\n"},
      {"first gap", "a\na_2\n", "top", "a_1\na\na_2\n"},
      {"only canonical suffixes count", "a\na_01\na_x\na_-1\na_1_1\n", "top", "a_1\na\na_01\na_x\na_-1\na_1_1\n"},
      {"never stacked", "a\na_1\na_1_1\n", "top", "a_2\na\na_1\na_1_1\n"},
      {"a_1 alone does not block a", "a_1\n", "top", "a\na_1\n"},
      {"case matters", "A\n", "top", "a\nA\n"},
      {"after a top-level item", "a\nb\n", "after a", "a\na_1\nb\n"},
      {"after a child, among its siblings", "a\n\ta\n\tb\n", "after b", "a\n\ta\n\tb\n\ta_1\n"},
      {"as a child, among the children", "a\n\tb\n", "child a", "a\n\tb\n\ta\n"},
      {"as a child, colliding", "p\n\ta\n\ta_1\n", "child p", "p\n\ta\n\ta_1\n\ta_2\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TreeModel model;
    model.set_duplicate_checking(false);
    build(model, c.existing);
    model.set_duplicate_checking(true);
    const std::string where = c.where;
    const Item added = item("a");
    const Position at = where == "top" ? model.end() : model.find(model.begin(), model.end(), where.substr(6));
    const Position p = where == "top"              ? model.insert(added)
                       : where.rfind("after", 0) == 0 ? model.insert_after(at, added)
                                                      : model.append_child(at, added);
    EXPECT_EQ(*p, added);
    EXPECT_EQ(printed(model), c.expected);
  }
}

TEST(TreeModel, RepeatedInsertsWithAndWithoutChecking) {
  TreeModel model, unchecked;
  unchecked.set_duplicate_checking(false);
  EXPECT_FALSE(unchecked.is_duplicate_checking_on());
  for (int i = 0; i < 3; ++i) {
    model.insert(item("a"));
    unchecked.insert(item("a"));
  }
  EXPECT_EQ(printed(model), "a_2\na_1\na\n");
  EXPECT_EQ(printed(unchecked), "a\na\na\n");
  model.append_children(model.begin(), model.top_level_begin(), model.top_level_end());  // copies keep their names
  EXPECT_EQ(printed(model), "a_2\n\ta_2\n\ta_1\n\ta\na_1\na\n");
}

TEST(TreeModel, OverlongSuffixRaisesTheSizeErrorAndChangesNothing) {
  const std::string message =
      "DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid DatabaseEntryIdentifier (wrong size):";
  const struct {
    std::size_t base_length;
    int taken_suffixes;  // base_1 .. base_n exist besides base
    const char* first_too_long;
  } cases[] = {{255, 0, "_1"}, {254, 0, "_1"}, {253, 9, "_10"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.base_length);
    const std::string base(c.base_length, 'p');
    TreeModel model;
    model.set_duplicate_checking(false);
    const Position parent = model.insert(item("parent"));
    model.append_child(parent, item(base));
    for (int i = 1; i <= c.taken_suffixes; ++i) model.append_child(parent, item(base + "_" + std::to_string(i)));
    model.set_duplicate_checking(true);
    const std::string before = printed(model);
    const Item added = item(base);
    try {
      model.append_child(parent, added);
      ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& e) {
      EXPECT_EQ(e.what(), message + base + c.first_too_long);
    }
    EXPECT_THROW(model.insert_after(parent.begin(), added), std::invalid_argument);
    EXPECT_EQ(added->identifier().text(), base);
    EXPECT_EQ(printed(model), before);
  }
}

TEST(TreeModel, NullItemsRaiseTheNullHandleError) {
  TreeModel model;
  model.insert(item("b"));
  expect_null_handle_error([&] { model.insert(Item()); });
  expect_null_handle_error([&] { model.append_child(model.begin(), Item()); });
  EXPECT_EQ(printed(model), "b\n");

  model.set_duplicate_checking(false);
  model.insert(Item());  // nothing is read, so nothing is checked
  model.insert(item("c"));
  expect_null_handle_error([&] { printed(model); });
  expect_null_handle_error([&] { model.find(model.begin(), model.end(), "b"); });
  expect_null_handle_error([&] { model.sort(model.top_level_begin(), model.top_level_end(), false); });
  expect_null_handle_error([&] { model.find_ranges_of_equivalent_items(values()); });
  model.set_duplicate_checking(true);
  expect_null_handle_error([&] { model.insert(item("d")); });
  expect_null_handle_error([] { IdentifierEquals<Item>(DatabaseEntryIdentifier("x"))(Item()); });
  expect_null_handle_error([] { CompareIdentifiers<Item>(1)(item("a"), Item()); });
  EXPECT_EQ(id_of(model.begin()), "c");  // the failed sort moved nothing
  EXPECT_EQ(*std::next(model.begin()), nullptr);
}

TEST(TreeModel, SortOrdersIdentifiersDescendingAndStably) {
  EXPECT_TRUE(CompareIdentifiers<Item>(1)(item("a"), item("b")));
  EXPECT_FALSE(CompareIdentifiers<Item>(1)(item("b"), item("a")));
  EXPECT_TRUE(CompareIdentifiers<Item>(0)(item("b"), item("a")));
  EXPECT_TRUE(CompareIdentifiers<Item>(-1)(item("b"), item("a")));
  const struct {
    const char* tree;
    bool deep;
    const char* expected;
  } cases[] = {
      {"b\nc\na\n", false, "c\nb\na\n"},
      {"a\nab\nB\n", false, "ab\na\nB\n"},
      {"a\n\tx\n\ty\nb\n", false, "b\na\n\tx\n\ty\n"},
      {"a\n\tx\n\t\tm\n\t\tn\n\ty\nb\n", true, "b\na\n\ty\n\tx\n\t\tn\n\t\tm\n"},
      {"a\n\tx\n\ty\n", true, "a\n\ty\n\tx\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tree);
    TreeModel model;
    build(model, c.tree);
    model.sort(model.top_level_begin(), model.top_level_end(), c.deep);
    EXPECT_EQ(printed(model), c.expected);
  }
  TreeModel model;
  model.set_duplicate_checking(false);
  const Item first = item("a"), second = item("a");
  for (const Item& i : {item("b"), second, first}) model.insert(i);
  model.sort(model.top_level_begin(), model.top_level_end(), false);
  EXPECT_EQ(printed(model), "b\na\na\n");
  EXPECT_EQ(*std::next(model.begin()), first);
}

TEST(TreeModel, FindAlongAnIdentifierPath) {
  TreeModel model;
  model.set_duplicate_checking(false);
  build(model, "a\n\tb\n\t\tc\n\tb\n\t\td\nx\n\ty\n");
  const struct {
    std::vector<std::string> path;
    int expected;  // index in pre-order, -1 for end()
  } cases[] = {
      {{"a"}, 0},  {{"a", "b"}, 1}, {{"a", "b", "c"}, 2},  {{"a", "b", "d"}, -1},  // only the first b is followed
      {{"x"}, 5},  {{"x", "y"}, 6}, {{"x", "y", "z"}, -1}, {{"b"}, -1}, {{"a", "q"}, -1}, {{}, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.path));
    EXPECT_EQ(model.find(path(c.path)), c.expected < 0 ? model.end() : std::next(model.begin(), c.expected));
  }
  const TreeModel empty;
  EXPECT_EQ(empty.find(path({"a"})), empty.end());

  // The ranged form starts below `from`, whose own path must agree.
  const Position a = model.begin(), second_b = std::next(a, 3), x = std::next(a, 5);
  EXPECT_EQ(model.find(a, model.end(), path({"a", "b", "c"})), std::next(a, 2));
  EXPECT_EQ(model.find(second_b, model.end(), path({"a", "b", "d"})), std::next(a, 4));
  EXPECT_EQ(model.find(second_b, model.end(), path({"a", "b"})), second_b);
  EXPECT_EQ(model.find(x, model.end(), path({"x", "y"})), std::next(a, 6));
  EXPECT_EQ(model.find(x, model.end(), path({"a", "b"})), model.end());         // off the path
  EXPECT_EQ(model.find(second_b, model.end(), path({"a"})), model.end());        // deeper than the path
  EXPECT_EQ(model.find(model.end(), model.end(), path({"a"})), model.end());
  EXPECT_EQ(model.find(a, std::next(a, 2), path({"a", "b", "c"})), model.end());  // stops at `to`
}

// Counts the virtual structural calls a derived model sees.
class CountingModel : public TreeModel {
 public:
  pre_order_iterator insert(THandle<ModelItem> item) override {
    ++inserts;
    return TreeModel::insert(std::move(item));
  }
  pre_order_iterator append_child(pre_order_iterator position, THandle<ModelItem> item) override {
    ++appends;
    return TreeModel::append_child(position, std::move(item));
  }
  THandle<TreeModel> clone() const override { return THandle<TreeModel>(new CountingModel(*this)); }
  int inserts = 0, appends = 0;
};

TEST(TreeModel, MergeBranchAddsOnlyWhatIsMissing) {
  TreeModel source;
  const Position y = source.append_child(source.append_child(source.insert(item("r")), item("x")), item("y"));
  const TreeModelBranch branch(y);
  CountingModel model;
  const Position x = model.append_child(model.insert(item("r")), item("x"));
  model.inserts = model.appends = 0;
  const Position added = model.merge_branch(branch);
  EXPECT_EQ(printed(model), "r\n\tx\n\t\ty\n");
  EXPECT_EQ(*added, *y);  // the branch's own item object
  EXPECT_EQ(TreeModel::tree_type::parent(added), x);
  EXPECT_EQ(model.inserts + 10 * model.appends, 10);
  EXPECT_EQ(model.merge_branch(branch), added);  // nothing left to add
  EXPECT_EQ(model.merge_branch(TreeModelBranch(Position())), model.end());  // an empty branch

  CountingModel other;
  other.insert(item("other"));
  EXPECT_EQ(id_of(other.merge_branch(branch)), "y");
  EXPECT_EQ(printed(other), "r\n\tx\n\t\ty\nother\n");
  EXPECT_EQ(other.inserts + 10 * other.appends, 2 + 20);
}

TEST(TreeModel, CloneAndMergeShareItemObjects) {
  CountingModel model;
  model.set_duplicate_checking(false);
  model.append_child(model.insert(item("r")), item("c"));
  const THandle<TreeModel> copy = model.clone();
  EXPECT_NE(handle_dynamic_cast<CountingModel>(copy), nullptr);
  EXPECT_FALSE(copy->is_duplicate_checking_on());
  (*copy->begin())->set_identifier(DatabaseEntryIdentifier("renamed"));
  copy->remove(std::next(copy->begin()));
  EXPECT_EQ(printed(model), "renamed\n\tc\n");
  EXPECT_EQ(printed(*copy), "renamed\n");

  // merge matches the same object, not an equal identifier.
  TreeModel into, from;
  from.set_duplicate_checking(false);
  const Item shared = item("s");
  into.insert(shared);
  from.append_child(from.insert(shared), item("child"));
  from.insert_after(from.top_level_begin().range_last(), item("s"));
  into.merge(into.top_level_begin(), into.top_level_end(), from.top_level_begin(), from.top_level_end(), false);
  EXPECT_EQ(printed(into), "s\n\tchild\ns\n");
}

TEST(TreeModel, RangesOfEquivalentItemsIgnoreDepthAndDropATrailingRun) {
  const struct {
    const char* tree;
    std::vector<std::pair<int, int>> ranges;  // pre-order indices, both inclusive
  } cases[] = {
      {"a=1\nb=1\nc=2\nd=2\n", {{0, 1}}},
      {"a=1\nb=1\nc=2\nd=2\ne=3\n", {{0, 1}, {2, 3}}},
      {"a=1\nb=1\nc=1\n", {}},
      {"a=1\n", {}},
      {"", {}},
      {"a=1\n\tb=1\n\tc=2\nd=3\n", {{0, 1}}},  // parent and first child
      {"a=1\n\tb=2\nc=2\nd=3\n", {{1, 2}}},   // last child and the next top-level item
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tree);
    TreeModel model;
    build(model, c.tree);
    std::vector<std::pair<int, int>> got;
    for (const TreeModelRange& r : model.find_ranges_of_equivalent_items(values())) {
      got.emplace_back(std::distance(model.begin(), r.first), std::distance(model.begin(), r.last));
    }
    EXPECT_EQ(got, c.ranges);
  }
  TreeModel model;  // comparing fills the caches, so a second search asks no supplier
  build(model, "a=1\nb=1\nc=2\n");
  const THandle<ValueSupplier> supplier(new ValueSupplier);
  model.find_ranges_of_equivalent_items(supplier);
  model.find_ranges_of_equivalent_items(supplier);
  EXPECT_EQ(supplier->calls, 3);
}

TEST(TreeModel, RangesOfEquivalentSiblings) {
  const struct {
    const char* tree;
    const char* ranges;  // "first..last" per range
  } cases[] = {
      {"p=0\n\tc1=1\n\tc2=1\n\tc3=2\n\tc4=2\n", "c1=1..c3=2 c3=2..end"},
      {"p=0\n\tc=1\n", ""},
      {"a=1\nb=1\n", ""},  // the top level is never compared
      {"p=0\n\ta=1\n\tb=2\n\tc=1\n", ""},
      {"p=0\n\ta=1\n\t\tx=5\n\t\ty=5\n\tb=1\n\t\tz=6\n\t\tw=6\n\t\tv=7\n\tc=2\n", "x=5..end z=6..v=7 a=1..c=2"},
      {"p=0\n\tq=0\n\t\tr=0\n\t\t\ts=3\n\t\t\tt=3\n", "s=3..end"},
      {"p=0\n\ta=1\n\tb=1\nq=0\n\tc=2\n\td=2\n", "a=1..end c=2..end"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tree);
    TreeModel model;
    build(model, c.tree);
    std::vector<TreeModelSiblingRange> ranges;
    model.find_ranges_of_equivalent_siblings({values()}, ranges);
    std::string got;
    for (const TreeModelSiblingRange& r : ranges) {
      got += (got.empty() ? "" : " ") + id_of(r.first) + ".." + id_of(r.last);
      EXPECT_EQ(r.last.parent_node(), r.first.parent_node());
    }
    EXPECT_EQ(got, c.ranges);
  }
  TreeModel model;  // the parent form appends one subtree's ranges
  build(model, "p=0\n\ta=1\n\tb=1\nq=0\n\tc=2\n\td=2\n");
  std::vector<TreeModelSiblingRange> ranges(1);
  model.find_ranges_of_equivalent_siblings({values()}, std::next(model.begin(), 3), ranges);
  ASSERT_EQ(ranges.size(), 2u);
  EXPECT_EQ(id_of(ranges[1].first), "c=2");
  ranges.clear();
  model.find_ranges_of_equivalent_siblings({}, model.begin(), ranges);  // no suppliers: all equivalent
  ASSERT_EQ(ranges.size(), 1u);
  EXPECT_EQ(ranges[0].last, model.begin().end());
}

TEST(TreeModel, DeepModelsAreWalkedWithoutRecursion) {
  constexpr int kDepth = 200000;
  TreeModel model;
  Position p = model.insert(item("n=0"));
  for (int i = 1; i < kDepth; ++i) p = model.append_child(p, item("n=0"));
  model.append_child(p, item("n=0"));
  model.append_child(p, item("n=0"));  // becomes n=0_1
  std::vector<TreeModelSiblingRange> ranges;
  model.find_ranges_of_equivalent_siblings({values()}, ranges);
  EXPECT_EQ(ranges.size(), 1u);
  EXPECT_EQ(model.depth(model.find(path(std::vector<std::string>(kDepth, "n=0")))), kDepth - 1);
  model.sort(model.top_level_begin(), model.top_level_end(), true);
  EXPECT_EQ(id_of(std::prev(model.end())), "n=0");
}

}  // namespace
}  // namespace vorn
