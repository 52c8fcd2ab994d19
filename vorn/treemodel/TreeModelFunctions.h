// TreeModelFunctions: free functions over positions in a tree model that
// compute depths, ancestors and branches. Climbing follows parent links;
// every function takes its positions by value and leaves the model alone.
//
//   int d = TreeModelFunctions::depth(it);                  // 0 at the top
//   auto top = TreeModelFunctions::left_most_parent(it);
//   TreeModelBranchIdentifiers path = TreeModelFunctions::branch_identifiers(it);
//
// Positions must be valid item positions (not null, not a sentinel) unless
// a function says otherwise. branch_identifiers raises the null-handle
// error for a null item on the path.
#ifndef VORN_TREEMODEL_TREEMODELFUNCTIONS_H_
#define VORN_TREEMODEL_TREEMODELFUNCTIONS_H_

#include <vector>

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/ModelItemTree.h"
#include "vorn/treemodel/TreeModelBranchIdentifiers.h"

namespace vorn::TreeModelFunctions {

using pre_order_iterator = ModelItemTree::pre_order_iterator;
using sibling_iterator = ModelItemTree::sibling_iterator;

// The number of ancestors; 0 for a top-level item.
VORN_API int depth(pre_order_iterator it) noexcept;

// The ancestor `n` levels up, stopping at the top level; `it` for n <= 0.
VORN_API pre_order_iterator parent(pre_order_iterator it, int n) noexcept;

// The ancestor at depth `d`; `it` when `d` is its own depth. A `d` deeper
// than `it` climbs past the top and gives a null position.
VORN_API pre_order_iterator parent_at_depth(pre_order_iterator it, int d) noexcept;

// The top-level ancestor, or `it` itself at the top level.
VORN_API pre_order_iterator left_most_parent(pre_order_iterator it) noexcept;

// True when a sibling in [first, last) has a child.
VORN_API bool has_children(sibling_iterator first, sibling_iterator last) noexcept;

// True when a child of `it` has a child.
VORN_API bool has_grandchildren(pre_order_iterator it) noexcept;

// Puts the path from the top-level ancestor down to `it` in front of
// whatever `out` already holds.
VORN_API void branch(pre_order_iterator it, std::vector<pre_order_iterator>& out);

// The identifiers along the path from the top-level ancestor down to `it`.
VORN_API TreeModelBranchIdentifiers branch_identifiers(pre_order_iterator it);

}  // namespace vorn::TreeModelFunctions

#endif  // VORN_TREEMODEL_TREEMODELFUNCTIONS_H_
