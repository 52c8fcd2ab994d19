#include "vorn/treemodel/Tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace vorn {
namespace {

using StringTree = Tree<std::string>;
using Pos = StringTree::pre_order_iterator;
using Node = tree_node_<std::string>;

// "A(A1,A2),B", checking on the way that every link agrees with its neighbours.
void render_list(const Node* first, const Node* parent, std::string& out) {
  for (const Node* n = first, *prev = nullptr; n != nullptr; prev = n, n = n->next_sibling) {
    if (parent == nullptr && n->next_sibling == nullptr) break;  // the tail sentinel
    EXPECT_EQ(n->parent, parent) << n->data;
    if (prev != nullptr) out += ',';
    if (prev != nullptr && n->prev_sibling != prev) ADD_FAILURE() << "prev_sibling of " << n->data;
    if (parent != nullptr && n->next_sibling == nullptr && parent->last_child != n) ADD_FAILURE() << "last_child";
    out += n->data;
    if (n->first_child == nullptr) continue;
    EXPECT_EQ(n->first_child->prev_sibling, nullptr);
    out += '(';
    render_list(n->first_child, n, out);
    out += ')';
  }
}

std::string render(const StringTree& tree) {
  std::string out;
  if (!tree.empty()) render_list(tree.begin().node(), nullptr, out);
  return out;
}

// A(A1,A2),B
StringTree example(Pos* a = nullptr) {
  StringTree tree;
  Pos pa = tree.insert(tree.end(), "A");
  tree.append_child(pa, "A1");
  tree.append_child(pa, "A2");
  tree.insert(tree.end(), "B");
  if (a != nullptr) *a = pa;
  return tree;
}

TEST(Tree, APIExamples) {
  StringTree empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_EQ(empty.begin(), empty.end());

  Pos a;
  StringTree tree = example(&a);
  const Pos a1 = a.begin(), b = std::prev(tree.end());
  EXPECT_EQ(render(tree), "A(A1,A2),B");
  EXPECT_EQ(std::vector<std::string>(tree.begin(), tree.end()), (std::vector<std::string>{"A", "A1", "A2", "B"}));
  EXPECT_EQ(tree.size(), 4u);
  EXPECT_EQ(StringTree::depth(a), 0);
  EXPECT_EQ(StringTree::depth(a1), 1);
  EXPECT_EQ(a.number_of_children(), 2u);
  EXPECT_EQ(a1.number_of_children(), 0u);
  EXPECT_EQ(StringTree::parent(a1), a);
  EXPECT_EQ(*StringTree::next_sibling(a1), "A2");
  EXPECT_EQ(StringTree::next_sibling(b), tree.end());
  EXPECT_EQ(*a.begin().range_last(), "A2");
  EXPECT_EQ(*tree.top_level_begin().range_last(), "B");
  EXPECT_EQ(std::distance(tree.top_level_begin(), tree.top_level_end()), 2);
  EXPECT_TRUE(tree.is_valid(a1));
  EXPECT_FALSE(tree.is_valid(tree.end()));
  EXPECT_FALSE(tree.is_valid(std::prev(tree.begin())));  // the head sentinel
  EXPECT_FALSE(tree.is_valid(a1.end()));

  a.skip_children();
  EXPECT_EQ(*++a, "B");
}

TEST(Tree, IteratorsWorkWithStandardAlgorithms) {
  static_assert(std::is_same_v<std::iterator_traits<Pos>::iterator_category, std::bidirectional_iterator_tag>);
  static_assert(
      std::is_same_v<std::iterator_traits<StringTree::const_sibling_iterator>::reference, const std::string&>);
  static_assert(std::is_convertible_v<Pos, StringTree::const_pre_order_iterator>);
  static_assert(!std::is_convertible_v<StringTree::const_pre_order_iterator, Pos>);

  Pos a;
  StringTree tree = example(&a);
  EXPECT_EQ(std::count_if(tree.cbegin(), tree.cend(), [](const std::string& s) { return s.size() == 2; }), 2);
  EXPECT_EQ(std::vector<std::string>(std::make_reverse_iterator(tree.end()), std::make_reverse_iterator(tree.begin())),
            (std::vector<std::string>{"B", "A2", "A1", "A"}));
  EXPECT_EQ(std::vector<std::string>(std::make_reverse_iterator(a.end()), std::make_reverse_iterator(a.begin())),
            (std::vector<std::string>{"A2", "A1"}));
  std::transform(tree.begin(), tree.end(), tree.begin(), [](std::string s) { return s + "!"; });
  EXPECT_EQ(render(tree), "A!(A1!,A2!),B!");
}

TEST(Tree, InsertAndCopyPositions) {
  using Act = Pos (*)(StringTree&, Pos a);
  struct Case {
    const char* name;
    Act act;
    const char* expected;
  };
  const Case cases[] = {
      {"null position appends at top level", [](StringTree& t, Pos) { return t.insert(Pos(), "C"); }, "A(A1,A2),B,C"},
      {"begin prepends", [](StringTree& t, Pos) { return t.insert(t.begin(), "C"); }, "C,A(A1,A2),B"},
      {"before a first child", [](StringTree& t, Pos a) { return Pos(t.insert(a.begin(), "C")); }, "A(C,A1,A2),B"},
      {"end of children", [](StringTree& t, Pos a) { return Pos(t.insert(a.end(), "C")); }, "A(A1,A2,C),B"},
      {"after a last child", [](StringTree& t, Pos a) { return Pos(t.insert_after(a.begin().range_last(), "C")); },
       "A(A1,A2,C),B"},
      {"after a first child", [](StringTree& t, Pos a) { return Pos(t.insert_after(a.begin(), "C")); },
       "A(A1,C,A2),B"},
      {"after the last top-level node", [](StringTree& t, Pos) { return t.insert_after(std::prev(t.end()), "C"); },
       "A(A1,A2),B,C"},
      {"child of a leaf", [](StringTree& t, Pos a) { return Pos(t.append_child(a.begin(), "C")); },
       "A(A1(C),A2),B"},
      {"subtree copy", [](StringTree& t, Pos a) { return t.insert_subtree(std::prev(t.end()), a); },
       "A(A1,A2),A(A1,A2),B"},
      {"subtree into itself", [](StringTree& t, Pos a) { return Pos(t.insert_subtree(a.begin(), a)); },
       "A(A(A1,A2),A1,A2),B"},
      {"replace a leaf", [](StringTree& t, Pos a) { return t.replace(StringTree::next_sibling(a), a); },
       "A(A1,A2),A(A1,A2)"},
      {"replace by own descendant", [](StringTree& t, Pos a) { return t.replace(a, a.begin()); }, "A1,B"},
      {"append children", [](StringTree& t, Pos a) {
         const Pos b = StringTree::next_sibling(a);
         return Pos(t.append_children(b, t.top_level_begin(), StringTree::sibling_iterator(b)));
       }, "A(A1,A2),B(A(A1,A2))"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Pos a;
    StringTree tree = example(&a);
    const Pos result = c.act(tree, a);
    EXPECT_EQ(render(tree), c.expected);
    EXPECT_TRUE(tree.is_valid(result));
  }
  Pos a;
  StringTree tree = example(&a);
  EXPECT_EQ(tree.append_children(a, a.end(), a.end()), a.end());
}

TEST(Tree, EraseReturnsTheNodeAfterTheSubtree) {
  const struct {
    const char* erased;
    const char* next;
    const char* remaining;
  } cases[] = {{"A", "B", "B"}, {"A1", "A2", "A(A2),B"}, {"A2", "B", "A(A1),B"}, {"B", "end", "A(A1,A2)"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.erased);
    StringTree tree = example();
    const Pos next = tree.erase(std::find(tree.begin(), tree.end(), c.erased));
    EXPECT_EQ(next == tree.end() ? std::string("end") : *next, c.next);
    EXPECT_EQ(render(tree), c.remaining);
  }
  Pos a;
  StringTree tree = example(&a);
  EXPECT_EQ(*tree.erase(a.begin()), "A2");      // as a sibling position: the next sibling
  EXPECT_EQ(tree.erase(a.begin()), a.end());
  tree.append_child(a, "x");
  tree.erase_children(a);
  tree.clear();
  EXPECT_TRUE(tree.empty());
  tree.insert(tree.end(), "again");
  EXPECT_EQ(render(tree), "again");
}

// Payloads that count themselves and can be told to fail on a later copy.
struct Counted {
  static inline int alive = 0;
  static inline int copies_until_failure = -1;  // negative: never fail
  int value;
  explicit Counted(int v) : value(v) { ++alive; }
  Counted(const Counted& other) : value(other.value) {
    if (copies_until_failure == 0) throw std::runtime_error("copy failed");
    if (copies_until_failure > 0) --copies_until_failure;
    ++alive;
  }
  ~Counted() { --alive; }
  bool operator==(const Counted& other) const { return value == other.value; }
};

// Counts allocations, to show that each node is one and that all return.
template <class T>
struct CountingAllocator {
  using value_type = T;
  static inline int allocations = 0, live = 0;
  CountingAllocator() = default;
  template <class U>
  explicit CountingAllocator(const CountingAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    ++allocations;
    ++live;
    return std::allocator<T>().allocate(n);
  }
  void deallocate(T* p, std::size_t n) noexcept {
    --live;
    std::allocator<T>().deallocate(p, n);
  }
  bool operator==(const CountingAllocator&) const noexcept { return true; }
  bool operator!=(const CountingAllocator&) const noexcept { return false; }
};

using CountedTree = Tree<Counted, CountingAllocator<tree_node_<Counted>>>;
using Counter = CountingAllocator<tree_node_<Counted>>;

struct TreeLifetime : ::testing::Test {
  void SetUp() override {
    Counted::alive = Counter::allocations = Counter::live = 0;
    Counted::copies_until_failure = -1;
  }
  void TearDown() override {
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(Counter::live, 0);
  }
  static void fill(CountedTree& tree) {  // 1(2(3,4),5),6
    auto one = tree.insert(tree.end(), Counted(1));
    auto two = tree.append_child(one, Counted(2));
    tree.append_child(two, Counted(3));
    tree.append_child(two, Counted(4));
    tree.append_child(one, Counted(5));
    tree.insert(tree.end(), Counted(6));
  }
  static std::vector<int> values(const CountedTree& tree) {
    std::vector<int> out;
    for (const Counted& c : tree) out.push_back(c.value);
    return out;
  }
};

TEST_F(TreeLifetime, OneAllocationPerNodeAndPayloadsDieWithTheirNodes) {
  CountedTree tree;
  EXPECT_EQ(Counter::allocations, 0);  // the sentinels are part of the tree object
  fill(tree);
  EXPECT_EQ(Counted::alive, 6);
  EXPECT_EQ(Counter::allocations, 6);
  tree.erase(std::next(tree.begin()));  // 2 with 3 and 4
  EXPECT_EQ(Counted::alive, 3);
  EXPECT_EQ(Counter::live, 3);
}

TEST_F(TreeLifetime, FailedCopiesLeaveTheTargetUnchanged) {
  CountedTree tree, target;
  fill(tree);
  for (int fail_after = 0; fail_after < 5; ++fail_after) {  // the subtree of 1 has five nodes
    SCOPED_TRACE(fail_after);
    Counted::copies_until_failure = fail_after;
    EXPECT_THROW(CountedTree copy(tree), std::runtime_error);
    Counted::copies_until_failure = fail_after;
    EXPECT_THROW(tree.insert_subtree(tree.end(), tree.begin()), std::runtime_error);
    Counted::copies_until_failure = fail_after;
    EXPECT_THROW(tree.append_children(std::prev(tree.end()), tree.top_level_begin(), tree.top_level_end()),
                 std::runtime_error);
    Counted::copies_until_failure = fail_after;
    EXPECT_THROW(target = tree, std::runtime_error);
    EXPECT_EQ(values(tree), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(target.empty());
    EXPECT_EQ(Counted::alive, 6);
  }
  Counted::copies_until_failure = -1;
}

TEST_F(TreeLifetime, CopyMoveAndSwap) {
  CountedTree tree;
  fill(tree);
  CountedTree copy(tree);
  copy.begin()->value = 10;
  EXPECT_EQ(values(tree), (std::vector<int>{1, 2, 3, 4, 5, 6}));

  const int allocations = Counter::allocations;
  CountedTree moved(std::move(copy));
  EXPECT_EQ(Counter::allocations, allocations);
  EXPECT_TRUE(copy.empty());  // NOLINT(bugprone-use-after-move): a moved-from tree is empty and usable
  // Walks and insertions at both ends must reach the new tree's own sentinels.
  moved.insert(moved.end(), Counted(7));
  moved.insert(moved.begin(), Counted(0));
  EXPECT_EQ(values(moved), (std::vector<int>{0, 10, 2, 3, 4, 5, 6, 7}));
  copy.insert(copy.end(), Counted(8));

  swap(copy, moved);
  EXPECT_EQ(values(copy), (std::vector<int>{0, 10, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(values(moved), std::vector<int>{8});
  CountedTree empty;
  swap(empty, moved);
  EXPECT_TRUE(moved.empty());
  empty.insert(empty.end(), Counted(9));
  EXPECT_EQ(values(empty), (std::vector<int>{8, 9}));
  copy = std::move(empty);
  EXPECT_EQ(values(copy), (std::vector<int>{8, 9}));
  copy = tree;
  EXPECT_EQ(values(copy), values(tree));
}

TEST(Tree, DeepChainsNeedNoRecursion) {
  constexpr int kDepth = 1000000;
  Tree<int> chain;
  auto it = chain.insert(chain.end(), 0);
  for (int i = 1; i < kDepth; ++i) it = chain.append_child(it, i);
  Tree<int> copy(chain);
  copy.sort(copy.top_level_begin(), copy.top_level_end(), std::less<int>(), true);
  copy.merge(copy.top_level_begin(), copy.top_level_end(), chain.top_level_begin(), chain.top_level_end(), false);
  EXPECT_EQ(Tree<int>::depth(std::prev(copy.end())), kDepth - 1);
  chain.erase(chain.begin());
  EXPECT_TRUE(chain.empty());
}

TEST(Tree, SortOrdersSiblingsStablyAndOptionallyDeep) {
  const auto by_first_char = [](const std::string& a, const std::string& b) { return a[0] < b[0]; };
  const struct {
    const char* name;
    bool deep, middle_only;  // middle_only: leave the first and last top-level node out of the range
    const char* expected;
  } cases[] = {
      {"shallow", false, false, "a,b1(z,y(q,p)),b2,c,d"},
      {"deep", true, false, "a,b1(y(p,q),z),b2,c,d"},
      {"inner range keeps its borders", false, true, "d,b1(z,y(q,p)),b2,c,a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    StringTree tree;
    for (const char* s : {"d", "b1", "c", "b2", "a"}) tree.insert(tree.end(), s);
    const Pos b1 = std::find(tree.begin(), tree.end(), "b1");
    tree.append_child(b1, "z");
    const Pos y = tree.append_child(b1, "y");
    tree.append_child(y, "q");
    tree.append_child(y, "p");
    auto from = tree.top_level_begin(), to = tree.top_level_end();
    if (c.middle_only) ++from, --to;
    tree.sort(from, to, by_first_char, c.deep);
    EXPECT_EQ(render(tree), c.expected);
  }

  StringTree tree = example();
  tree.sort(tree.top_level_begin(), std::next(tree.top_level_begin()), std::greater<std::string>(), true);
  EXPECT_EQ(render(tree), "A(A2,A1),B");  // a one-element range still sorts deep
  const auto throwing = [](const std::string& a, const std::string& b) -> bool {
    if (a == "B" || b == "B") throw std::runtime_error("no order");
    return a < b;
  };
  EXPECT_THROW(tree.sort(tree.top_level_begin(), tree.top_level_end(), throwing), std::runtime_error);
  EXPECT_EQ(render(tree), "A(A2,A1),B");
}

TEST(Tree, MergeMatchesEqualPayloads) {
  // Into A(A1,A2),B merge A(A2(x),A3),B,C.
  for (const bool duplicate_leaves : {false, true}) {
    SCOPED_TRACE(duplicate_leaves);
    StringTree into = example(), from;
    const Pos a = from.insert(from.end(), "A");
    from.append_child(from.append_child(a, "A2"), "x");
    from.append_child(a, "A3");
    from.insert(from.end(), "B");
    from.insert(from.end(), "C");
    into.merge(into.top_level_begin(), into.top_level_end(), from.top_level_begin(), from.top_level_end(),
               duplicate_leaves);
    EXPECT_EQ(render(into), duplicate_leaves ? "A(A1,A2(x),A3),B,B,C" : "A(A1,A2(x),A3),B,C");
    EXPECT_EQ(render(from), "A(A2(x),A3),B,C");
  }
  Pos a;
  StringTree into = example(&a), from = example();
  into.merge(a.begin(), a.end(), from.begin().begin(), from.begin().end(), true);
  EXPECT_EQ(render(into), "A(A1,A2,A1,A2),B");  // duplicated leaves go to the end of their list
  const Pos b = std::prev(into.end());
  into.merge(b.begin(), b.end(), from.top_level_begin(), from.top_level_end(), false);
  EXPECT_EQ(render(into), "A(A1,A2,A1,A2),B(A(A1,A2),B)");  // an empty list takes copies of everything
}

}  // namespace
}  // namespace vorn
