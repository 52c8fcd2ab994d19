// The tree's node store: where nodes live, what compact() and copies lay
// out, which positions survive what, and the modification count.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "vorn/treemodel/Tree.h"

namespace vorn {
namespace {

using IntTree = Tree<int>;
using Pos = IntTree::pre_order_iterator;

// A balanced tree of `levels` levels with `branching` children per node,
// built level by level, so that the nodes of one subtree are spread out.
// Payloads number the nodes in pre-order.
IntTree level_by_level(int branching, int levels) {
  IntTree tree;
  std::vector<Pos> previous{tree.end()};
  for (int level = 0; level < levels; ++level) {
    std::vector<Pos> current;
    for (const Pos& parent : previous) {
      for (int i = 0; i < branching; ++i) {
        current.push_back(level == 0 ? tree.insert(tree.end(), 0) : tree.append_child(parent, 0));
      }
    }
    previous = std::move(current);
  }
  int serial = 0;
  for (int& payload : tree) payload = serial++;
  return tree;
}

// The payloads with their depths, in pre-order: the whole structure.
std::vector<std::pair<int, int>> shape(const IntTree& tree) {
  std::vector<std::pair<int, int>> out;
  for (auto it = tree.begin(); it != tree.end(); ++it) out.emplace_back(*it, IntTree::depth(it));
  return out;
}

// True when each node in pre-order directly follows the one before it in memory.
bool laid_out_in_pre_order(const IntTree& tree) {
  const tree_node_<int>* previous = nullptr;
  for (auto it = tree.begin(); it != tree.end(); ++it) {
    if (previous != nullptr && it.node() != previous + 1) return false;
    previous = it.node();
  }
  return true;
}

TEST(TreeStore, CopiesAndCompactLayNodesOutInPreOrder) {
  const IntTree built = level_by_level(4, 4);
  ASSERT_FALSE(laid_out_in_pre_order(built));  // else the test shows nothing
  const IntTree copy(built);
  IntTree compacted = level_by_level(4, 4);
  compacted.compact();
  IntTree assigned;
  assigned = built;

  struct Case { const char* name; const IntTree& tree; };
  const Case cases[] = {{"copy", copy}, {"compacted", compacted}, {"assigned", assigned}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(laid_out_in_pre_order(c.tree));
    EXPECT_EQ(shape(c.tree), shape(built));
  }
}

// compact() returns the free nodes and keeps end() valid; erased nodes are reused before the store grows.
TEST(TreeStore, CapacityFollowsTheLiveNodes) {
  IntTree tree = level_by_level(3, 3);
  const std::size_t full = tree.capacity();
  for (int round = 0; round < 10; ++round) {
    tree.erase(tree.begin());
    tree.insert_subtree(tree.end(), level_by_level(3, 3).begin());
  }
  EXPECT_EQ(tree.capacity(), full);
  tree.erase(tree.begin());
  tree.erase(tree.begin());  // the last of the three subtrees is left
  const auto before = shape(tree);
  const Pos end = tree.end();
  tree.compact();
  EXPECT_EQ(shape(tree), before);
  EXPECT_EQ(tree.capacity(), before.size());
  tree.insert(end, 99);  // the kept end() still inserts at the top level
  EXPECT_EQ(*std::prev(tree.end()), 99);
  IntTree empty;
  empty.compact();
  EXPECT_EQ(empty.capacity(), 0u);
}

TEST(TreeStore, ModificationCountFollowsStructuralChanges) {
  struct Case { const char* name; std::function<void(IntTree&)> change; bool counted; };
  const Case cases[] = {
      {"insert", [](IntTree& t) { t.insert(t.begin(), 7); }, true},
      {"append_child", [](IntTree& t) { t.append_child(t.begin(), 7); }, true},
      {"erase", [](IntTree& t) { t.erase(t.begin()); }, true},
      {"sort", [](IntTree& t) { t.sort(t.top_level_begin(), t.top_level_end(), std::greater<int>()); }, true},
      {"compact", [](IntTree& t) { t.compact(); }, true},
      {"clear", [](IntTree& t) { t.clear(); }, true},
      {"move into", [](IntTree& t) { t = level_by_level(2, 1); }, true},
      {"payload assigned", [](IntTree& t) { *t.begin() = 42; }, false},
      {"walk", [](IntTree& t) { (void)t.size(); }, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    IntTree tree = level_by_level(3, 2);
    const std::uint64_t before = tree.modification_count();
    c.change(tree);
    EXPECT_EQ(tree.modification_count() != before, c.counted);
  }
}

}  // namespace
}  // namespace vorn
