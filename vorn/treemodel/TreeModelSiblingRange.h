// TreeModelSiblingRange: a run of neighbouring siblings whose attributes are
// equal, as found by TreeModel::find_ranges_of_equivalent_siblings. `first`
// is inclusive, `last` exclusive: the first sibling that differs, or the
// end of the parent's children.
//
//   for (auto it = range.first; it != range.last; ++it) ...
//
// A plain pair of positions; nothing throws.
#ifndef VORN_TREEMODEL_TREEMODELSIBLINGRANGE_H_
#define VORN_TREEMODEL_TREEMODELSIBLINGRANGE_H_

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/ModelItemTree.h"

namespace vorn {

struct VORN_API TreeModelSiblingRange {
  ModelItemTree::sibling_iterator first;
  ModelItemTree::sibling_iterator last;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_TREEMODELSIBLINGRANGE_H_
