#include "vorn/treemodel/TreeModelFunctions.h"

#include <algorithm>

#include "vorn/database/DatabaseEntryIdentifier.h"

namespace vorn::TreeModelFunctions {

int depth(pre_order_iterator it) noexcept { return ModelItemTree::depth(it); }

pre_order_iterator parent(pre_order_iterator it, int n) noexcept {
  auto* node = it.node();
  for (int i = 0; i < n && node->parent != nullptr; ++i) node = node->parent;
  return pre_order_iterator(node);
}

pre_order_iterator parent_at_depth(pre_order_iterator it, int d) noexcept {
  // The difference is taken unsigned on purpose: a negative one climbs until
  // the node runs out.
  const unsigned climbs = static_cast<unsigned>(depth(it) - d);
  auto* node = it.node();
  for (unsigned i = 0; i < climbs && node != nullptr; ++i) node = node->parent;
  return pre_order_iterator(node);
}

pre_order_iterator left_most_parent(pre_order_iterator it) noexcept {
  auto* node = it.node();
  while (node->parent != nullptr) node = node->parent;
  return pre_order_iterator(node);
}

bool has_children(sibling_iterator first, sibling_iterator last) noexcept {
  for (; first != last; ++first) {
    if (first.node()->first_child != nullptr) return true;
  }
  return false;
}

bool has_grandchildren(pre_order_iterator it) noexcept { return has_children(it.begin(), it.end()); }

void branch(pre_order_iterator it, std::vector<pre_order_iterator>& out) {
  std::vector<pre_order_iterator> path;
  for (auto* node = it.node(); node != nullptr; node = node->parent) path.emplace_back(node);
  std::reverse(path.begin(), path.end());
  out.insert(out.begin(), path.begin(), path.end());
}

TreeModelBranchIdentifiers branch_identifiers(pre_order_iterator it) {
  std::vector<pre_order_iterator> path;
  branch(it, path);
  std::vector<DatabaseEntryIdentifier> identifiers;
  identifiers.reserve(path.size());
  for (const pre_order_iterator& p : path) identifiers.push_back((*p)->identifier());
  return TreeModelBranchIdentifiers(identifiers);
}

}  // namespace vorn::TreeModelFunctions
