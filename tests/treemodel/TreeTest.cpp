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

// "A(A1,A2),B": each node, its children in parentheses, siblings by commas.
// Also checks that every link agrees with its neighbours.
template <class Node>
void render_list(const Node* first, const Node* parent, std::string& out) {
  const Node* prev = nullptr;
  for (const Node* n = first; n != nullptr; n = n->next_sibling) {
    if (parent == nullptr && n->next_sibling == nullptr) break;  // the tail sentinel
    if (prev != nullptr) out += ',';
    EXPECT_EQ(n->parent, parent) << n->data;
    if (prev != nullptr) {
      EXPECT_EQ(n->prev_sibling, prev) << n->data;
    }
    out += n->data;
    if (n->first_child != nullptr) {
      EXPECT_EQ(n->first_child->prev_sibling, nullptr);
      EXPECT_EQ(n->last_child->next_sibling, nullptr);
      out += '(';
      render_list(n->first_child, n, out);
      out += ')';
    } else {
      EXPECT_EQ(n->last_child, nullptr);
    }
    prev = n;
    if (parent != nullptr && n->next_sibling == nullptr) {
      EXPECT_EQ(parent->last_child, n);
    }
  }
}

std::string render(const StringTree& tree) {
  std::string out;
  if (!tree.empty()) render_list(tree.begin().node(), static_cast<const tree_node_<std::string>*>(nullptr), out);
  return out;
}

std::vector<std::string> pre_order(const StringTree& tree) { return {tree.begin(), tree.end()}; }

// A(A1,A2),B
StringTree example(StringTree::pre_order_iterator* a = nullptr) {
  StringTree tree;
  auto pa = tree.insert(tree.end(), "A");
  tree.append_child(pa, "A1");
  tree.append_child(pa, "A2");
  tree.insert(tree.end(), "B");
  if (a != nullptr) *a = pa;
  return tree;
}

TEST(Tree, APIExamples) {
  StringTree tree;
  EXPECT_TRUE(tree.empty());
  EXPECT_EQ(tree.size(), 0u);
  EXPECT_EQ(tree.begin(), tree.end());

  auto a = tree.insert(tree.end(), "A");
  auto a1 = tree.append_child(a, "A1");
  tree.append_child(a, "A2");
  auto b = tree.insert(tree.end(), "B");
  EXPECT_EQ(render(tree), "A(A1,A2),B");
  EXPECT_EQ(pre_order(tree), (std::vector<std::string>{"A", "A1", "A2", "B"}));
  EXPECT_EQ(tree.size(), 4u);
  EXPECT_FALSE(tree.empty());

  EXPECT_EQ(StringTree::depth(a), 0);
  EXPECT_EQ(StringTree::depth(a1), 1);
  EXPECT_EQ(a.number_of_children(), 2u);
  EXPECT_EQ(a1.number_of_children(), 0u);
  EXPECT_EQ(*StringTree::parent(a1), "A");
  EXPECT_EQ(*StringTree::next_sibling(a1), "A2");
  EXPECT_EQ(StringTree::next_sibling(b), tree.end());

  std::vector<std::string> children(a.begin(), a.end());
  EXPECT_EQ(children, (std::vector<std::string>{"A1", "A2"}));
  EXPECT_EQ(*a.begin().range_last(), "A2");
  EXPECT_EQ(*tree.top_level_begin().range_last(), "B");
  EXPECT_EQ(std::distance(tree.top_level_begin(), tree.top_level_end()), 2);

  EXPECT_TRUE(tree.is_valid(a1));
  EXPECT_FALSE(tree.is_valid(tree.end()));
  EXPECT_FALSE(tree.is_valid(std::prev(tree.begin())));  // the head sentinel
  EXPECT_FALSE(tree.is_valid(a1.end()));
}

TEST(Tree, IteratorsWorkWithStandardAlgorithms) {
  static_assert(std::is_same_v<std::iterator_traits<StringTree::pre_order_iterator>::iterator_category,
                               std::bidirectional_iterator_tag>);
  static_assert(std::is_same_v<std::iterator_traits<StringTree::const_sibling_iterator>::reference,
                               const std::string&>);
  static_assert(std::is_convertible_v<StringTree::pre_order_iterator, StringTree::const_pre_order_iterator>);
  static_assert(!std::is_convertible_v<StringTree::const_pre_order_iterator, StringTree::pre_order_iterator>);

  StringTree::pre_order_iterator a;
  StringTree tree = example(&a);
  EXPECT_EQ(*std::find(tree.begin(), tree.end(), "A2"), "A2");
  EXPECT_EQ(std::count_if(tree.cbegin(), tree.cend(), [](const std::string& s) { return s.size() == 2; }), 2);

  std::vector<std::string> backwards(std::make_reverse_iterator(tree.end()), std::make_reverse_iterator(tree.begin()));
  EXPECT_EQ(backwards, (std::vector<std::string>{"B", "A2", "A1", "A"}));
  std::vector<std::string> children_backwards(std::make_reverse_iterator(a.end()), std::make_reverse_iterator(a.begin()));
  EXPECT_EQ(children_backwards, (std::vector<std::string>{"A2", "A1"}));

  std::transform(tree.begin(), tree.end(), tree.begin(), [](std::string s) { return s + "!"; });
  EXPECT_EQ(render(tree), "A!(A1!,A2!),B!");
}

TEST(Tree, SkipChildrenPassesOverOneSubtree) {
  StringTree::pre_order_iterator a;
  StringTree tree = example(&a);
  a.skip_children();
  ++a;
  EXPECT_EQ(*a, "B");
  auto it = tree.begin();
  it.skip_children();
  it.skip_children(false);
  ++it;
  EXPECT_EQ(*it, "A1");
}

TEST(Tree, InsertPositions) {
  struct Case {
    const char* name;
    std::string (*act)(StringTree&, StringTree::pre_order_iterator a);
    const char* expected;
  };
  const Case cases[] = {
      {"null pre-order position appends at top level",
       [](StringTree& t, StringTree::pre_order_iterator) { return *t.insert(StringTree::pre_order_iterator(), "C"); },
       "A(A1,A2),B,C"},
      {"begin prepends", [](StringTree& t, StringTree::pre_order_iterator) { return *t.insert(t.begin(), "C"); },
       "C,A(A1,A2),B"},
      {"before a first child", [](StringTree& t, StringTree::pre_order_iterator a) { return *t.insert(a.begin(), "C"); },
       "A(C,A1,A2),B"},
      {"at the end of a child list",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.insert(a.end(), "C"); }, "A(A1,A2,C),B"},
      {"after a last child",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.insert_after(a.begin().range_last(), "C"); },
       "A(A1,A2,C),B"},
      {"after a first child",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.insert_after(a.begin(), "C"); },
       "A(A1,C,A2),B"},
      {"after the last top-level node",
       [](StringTree& t, StringTree::pre_order_iterator) { return *t.insert_after(std::prev(t.end()), "C"); },
       "A(A1,A2),B,C"},
      {"child of a leaf",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.append_child(a.begin(), "C"); },
       "A(A1(C),A2),B"},
      {"subtree before B",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.insert_subtree(std::prev(t.end()), a); },
       "A(A1,A2),A(A1,A2),B"},
      {"subtree into itself",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.insert_subtree(a.begin(), a); },
       "A(A(A1,A2),A1,A2),B"},
      {"replace a leaf with a subtree",
       [](StringTree& t, StringTree::pre_order_iterator a) {
         return *t.replace(StringTree::next_sibling(a), a);
       },
       "A(A1,A2),A(A1,A2)"},
      {"replace a node by a part of its own subtree",
       [](StringTree& t, StringTree::pre_order_iterator a) { return *t.replace(a, a.begin()); }, "A1,B"},
      {"append children copies whole subtrees",
       [](StringTree& t, StringTree::pre_order_iterator a) {
         auto b = StringTree::next_sibling(a);
         return *t.append_children(b, t.top_level_begin(), StringTree::sibling_iterator(b));
       },
       "A(A1,A2),B(A(A1,A2))"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    StringTree::pre_order_iterator a;
    StringTree tree = example(&a);
    const std::string inserted = c.act(tree, a);
    EXPECT_EQ(render(tree), c.expected);
    EXPECT_EQ(tree.size(), pre_order(tree).size());
    EXPECT_FALSE(inserted.empty());
  }
}

TEST(Tree, AppendChildrenOfAnEmptyRangeReturnsTheEndOfChildren) {
  StringTree::pre_order_iterator a;
  StringTree tree = example(&a);
  auto result = tree.append_children(a, a.end(), a.end());
  EXPECT_EQ(result, a.end());
  EXPECT_EQ(render(tree), "A(A1,A2),B");
}

TEST(Tree, EraseReturnsTheNodeAfterTheSubtree) {
  struct Case {
    const char* erased;
    const char* next;  // nullptr: end()
    const char* remaining;
  };
  const Case cases[] = {
      {"A", "B", "B"},
      {"A1", "A2", "A(A2),B"},
      {"A2", "B", "A(A1),B"},
      {"B", nullptr, "A(A1,A2)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.erased);
    StringTree tree = example();
    auto next = tree.erase(std::find(tree.begin(), tree.end(), c.erased));
    if (c.next == nullptr) {
      EXPECT_EQ(next, tree.end());
    } else {
      EXPECT_EQ(*next, c.next);
    }
    EXPECT_EQ(render(tree), c.remaining);
  }

  StringTree::pre_order_iterator a;
  StringTree tree = example(&a);
  auto after = tree.erase(a.begin());
  EXPECT_EQ(*after, "A2");
  EXPECT_EQ(tree.erase(after), a.end());
  tree.append_child(a, "x");
  tree.append_child(a, "y");
  tree.erase_children(a);
  EXPECT_EQ(render(tree), "A,B");
  tree.clear();
  EXPECT_TRUE(tree.empty());
  tree.insert(tree.end(), "again");
  EXPECT_EQ(render(tree), "again");
}

// Payloads that count themselves, and can be told to fail on a later copy.
struct Counted {
  static int alive;
  static int copies_until_failure;  // negative: never fail
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
int Counted::alive = 0;
int Counted::copies_until_failure = -1;

// Counts allocations, to show that each node is one allocation and that
// every one is returned.
template <class T>
struct CountingAllocator {
  using value_type = T;
  static inline int allocations = 0;
  static inline int live = 0;
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
  template <class U>
  bool operator==(const CountingAllocator<U>&) const noexcept { return true; }
  template <class U>
  bool operator!=(const CountingAllocator<U>&) const noexcept { return false; }
};

using CountedTree = Tree<Counted, CountingAllocator<tree_node_<Counted>>>;

struct TreeLifetime : ::testing::Test {
  void SetUp() override {
    Counted::alive = 0;
    Counted::copies_until_failure = -1;
    CountingAllocator<tree_node_<Counted>>::allocations = 0;
    CountingAllocator<tree_node_<Counted>>::live = 0;
  }
  void TearDown() override {
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ((CountingAllocator<tree_node_<Counted>>::live), 0);
  }
  // 1(2(3,4),5),6
  static void fill(CountedTree& tree) {
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
  {
    CountedTree tree;
    EXPECT_EQ((CountingAllocator<tree_node_<Counted>>::allocations), 0);  // sentinels are not allocated
    fill(tree);
    EXPECT_EQ(Counted::alive, 6);
    EXPECT_EQ((CountingAllocator<tree_node_<Counted>>::allocations), 6);
    tree.erase(std::next(tree.begin()));  // 2 with 3 and 4
    EXPECT_EQ(Counted::alive, 3);
    EXPECT_EQ((CountingAllocator<tree_node_<Counted>>::live), 3);
  }
}

TEST_F(TreeLifetime, FailedCopiesLeaveTheTargetUnchanged) {
  CountedTree tree;
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
    Counted::copies_until_failure = -1;
    EXPECT_EQ(values(tree), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Counted::alive, 6);
  }
  CountedTree target;
  target.insert(target.end(), Counted(9));
  Counted::copies_until_failure = 3;
  EXPECT_THROW(target = tree, std::runtime_error);
  Counted::copies_until_failure = -1;
  EXPECT_EQ(values(target), std::vector<int>{9});
}

TEST_F(TreeLifetime, CopyMoveAndSwap) {
  CountedTree tree;
  fill(tree);
  CountedTree copy(tree);
  copy.begin()->value = 10;
  EXPECT_EQ(values(tree), (std::vector<int>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(values(copy), (std::vector<int>{10, 2, 3, 4, 5, 6}));

  const int allocations = CountingAllocator<tree_node_<Counted>>::allocations;
  CountedTree moved(std::move(copy));
  EXPECT_EQ((CountingAllocator<tree_node_<Counted>>::allocations), allocations);
  EXPECT_TRUE(copy.empty());  // NOLINT(bugprone-use-after-move): a moved-from tree is empty
  EXPECT_EQ(values(moved), (std::vector<int>{10, 2, 3, 4, 5, 6}));
  // The moved tree's walk must end at its own sentinel, and insertions at
  // both ends must link to it.
  moved.insert(moved.end(), Counted(7));
  moved.insert(moved.begin(), Counted(0));
  EXPECT_EQ(values(moved), (std::vector<int>{0, 10, 2, 3, 4, 5, 6, 7}));
  copy.insert(copy.end(), Counted(8));
  EXPECT_EQ(values(copy), std::vector<int>{8});

  swap(copy, moved);
  EXPECT_EQ(values(copy), (std::vector<int>{0, 10, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(values(moved), std::vector<int>{8});
  CountedTree empty;
  swap(empty, moved);
  EXPECT_TRUE(moved.empty());
  EXPECT_EQ(values(empty), std::vector<int>{8});
  empty.insert(empty.end(), Counted(9));
  EXPECT_EQ(values(empty), (std::vector<int>{8, 9}));

  copy = std::move(empty);
  EXPECT_EQ(values(copy), (std::vector<int>{8, 9}));
  copy = tree;
  EXPECT_EQ(values(copy), values(tree));
  copy = copy;  // NOLINT: self-assignment is harmless
  EXPECT_EQ(values(copy), values(tree));
}

TEST(Tree, DeepChainsAreCopiedAndDestroyedWithoutRecursion) {
  constexpr int kDepth = 1000000;
  Tree<int> chain;
  auto it = chain.insert(chain.end(), 0);
  for (int i = 1; i < kDepth; ++i) it = chain.append_child(it, i);
  EXPECT_EQ(Tree<int>::depth(it), kDepth - 1);
  Tree<int> copy(chain);
  EXPECT_EQ(*std::prev(copy.end()), kDepth - 1);
  copy.sort(copy.top_level_begin(), copy.top_level_end(), std::less<int>(), true);
  copy.merge(copy.top_level_begin(), copy.top_level_end(), chain.top_level_begin(), chain.top_level_end(), false);
  EXPECT_EQ(*std::prev(copy.end()), kDepth - 1);
  chain.erase(chain.begin());
  EXPECT_TRUE(chain.empty());
}

TEST(Tree, SortOrdersSiblingsStablyAndOptionallyDeep) {
  const auto first_char_less = [](const std::string& a, const std::string& b) { return a[0] < b[0]; };
  struct Case {
    const char* name;
    bool deep;
    bool middle_only;  // sort only the siblings between the first and last top-level node
    const char* expected;
  };
  // Top level: d, b1(z,y(q,p)), c, b2, a
  const Case cases[] = {
      {"shallow", false, false, "a,b1(z,y(q,p)),b2,c,d"},
      {"deep", true, false, "a,b1(y(p,q),z),b2,c,d"},
      {"inner range keeps its borders", false, true, "d,b1(z,y(q,p)),b2,c,a"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    StringTree tree;
    for (const char* s : {"d", "b1", "c", "b2", "a"}) tree.insert(tree.end(), s);
    auto b1 = std::find(tree.begin(), tree.end(), "b1");
    tree.append_child(b1, "z");
    auto y = tree.append_child(b1, "y");
    tree.append_child(y, "q");
    tree.append_child(y, "p");
    auto from = tree.top_level_begin();
    auto to = tree.top_level_end();
    if (c.middle_only) {
      ++from;
      --to;
    }
    tree.sort(from, to, first_char_less, c.deep);
    EXPECT_EQ(render(tree), c.expected);
  }

  StringTree tree = example();
  tree.sort(tree.top_level_begin(), std::next(tree.top_level_begin()), std::greater<std::string>(), true);
  EXPECT_EQ(render(tree), "A(A2,A1),B");  // a one-element range still sorts deep
  tree.sort(tree.top_level_begin(), tree.top_level_begin(), std::less<std::string>(), true);
  EXPECT_EQ(render(tree), "A(A2,A1),B");
  tree.sort_by_key(tree.top_level_begin(), tree.top_level_end(), [](const std::string& s) { return s.size(); },
                   std::less<std::size_t>(), true);
  EXPECT_EQ(render(tree), "A(A2,A1),B");

  const auto throwing = [](const std::string& a, const std::string& b) -> bool {
    if (a == "B" || b == "B") throw std::runtime_error("no order");
    return a < b;
  };
  EXPECT_THROW(tree.sort(tree.top_level_begin(), tree.top_level_end(), throwing), std::runtime_error);
  EXPECT_EQ(render(tree), "A(A2,A1),B");
}

TEST(Tree, MergeMatchesEqualPayloads) {
  struct Case {
    const char* name;
    bool duplicate_leaves;
    const char* expected;
  };
  // Into A(A1,A2),B merge A(A2(x),A3),B,C
  const Case cases[] = {
      {"without duplicate leaves", false, "A(A1,A2(x),A3),B,C"},
      {"with duplicate leaves", true, "A(A1,A2(x),A3),B,B,C"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    StringTree into = example();
    StringTree from;
    auto a = from.insert(from.end(), "A");
    auto a2 = from.append_child(a, "A2");
    from.append_child(a2, "x");
    from.append_child(a, "A3");
    from.insert(from.end(), "B");
    from.insert(from.end(), "C");
    into.merge(into.top_level_begin(), into.top_level_end(), from.top_level_begin(), from.top_level_end(),
               c.duplicate_leaves);
    EXPECT_EQ(render(into), c.expected);
    EXPECT_EQ(render(from), "A(A2(x),A3),B,C");
  }

  // A duplicated leaf inside a child list goes to the end of that list.
  StringTree::pre_order_iterator a;
  StringTree into = example(&a);
  StringTree from = example();
  into.merge(a.begin(), a.end(), from.begin().begin(), from.begin().end(), true);
  EXPECT_EQ(render(into), "A(A1,A2,A1,A2),B");
  // Merging into an empty child list copies everything.
  auto b = std::prev(into.end());
  into.merge(b.begin(), b.end(), from.top_level_begin(), from.top_level_end(), false);
  EXPECT_EQ(render(into), "A(A1,A2,A1,A2),B(A(A1,A2),B)");
}

}  // namespace
}  // namespace vorn
