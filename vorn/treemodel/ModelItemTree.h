// ModelItemTree: the tree container a TreeModel keeps its items in, and so
// the type of every position in a model (ModelItemTree::pre_order_iterator,
// ModelItemTree::sibling_iterator, also reachable as TreeModel's own names).
//
//   ModelItemTree::pre_order_iterator it = model.begin();
//   (*it)->identifier();   // the item at that position
//
// Dereferencing a position gives the item's THandle<ModelItem>.
#ifndef VORN_TREEMODEL_MODELITEMTREE_H_
#define VORN_TREEMODEL_MODELITEMTREE_H_

#include "vorn/foundation/THandle.h"
#include "vorn/treemodel/ModelItem.h"
#include "vorn/treemodel/Tree.h"

namespace vorn {

using ModelItemTree = Tree<THandle<ModelItem>>;

}  // namespace vorn

#endif  // VORN_TREEMODEL_MODELITEMTREE_H_
