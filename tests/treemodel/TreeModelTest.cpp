// Attributes, model items, the tree model and its branches.
#include "vorn/treemodel/TreeModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "vorn/treemodel/CompareIdentifiers.h"
#include "vorn/treemodel/DoubleAttribute.h"
#include "vorn/treemodel/IdentifierEquals.h"
#include "vorn/treemodel/IntegerAttribute.h"
#include "vorn/treemodel/TextAttribute.h"
#include "vorn/treemodel/TreeModelFunctions.h"

namespace vorn {
namespace {

namespace tmf = TreeModelFunctions;
using Position = TreeModel::pre_order_iterator;
using Item = THandle<ModelItem>;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

const auto null_handle_error = ThrowsMessage<std::runtime_error>(StrEq("Internal error: access of null handle"));

std::string conversions(const Attribute& a) {
  return a.as_text() + " " + std::to_string(a.as_integer()) + " " + std::to_string(a.as_double()) +
         (a.is_empty() ? " empty" : "");
}

TEST(Attribute, ConversionsOfEveryKind) {
  EXPECT_EQ(conversions(TextAttribute()), " 0 0.000000");
  EXPECT_EQ(conversions(TextAttribute("width 12.5 mm")), "width 12.5 mm 12 12.500000");
  EXPECT_EQ(conversions(IntegerAttribute(-7)), "-7 -7 -7.000000");
  EXPECT_EQ(conversions(DoubleAttribute(2.5)), "2.500000 2 2.500000");
  EXPECT_EQ(conversions(DoubleAttribute(-2.9)), "-2.900000 -2 -2.900000");  // truncated toward zero
  EXPECT_EQ(conversions(DoubleAttribute(2147483647.9)), "2147483647.900000 2147483647 2147483647.900000");
  EXPECT_EQ(conversions(DoubleAttribute(3e9)), "3000000000.000000 -2147483648 3000000000.000000");  // beyond int
  EXPECT_EQ(conversions(DoubleAttribute(NAN)), "nan -2147483648 nan");
}

// The left operand's kind decides the domain, and `a < b` means b is smaller. Expected: "=" when a == b, "!" when
// a != b, "<" when a < b. So integer 3 equals double 3.7 (3.7 truncates to 3) but not the other way round; text 2.0
// differs from double 2.0 ("2.000000" orders after "2.0"); text 3 against integer 5 compares texts, integer 5
// against text 3 integers; NaN is unequal to everything and unordered.
TEST(Attribute, ComparisonsConvertTheRightOperand) {
  const IntegerAttribute i1(1), i2(2), i3(3), i5(5);
  const DoubleAttribute d1(1.0), d2(2.0), d3(3.0), d37(3.7), nan(NAN);
  const TextAttribute t2("2"), t20("2.0"), t3("3"), a("a"), ab("ab"), abc("abc"), abd("abd");
  const std::tuple<const Attribute&, const Attribute&, const char*> cases[] = {
      {i5, i3, "!<"}, {i3, i5, "!"},   {i3, d37, "="},  {d37, i3, "!<"},  {d3, i3, "="}, {t2, i2, "="},
      {t20, d2, "!"}, {d2, t20, "="},  {abc, abd, "!"}, {abd, abc, "!<"}, {ab, a, "!<"}, {t3, i5, "!"},
      {i5, t3, "!<"}, {nan, nan, "!"}, {nan, d1, "!"},  {d1, nan, "!"},   {nan, i1, "!"}};
  for (const auto& [l, r, expected] : cases) {
    EXPECT_EQ(std::string(l == r ? "=" : "") + (l != r ? "!" : "") + (l < r ? "<" : ""), expected)
        << l.as_text() << " against " << r.as_text();
  }
}

// The value after "=" in an item's identifier ("c=5" gives 5, "c=3.7" a double 3.7), else the number of calls so
// far; can be told to fail.
class ValueSupplier : public AttributeSupplier {
 public:
  THandle<Attribute> attribute(ModelItem& item) override {
    if (fail) throw std::runtime_error("supplier failed");
    const std::string id = item.identifier().text(), value = id.substr(id.find('=') + 1);
    ++calls;
    if (id.find('=') == std::string::npos) return THandle<Attribute>(new IntegerAttribute(calls));
    if (value.find('.') != std::string::npos) return THandle<Attribute>(new DoubleAttribute(std::stod(value)));
    return THandle<Attribute>(new IntegerAttribute(std::stoi(value)));
  }
  int calls = 0;
  bool fail = false;
};

THandle<AttributeSupplier> values() { return THandle<AttributeSupplier>(new ValueSupplier); }

// An item that computes its attributes itself, here by labelling what the supplier gives.
class LabelledItem : public ModelItem {
 public:
  THandle<Attribute> attribute_from_source(THandle<AttributeSupplier> supplier) override {
    return THandle<Attribute>(new TextAttribute("own " + ModelItem::attribute_from_source(supplier)->as_text()));
  }
};

// The number of cache entries after reading the attributes for `suppliers`, and those attributes.
std::string cached(ModelItem& item, const std::vector<THandle<AttributeSupplier>>& suppliers) {
  std::string out;
  for (const auto& s : suppliers) out += " " + item.attribute(s)->as_text();
  return std::to_string(item.ncached_attributes()) + ":" + out;
}

TEST(ModelItem, IdentityAndAttributeCache) {
  THandle<ValueSupplier> one(new ValueSupplier), two(new ValueSupplier);
  LabelledItem item;
  EXPECT_EQ(item.identifier().text(), "");
  EXPECT_EQ(cached(item, {}), "0:");
  item.set_identifier(DatabaseEntryIdentifier("ab"));
  EXPECT_TRUE(item == ModelItem(DatabaseEntryIdentifier("ab")));  // the class does not matter
  EXPECT_FALSE(item == ModelItem(DatabaseEntryIdentifier("AB")));  // case-sensitive
  EXPECT_FALSE(item == ModelItem(DatabaseEntryIdentifier("a")));

  const THandle<Attribute> first = item.attribute(one);
  item.cache_attribute(one);  // computed again, dropped
  item.cache_attributes({two, two});
  EXPECT_EQ(one->calls, 2);
  EXPECT_EQ(two->calls, 2);
  item.set_identifier(DatabaseEntryIdentifier("b"));  // keeps the cache
  EXPECT_EQ(cached(item, {one, two}), "2: own 1 own 1");
  item.update_cached_attributes();
  EXPECT_EQ(cached(item, {one, two}), "2: own 3 own 3");
  item.clear_cached_attributes();
  EXPECT_TRUE(item.is_cache_empty());
  EXPECT_EQ(first->as_text(), "own 1");  // a kept attribute outlives its cache entry
  EXPECT_EQ(cached(item, {one}), "1: own 4");

  // Failures leave the cache as it was.
  two->fail = true;
  EXPECT_THROW(item.attribute(two), std::runtime_error);
  EXPECT_THROW(item.cache_attribute(two), std::runtime_error);
  EXPECT_THAT([&] { item.cache_attributes({THandle<AttributeSupplier>()}); }, null_handle_error);
  EXPECT_EQ(cached(item, {one}), "1: own 4");
}

Item item(const std::string& id) { return Item(new ModelItem(DatabaseEntryIdentifier(id))); }

std::string printed(const TreeModel& model) {
  std::ostringstream out;
  model.print(out);
  return out.str();
}

// The identifier at `p`; "end" for the model's end and for a position without a node.
std::string id_of(const TreeModel& model, Position p) {
  return p.node() == nullptr || p == model.end() ? "end" : (*p)->identifier().text();
}

Position at(const TreeModel& model, const char* id) { return model.find(model.begin(), model.end(), id); }

// "a/b/c" as a path of identifiers; "" is the empty path.
TreeModelBranchIdentifiers path(const std::string& text) {
  std::vector<DatabaseEntryIdentifier> ids;
  std::istringstream in(text);
  for (std::string id; std::getline(in, id, '/');) ids.emplace_back(id);
  return TreeModelBranchIdentifiers(ids);
}

// Builds a model from lines of "<tabs>identifier", as print writes them, with duplicate checking off.
void build(TreeModel& model, const std::string& text) {
  model.set_duplicate_checking(false);
  std::vector<Position> stack;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const std::size_t depth = line.find_first_not_of('\t');
    const Item added = item(line.substr(depth));
    stack.resize(depth);
    stack.push_back(depth > 0       ? model.append_child(stack.back(), added)
                    : model.empty() ? model.insert(added)
                                    : model.insert_after(model.top_level_begin().range_last(), added));
  }
  model.set_duplicate_checking(true);
}

Position sorted(TreeModel& model, bool deep) {
  model.sort(model.top_level_begin(), model.top_level_end(), deep);
  return model.begin();
}

// Each change runs with duplicate checking on, on a model built with it off. Expected: the identifier at the
// returned position, "|", the model printed. Sorting is descending by bytes.
TEST(TreeModel, ChangesKeepSiblingIdentifiersUniqueAndSortDescending) {
  const std::tuple<const char*, Position (*)(TreeModel&), const char*> cases[] = {
      {"", [](TreeModel& m) { return m.insert(item("a")), m.insert(item("a")), m.insert(item("a")); },
       "a_2|a_2\na_1\na\n"},
      {"a\nb\n", [](TreeModel& m) { return m.insert_after(at(m, "a"), item("a")); }, "a_1|a\na_1\nb\n"},
      {"p\n\ta\n\ta_1\n", [](TreeModel& m) { return m.append_child(at(m, "p"), item("a")); },
       "a_2|p\n\ta\n\ta_1\n\ta_2\n"},
      {"a\na\n",
       [](TreeModel& m) { return Position(m.append_children(m.begin(), m.top_level_begin(), m.top_level_end())); },
       "a|a\n\ta\n\ta\na\n"},  // copies are not checked
      {"r\n\tc\nd\n", [](TreeModel& m) { return m.remove(at(m, "r")); }, "d|d\n"},
      {"r\n\tc\n", [](TreeModel& m) { return m.find(m.begin(), m.end(), std::string(" c\t")); }, "c|r\n\tc\n"},
      {"r\nc\nc\n", [](TreeModel& m) { return m.find(m.begin(), std::next(m.begin()), "c"); }, "c|r\nc\nc\n"},
      {"r\n\tc\n",
       [](TreeModel& m) { return m.find_sibling(m.begin().begin(), m.begin().end(), DatabaseEntryIdentifier("x")); },
       "end|r\n\tc\n"},
      {"a\nab\nB\n", [](TreeModel& m) { return sorted(m, false); }, "ab|ab\na\nB\n"},
      {"a\n\tx\n\ty\nb\n", [](TreeModel& m) { return sorted(m, false); }, "b|b\na\n\tx\n\ty\n"},
      {"a\n\tx\n\t\tm\n\t\tn\n\ty\nb\n", [](TreeModel& m) { return sorted(m, true); },
       "b|b\na\n\ty\n\tx\n\t\tn\n\t\tm\n"},
  };
  for (const auto& [tree, change, expected] : cases) {
    TreeModel model;
    build(model, tree);
    const Position result = change(model);
    EXPECT_EQ(id_of(model, result) + "|" + printed(model), expected);
  }
  EXPECT_TRUE(TreeModel().is_duplicate_checking_on());
  // Sorting orders as CompareIdentifiers with direction 0 does (its stability is the tree's).
  const CompareIdentifiers<Item> up(1), down(0), other(-1);
  EXPECT_EQ((std::vector<bool>{up(item("a"), item("b")), up(item("b"), item("a")), down(item("b"), item("a")),
                               other(item("b"), item("a")), down(item("a"), item("b"))}),
            (std::vector<bool>{true, false, true, true, false}));
}

TEST(TreeModel, OverlongSuffixRaisesTheSizeErrorAndChangesNothing) {
  // The length of the base identifier, how many of its suffixes are taken, the first suffix that is too long.
  const std::tuple<std::size_t, int, const char*> cases[] = {{255, 0, "_1"}, {254, 0, "_1"}, {253, 9, "_10"}};
  for (const auto& [length, taken, first_too_long] : cases) {
    const std::string base(length, 'p');
    std::string tree = "parent\n\t" + base + "\n";
    for (int i = 1; i <= taken; ++i) tree += "\t" + base + "_" + std::to_string(i) + "\n";
    TreeModel model;
    build(model, tree);
    const Item added = item(base);
    EXPECT_THAT([&] { model.append_child(model.begin(), added); },
                ThrowsMessage<std::invalid_argument>(StrEq("DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid "
                                                           "DatabaseEntryIdentifier (wrong size):" +
                                                           base + first_too_long)));
    EXPECT_THROW(model.insert_after(model.begin().begin(), added), std::invalid_argument);
    EXPECT_EQ(added->identifier().text(), base);
    EXPECT_EQ(printed(model), tree);
  }
  EXPECT_THROW(at(TreeModel(), std::string(256, 'x').c_str()), std::invalid_argument);
}

// A null item is refused where the model reads it, and a failed sort moves nothing.
TEST(TreeModel, NullItemsRaiseTheNullHandleError) {
  TreeModel model;
  build(model, "b\n");
  EXPECT_THAT([&] { model.insert(Item()); }, null_handle_error);
  EXPECT_EQ(printed(model), "b\n");
  model.set_duplicate_checking(false);
  model.insert(Item());  // nothing is read, so nothing is checked
  model.insert(item("c"));
  EXPECT_THAT([&] { printed(model); }, null_handle_error);
  EXPECT_THAT([&] { sorted(model, false); }, null_handle_error);
  EXPECT_THAT([&] { model.find_ranges_of_equivalent_items(values()); }, null_handle_error);
  EXPECT_EQ(id_of(model, model.begin()), "c");
  EXPECT_EQ(*std::next(model.begin()), nullptr);
}

// Only the first matching sibling is followed. The ranged form starts at `from`, whose own path must agree with the
// start of the path and be no deeper, and gives up at `to`.
TEST(TreeModel, FindAlongAnIdentifierPath) {
  TreeModel model;
  build(model, "a\n\tb\n\t\tc\n\tb\n\t\td\nx\n\ty\n");
  // From, to (pre-order indices, -1 for end(); from -2 for the whole-model form), path, the index found.
  const std::tuple<int, int, const char*, int> cases[] = {
      {-2, 0, "a/b/c", 2}, {-2, 0, "x/y", 6},  {-2, 0, "", -1},  {-2, 0, "a/b/d", -1}, {-2, 0, "b", -1},
      {-2, 0, "x/y/z", -1}, {3, -1, "a/b/d", 4}, {3, -1, "a/b", 3}, {5, -1, "a/b", -1}, {3, -1, "a", -1},
      {-1, -1, "a", -1},    {0, 2, "a/b/c", -1}};
  const auto position = [&](int i) { return i < 0 ? model.end() : std::next(model.begin(), i); };
  for (const auto& [from, to, text, expected] : cases) {
    const Position found = from == -2 ? model.find(path(text)) : model.find(position(from), position(to), path(text));
    EXPECT_EQ(found, position(expected)) << text << " from " << from;
  }
  const TreeModel empty;
  EXPECT_EQ(empty.find(path("a")), empty.end());
}

// Logs the virtual structural calls a derived model sees.
class LoggingModel : public TreeModel {
 public:
  pre_order_iterator insert(THandle<ModelItem> item) override {
    log += "insert ";
    return TreeModel::insert(std::move(item));
  }
  pre_order_iterator append_child(pre_order_iterator position, THandle<ModelItem> item) override {
    log += "append ";
    return TreeModel::append_child(position, std::move(item));
  }
  std::string log;
};

TEST(TreeModel, MergeBranchAddsOnlyWhatIsMissingAndClonesShareItems) {
  TreeModel source;
  build(source, "r\n\tx\n\t\ty\n");
  const TreeModelBranch branch(at(source, "y"));
  LoggingModel model, other;
  build(model, "r\n\tx\n");
  build(other, "other\n");
  model.log = other.log = "";
  const Position added = model.merge_branch(branch);
  EXPECT_EQ(printed(model), "r\n\tx\n\t\ty\n");
  EXPECT_EQ(model.log, "append ");
  EXPECT_EQ(*added, *at(source, "y"));                                      // the branch's own item object
  EXPECT_EQ(model.merge_branch(branch), added);                             // nothing left to add
  EXPECT_EQ(model.merge_branch(TreeModelBranch(Position())), model.end());  // an empty branch
  EXPECT_EQ(id_of(other, other.merge_branch(branch)), "y");
  EXPECT_EQ(printed(other), "r\n\tx\n\t\ty\nother\n");
  EXPECT_EQ(other.log, "insert append append ");

  source.set_duplicate_checking(false);
  const THandle<TreeModel> copy = source.clone();
  EXPECT_FALSE(copy->is_duplicate_checking_on());
  (*copy->begin())->set_identifier(DatabaseEntryIdentifier("renamed"));
  copy->remove(std::next(copy->begin()));
  EXPECT_EQ(printed(source), "renamed\n\tx\n\t\ty\n");  // the copy's items are the source's objects
  EXPECT_EQ(printed(*copy), "renamed\n");

  // merge matches the same item object, not an equal identifier.
  TreeModel from;
  build(from, "renamed\n");
  from.set_duplicate_checking(false);
  from.append_child(from.insert(*source.begin()), item("child"));
  source.merge(source.top_level_begin(), source.top_level_end(), from.top_level_begin(), from.top_level_end(), false);
  EXPECT_EQ(printed(source), "renamed\n\tx\n\t\ty\n\tchild\nrenamed\n");
}

// "first..last" per range, in the order found.
template <class Range>
std::string ranges_of(const TreeModel& model, const std::vector<Range>& ranges) {
  std::string out;
  for (const Range& r : ranges) out += (out.empty() ? "" : " ") + id_of(model, r.first) + ".." + id_of(model, r.last);
  return out;
}

// Item ranges run over neighbours in pre-order, depth ignored, both ends inclusive, and drop a run that reaches the
// end of the model. Sibling ranges never compare top-level items, end before the first differing sibling or at the
// end of the child list, and come depth first.
TEST(TreeModel, RangesOfEquivalentItemsAndSiblings) {
  // The model, its item ranges and its sibling ranges.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"", "", ""},
      {"a=1\nb=1\nc=2\nd=2\n", "a=1..b=1", ""},
      {"a=1\nb=1\nc=2\nd=2\ne=3\n", "a=1..b=1 c=2..d=2", ""},
      {"p=0\n\tc1=1\n\tc2=1\n\tc3=2\n\tc4=2\n", "c1=1..c2=1", "c1=1..c3=2 c3=2..end"},
      {"p=1\n\tc=1\n\td=2\ne=2\nf=3\n", "p=1..c=1 d=2..e=2", ""},
      {"p=0\n\ta=1\n\tb=2\n\tc=1\n", "", ""},
      {"p=0\n\ta=3.7\n\tb=3\n\tc=5\n", "a=3.7..b=3", "a=3.7..c=5"},  // the later item's attribute on the left
      {"p=0\n\ta=1\n\t\tx=5\n\t\ty=5\n\tb=1\n\t\tz=6\n\t\tw=6\n\t\tv=7\n\tc=2\n", "x=5..y=5 z=6..w=6",
       "x=5..end z=6..v=7 a=1..c=2"},
      {"p=0\n\tq=0\n\t\tr=0\n\t\t\ts=3\n\t\t\tt=3\n", "p=0..r=0", "s=3..end"},
      {"p=0\n\ta=1\n\tb=1\nq=0\n\tc=2\n\td=2\n", "a=1..b=1", "a=1..end c=2..end"},
  };
  for (const auto& [tree, items, sibling_ranges] : cases) {
    TreeModel model;
    build(model, tree);
    std::vector<TreeModelSiblingRange> siblings;
    model.find_ranges_of_equivalent_siblings({values()}, siblings);
    for (const TreeModelSiblingRange& r : siblings) EXPECT_EQ(r.last.parent_node(), r.first.parent_node());
    EXPECT_EQ(ranges_of(model, model.find_ranges_of_equivalent_items(values())), items) << tree;
    EXPECT_EQ(ranges_of(model, siblings), sibling_ranges) << tree;
  }
  TreeModel model;  // the parent form appends the ranges of one subtree
  build(model, "p=0\n\ta=1\n\tb=1\nq=0\n\tc=2\n\td=3\n");
  std::vector<TreeModelSiblingRange> ranges;
  model.find_ranges_of_equivalent_siblings({values()}, model.begin(), ranges);
  model.find_ranges_of_equivalent_siblings({values()}, at(model, "q=0"), ranges);
  model.find_ranges_of_equivalent_siblings({}, at(model, "q=0"), ranges);  // no suppliers: all equivalent
  EXPECT_EQ(ranges_of(model, ranges), "a=1..end c=2..end");
  const THandle<ValueSupplier> supplier(new ValueSupplier);  // comparing fills the caches
  model.find_ranges_of_equivalent_items(supplier);
  model.find_ranges_of_equivalent_items(supplier);
  EXPECT_EQ(supplier->calls, 6);
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
  std::string deep;
  for (int i = 0; i < kDepth; ++i) deep += "n=0/";
  EXPECT_EQ(model.depth(model.find(path(deep))), kDepth - 1);
}

TEST(TreeModelFunctions, BranchesAndAncestors) {
  TreeModel model;
  build(model, "a\n\tb\n\t\tc\n\t\td\n\te\nz\n");
  const Position a = at(model, "a"), b = at(model, "b"), c = at(model, "c"), d = at(model, "d"), z = at(model, "z");
  const TreeModelBranch branch(d);
  EXPECT_EQ((std::vector<Position>{branch.node(0), branch.node(1), branch.node(2), branch.node(3)}),
            (std::vector<Position>{a, b, d, Position()}));
  EXPECT_EQ(branch.size(), 3u);
  EXPECT_EQ(TreeModelBranch(z).size(), 1u);
  EXPECT_EQ(tmf::branch_identifiers(d), path("a/b/d"));
  EXPECT_EQ(tmf::branch_identifiers(z), path("z"));
  std::vector<Position> out{z};
  tmf::branch(c, out);
  EXPECT_EQ(out, (std::vector<Position>{a, b, c, z}));
  EXPECT_EQ(tmf::depth(d), 2);
  // parent() stops at the top level and stays put for n <= 0; parent_at_depth() below the item gives a null position.
  EXPECT_EQ((std::vector<Position>{tmf::parent(d, 1), tmf::parent(d, 10), tmf::parent(d, 0), tmf::parent(d, -3),
                                   tmf::parent(z, 1), tmf::parent_at_depth(d, 0), tmf::parent_at_depth(d, 1),
                                   tmf::parent_at_depth(d, 2), tmf::parent_at_depth(b, 3), tmf::left_most_parent(d),
                                   tmf::left_most_parent(z)}),
            (std::vector<Position>{b, a, d, d, z, a, b, d, Position(), a, z}));
  EXPECT_EQ((std::vector<bool>{tmf::has_children(model.top_level_begin(), model.top_level_end()),
                               tmf::has_children(b.begin(), b.end()), tmf::has_children(a.begin(), a.begin()),
                               tmf::has_grandchildren(a), tmf::has_grandchildren(b), tmf::has_grandchildren(z)}),
            (std::vector<bool>{true, false, false, true, false, false}));
}

TEST(TreeModelBranchIdentifiers, LookupSubBranchesOverlapAndPrinting) {
  const TreeModelBranchIdentifiers abc = path("a/b/c");
  bool found2 = false, found3 = true, found5 = true;
  EXPECT_EQ(abc.identifier(2, found2).text() + abc.identifier(3, found3).text() + abc.identifier(5, found5).text(),
            "c");
  EXPECT_EQ((std::vector<bool>{found2, found3, found5}), (std::vector<bool>{true, false, false}));
  EXPECT_EQ(abc.max_depth(), 3u);
  EXPECT_EQ((std::vector<TreeModelBranchIdentifiers>{abc.sub_branch(2), abc.sub_branch(3), abc.sub_branch(7),
                                                     abc.sub_branch(0)}),
            (std::vector<TreeModelBranchIdentifiers>{path("a/b"), abc, abc, path("")}));
  std::ostringstream out;
  abc.print(out);
  EXPECT_EQ(out.str(), "a\nb\nc\n");
  // Paths overlap when one is a prefix of the other; both spellings agree.
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"a/b", "a/b/c", true}, {"a/b/c", "a/b", true}, {"a/b", "a/c", false}, {"", "a/b", true},      {"a", "", true},
      {"", "", true},         {"a/b", "a/b", true},   {"x/b", "a/b", false}, {"a/b/c", "a/B", false}};
  for (const auto& [left, right, overlap] : cases) {
    EXPECT_EQ(std::vector<bool>({path(left).overlap_with(path(right)), path(left).overlaps_with(path(right))}),
              std::vector<bool>(2, overlap))
        << left << " / " << right;
  }
}

}  // namespace
}  // namespace vorn
