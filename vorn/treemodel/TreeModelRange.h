// TreeModelRange: a run of neighbouring items in pre-order whose attributes
// are equal, as found by TreeModel::find_ranges_of_equivalent_items. Both
// ends are inclusive.
//
//   for (const TreeModelRange& r : model.find_ranges_of_equivalent_items(size))
//     for (auto it = r.first; ; ++it) { ...; if (it == r.last) break; }
//
// A plain pair of positions; nothing throws.
#ifndef VORN_TREEMODEL_TREEMODELRANGE_H_
#define VORN_TREEMODEL_TREEMODELRANGE_H_

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/ModelItemTree.h"

namespace vorn {

struct VORN_API TreeModelRange {
  ModelItemTree::pre_order_iterator first;
  ModelItemTree::pre_order_iterator last;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_TREEMODELRANGE_H_
