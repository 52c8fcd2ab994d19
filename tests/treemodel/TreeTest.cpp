#include "vorn/treemodel/Tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <numeric>
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
void render_list(const Node* n, const Node* parent, std::string& out) {
  for (const char* comma = ""; n != nullptr && (parent != nullptr || n->next_sibling != nullptr); comma = ",") {
    const Node* next = n->next_sibling;
    EXPECT_TRUE(n->parent == parent && (next != nullptr ? next->prev_sibling == n : parent->last_child == n))
        << n->data;
    out += comma + n->data;
    if (n->first_child != nullptr) {
      EXPECT_EQ(n->first_child->prev_sibling, nullptr) << n->data;
      render_list(n->first_child, n, out += '(');
      out += ')';
    }
    n = next;
  }
}

std::string render(const StringTree& tree) {
  std::string out;
  render_list(tree.begin().node(), nullptr, out);
  return out;
}

// A(A1,A2),B
StringTree example(Pos* a = nullptr) {
  StringTree tree;
  const Pos pa = tree.insert(tree.end(), "A");
  tree.append_child(pa, "A1");
  tree.append_child(pa, "A2");
  tree.insert(tree.end(), "B");
  if (a != nullptr) *a = pa;
  return tree;
}

// The payload at a change's result ("end" for the tail, "null" for a position without a node)
// and the tree after the change.
std::string after(const StringTree& tree, const Pos& result) {
  return (result.node() == nullptr ? "null" : result == tree.end() ? "end" : *result) + " " + render(tree);
}

// A(A1,A2(x),A3),B,C, to walk and merge from.
const StringTree& source() {
  static const StringTree tree = [] {
    Pos a;
    StringTree t = example(&a);
    t.append_child(std::next(a, 2), "x");
    t.append_child(a, "A3");
    t.insert(t.end(), "C");
    return t;
  }();
  return tree;
}

TEST(Tree, WalksQueriesAndStandardIterators) {
  static_assert(!std::is_convertible_v<StringTree::const_pre_order_iterator, Pos>);  // const stays const
  const StringTree empty;
  EXPECT_EQ(empty.begin(), empty.end());
  Pos a;
  StringTree tree = example(&a);
  const Pos a1 = a.begin();
  EXPECT_EQ(std::vector<std::string>(tree.cbegin(), tree.cend()), (std::vector<std::string>{"A", "A1", "A2", "B"}));
  EXPECT_EQ(std::vector<std::string>(std::make_reverse_iterator(tree.end()), std::make_reverse_iterator(tree.begin())),
            (std::vector<std::string>{"B", "A2", "A1", "A"}));
  EXPECT_EQ(std::vector<std::string>(std::make_reverse_iterator(a.end()), std::make_reverse_iterator(a.begin())),
            (std::vector<std::string>{"A2", "A1"}));
  EXPECT_EQ(tree.size(), 4u);
  EXPECT_EQ(StringTree::depth(a1), 1);
  EXPECT_EQ(a.number_of_children(), 2u);
  EXPECT_EQ(a1.number_of_children(), 0u);
  EXPECT_EQ(StringTree::next_sibling(std::prev(tree.end())), tree.end());
  EXPECT_EQ(*a.begin().range_last(), "A2");
  EXPECT_EQ(*tree.top_level_begin().range_last(), "B");
  EXPECT_TRUE(tree.is_valid(a1));
  EXPECT_FALSE(tree.is_valid(tree.end()));
  EXPECT_FALSE(tree.is_valid(std::prev(tree.begin())));  // the sentinel before the first item
  EXPECT_FALSE(tree.is_valid(a1.end()));
  a.skip_children();
  EXPECT_EQ(*++a, "B");
  auto it = std::next(source().begin());  // A1 of the source, then A2: the flag lasts one step
  it.skip_children();
  ++it;
  EXPECT_EQ(*++it, "x");
  std::transform(tree.begin(), tree.end(), tree.begin(), [](std::string s) { return s + "!"; });
  EXPECT_EQ(render(tree), "A!(A1!,A2!),B!");
}

TEST(Tree, ChangesLinkEveryNeighbourAndReturnTheRightPosition) {
  using Sib = StringTree::sibling_iterator;
  const std::pair<Pos (*)(StringTree&, Pos a), const char*> cases[] = {
      // changes of A(A1,A2),B
      {[](StringTree& t, Pos) { return t.insert(Pos(), "C"); }, "C A(A1,A2),B,C"},
      {[](StringTree& t, Pos) { return t.insert(t.begin(), "C"); }, "C C,A(A1,A2),B"},
      {[](StringTree& t, Pos a) { return Pos(t.insert(a.begin(), "C")); }, "C A(C,A1,A2),B"},
      {[](StringTree& t, Pos a) { return Pos(t.insert(a.end(), "C")); }, "C A(A1,A2,C),B"},
      {[](StringTree& t, Pos a) { return Pos(t.insert_after(a.begin().range_last(), "C")); }, "C A(A1,A2,C),B"},
      {[](StringTree& t, Pos a) { return Pos(t.insert_after(a.begin(), "C")); }, "C A(A1,C,A2),B"},
      {[](StringTree& t, Pos) { return t.insert_after(std::prev(t.end()), "C"); }, "C A(A1,A2),B,C"},
      {[](StringTree& t, Pos a) { return t.insert_subtree(std::prev(t.end()), a); }, "A A(A1,A2),A(A1,A2),B"},
      {[](StringTree& t, Pos a) { return Pos(t.insert_subtree(a.begin(), a)); }, "A A(A(A1,A2),A1,A2),B"},
      {[](StringTree& t, Pos a) { return t.replace(StringTree::next_sibling(a), a); }, "A A(A1,A2),A(A1,A2)"},
      {[](StringTree& t, Pos a) { return t.replace(a, a.begin()); }, "A1 A1,B"},  // by its own descendant
      {[](StringTree& t, Pos a) { return Pos(t.append_children(a, Sib(a), t.top_level_end())); },
       "A A(A1,A2,A(A1,A2),B),B"},
      {[](StringTree& t, Pos a) { return Pos(t.append_children(a, a.end(), a.end())); }, "null A(A1,A2),B"},
      {[](StringTree& t, Pos a) { return t.erase(a); }, "B B"},
      {[](StringTree& t, Pos a) { return t.erase(Pos(a.begin())); }, "A2 A(A2),B"},
      {[](StringTree& t, Pos a) { return t.erase(Pos(a.begin().range_last())); }, "B A(A1),B"},
      {[](StringTree& t, Pos) { return t.erase(std::prev(t.end())); }, "end A(A1,A2)"},
      {[](StringTree& t, Pos a) { return Pos(t.erase(a.begin().range_last())); }, "null A(A1),B"},
      {[](StringTree& t, Pos a) { return t.erase_children(a), a; }, "A A,B"},
      {[](StringTree& t, Pos) { return t.clear(), t.insert(t.end(), "C"); }, "C C"},
      {[](StringTree& t, Pos) {
         return t.sort(t.top_level_begin(), t.top_level_end(), std::greater<>(), true), t.begin();
       },
       "B B,A(A2,A1)"},
      {[](StringTree& t, Pos a) { return t.sort(Sib(a), Sib(StringTree::next_sibling(a)), std::greater<>(), true), a; },
       "A A(A2,A1),B"},  // a one-element range still sorts deep
      // merge: a match with children merges them, a matching leaf is copied to the end of its list only when asked,
      // anything else is inserted before the end of the range.
      {[](StringTree& t, Pos a) {
         return t.merge(Sib(a), t.top_level_end(), source().top_level_begin(), source().top_level_end(), false), a;
       },
       "A A(A1,A2(x),A3),B,C"},
      {[](StringTree& t, Pos a) {
         return t.merge(Sib(a), t.top_level_end(), source().top_level_begin(), source().top_level_end(), true), a;
       },
       "A A(A1,A2(x),A1,A3),B,B,C"},
      {[](StringTree& t, Pos a) {
         return t.merge(a.end(), a.end(), source().top_level_begin(), source().top_level_end(), true), a;
       },
       "A A(A1,A2,A(A1,A2(x),A3),B,C),B"},  // an empty range takes copies of everything
  };
  for (const auto& [change, expected] : cases) {
    Pos a;
    StringTree tree = example(&a);
    const Pos result = change(tree, a);
    EXPECT_EQ(after(tree, result), expected);
  }
}

// Payloads that count themselves and their copies, and can be told to fail on a later copy.
struct Counted {
  static inline int alive = 0, copies = 0, copies_until_failure = -1;  // negative: never fail
  int value;
  explicit Counted(int v) : value(v) { ++alive; }
  Counted(const Counted& other) : value(other.value) {
    if (copies_until_failure >= 0 && copies_until_failure-- == 0) throw std::runtime_error("copy failed");
    ++alive, ++copies;
  }
  ~Counted() { --alive; }
  bool operator==(const Counted& other) const { return value == other.value; }
};

// Counts the blocks of nodes it holds.
template <class T>
struct CountingAllocator {
  using value_type = T;
  static inline int live = 0;
  CountingAllocator() = default;
  template <class U>
  explicit CountingAllocator(const CountingAllocator<U>& /*other*/) noexcept {}
  T* allocate(std::size_t n) { return ++live, std::allocator<T>().allocate(n); }
  void deallocate(T* p, std::size_t n) noexcept { --live, std::allocator<T>().deallocate(p, n); }
  bool operator==(const CountingAllocator& /*other*/) const noexcept { return true; }
  bool operator!=(const CountingAllocator& /*other*/) const noexcept { return false; }
};
using CountedTree = Tree<Counted, CountingAllocator<tree_node_<Counted>>>;

// The tree's payload values in pre-order, then how many payloads are alive
// in the whole process: "145 3".
std::string state(const CountedTree& tree) {
  std::string out;
  for (const Counted& c : tree) out += std::to_string(c.value);
  return out + " " + std::to_string(Counted::alive);
}

TEST(Tree, OnePayloadPerNodeAndFailedCopiesChangeNothing) {
  {
    CountedTree tree, target;
    EXPECT_EQ(state(tree), " 0");
    EXPECT_EQ(CountingAllocator<tree_node_<Counted>>::live, 0);  // the sentinels are part of the tree object
    const auto one = tree.insert(tree.end(), Counted(1));
    tree.append_child(tree.append_child(one, Counted(2)), Counted(3));
    tree.append_child(one, Counted(4));
    tree.insert(tree.end(), Counted(5));
    // Each way of copying, with the number of payloads it copies; every copy in turn is made to fail.
    const std::pair<std::function<void()>, int> copying[] = {
        {[&] { CountedTree copy(tree); }, 5},
        {[&] { target = tree; }, 5},
        {[&] { tree.insert_subtree(tree.end(), one); }, 4},
        {[&] { tree.append_children(std::prev(tree.end()), tree.top_level_begin(), tree.top_level_end()); }, 5},
        {[&] { tree.compact(); }, 5}};  // Counted cannot move, so compact() copies
    for (const auto& [copy, count] : copying) {
      for (int fail_after = 0; fail_after < count; ++fail_after) {
        Counted::copies_until_failure = fail_after;
        EXPECT_THROW(copy(), std::runtime_error);
        SCOPED_TRACE("failing after " + std::to_string(fail_after) + " copies");
        EXPECT_EQ(state(tree), "12345 5");
        EXPECT_EQ(state(target), " 5");
      }
    }
    tree.erase(std::next(tree.begin()));  // 2 with 3
    EXPECT_EQ(state(tree), "145 3");

    // Moving and swapping copy nothing (only the five inserts do) and take the nodes along; a moved-from tree is
    // empty and usable, and insertions at both ends must reach each tree's own sentinels.
    CountedTree copy(tree), empty;
    copy.begin()->value = 6;
    const int copies = Counted::copies;
    const auto four = std::next(copy.begin());  // positions move with the nodes
    CountedTree moved(std::move(copy));
    moved.insert(moved.end(), Counted(7));
    moved.insert(moved.begin(), Counted(0));
    copy.insert(copy.end(), Counted(8));  // NOLINT(bugprone-use-after-move)
    swap(copy, moved);
    EXPECT_EQ(state(copy), "06457 9");
    EXPECT_EQ(state(moved), "8 9");
    EXPECT_EQ(four->value, 4);
    EXPECT_EQ(CountedTree::depth(four), 1);
    swap(empty, moved);
    empty.insert(empty.end(), Counted(9));
    copy = std::move(empty);
    moved.insert(moved.begin(), Counted(5));
    EXPECT_EQ(state(copy), "89 6");
    EXPECT_EQ(state(moved), "5 6");
    EXPECT_EQ(Counted::copies - copies, 5);
    copy = tree;
    EXPECT_EQ(state(copy), "145 7");
  }
  EXPECT_EQ(state(CountedTree()), " 0");
  EXPECT_EQ(CountingAllocator<tree_node_<Counted>>::live, 0);
}

TEST(Tree, DeepChainsNeedNoRecursion) {
  constexpr int kDepth = 1000000;
  Tree<int> chain;
  auto it = chain.insert(chain.end(), 0);
  for (int i = 1; i < kDepth; ++i) it = chain.append_child(it, i);
  Tree<int> copy(chain);
  copy.compact();
  copy.sort(copy.top_level_begin(), copy.top_level_end(), std::less<int>(), true);
  copy.merge(copy.top_level_begin(), copy.top_level_end(), chain.top_level_begin(), chain.top_level_end(), false);
  EXPECT_EQ(Tree<int>::depth(std::prev(copy.end())), kDepth - 1);
  chain.erase(chain.begin());
  EXPECT_TRUE(chain.empty());
}

// Only the range is sorted, and stably; a throwing comparator leaves it in its old order.
TEST(Tree, SortIsStableAndKeepsTheRangeBorders) {
  Tree<int> tree;
  for (int i = 0; i < 40; ++i) tree.insert(tree.end(), i);
  const auto by_rest = [](int l, int r) { return l % 3 > r % 3; };
  tree.sort(std::next(tree.top_level_begin()), std::prev(tree.top_level_end()), by_rest);
  std::vector<int> expected(40);
  std::iota(expected.begin(), expected.end(), 0);
  std::stable_sort(expected.begin() + 1, expected.end() - 1, by_rest);
  EXPECT_EQ(std::vector<int>(tree.begin(), tree.end()), expected);
  const auto throwing = [](int l, int r) -> bool {
    return l == 20 || r == 20 ? throw std::runtime_error("no") : l > r;
  };
  EXPECT_THROW(tree.sort(tree.top_level_begin(), tree.top_level_end(), throwing), std::runtime_error);
  EXPECT_EQ(std::vector<int>(tree.begin(), tree.end()), expected);
}

}  // namespace
}  // namespace vorn
