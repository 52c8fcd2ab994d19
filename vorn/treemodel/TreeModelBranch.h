// TreeModelBranch: the path from a top-level item of a tree model down to one
// item, held as positions in that model (index 0 the top-level ancestor,
// the last index the item itself).
//
//   TreeModelBranch branch(position);     // e.g. r, x, y
//   branch.size();                        // 3
//   *branch.node(0);                      // the top-level item r
//   other_model.merge_branch(branch);     // graft r/x/y into another model
//
// Positions are not revalidated: after the model changes, a branch that
// runs through an erased item is undefined to use. `node` past the end
// gives a null position. Nothing throws beyond allocation failures.
#ifndef VORN_TREEMODEL_TREEMODELBRANCH_H_
#define VORN_TREEMODEL_TREEMODELBRANCH_H_

#include <vector>

#include "vorn/foundation/Export.h"
#include "vorn/treemodel/ModelItemTree.h"

namespace vorn {

class VORN_API TreeModelBranch {
 public:
  using pre_order_iterator = ModelItemTree::pre_order_iterator;

  explicit TreeModelBranch(pre_order_iterator position);
  virtual ~TreeModelBranch();

  // The position at `i`; a null position when `i` is not below size().
  pre_order_iterator node(unsigned i) const noexcept;
  unsigned size() const noexcept { return static_cast<unsigned>(nodes_.size()); }
  bool empty() const noexcept { return nodes_.empty(); }

 private:
  std::vector<pre_order_iterator> nodes_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_TREEMODELBRANCH_H_
