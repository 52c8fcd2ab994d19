#include "vorn/treemodel/TreeModelBranch.h"

#include "vorn/treemodel/TreeModelFunctions.h"

namespace vorn {

TreeModelBranch::TreeModelBranch(pre_order_iterator position) { TreeModelFunctions::branch(position, nodes_); }

TreeModelBranch::~TreeModelBranch() = default;

TreeModelBranch::pre_order_iterator TreeModelBranch::node(unsigned i) const noexcept {
  return i < nodes_.size() ? nodes_[i] : pre_order_iterator();
}

}  // namespace vorn
