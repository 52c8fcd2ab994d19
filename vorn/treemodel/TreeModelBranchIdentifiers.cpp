#include "vorn/treemodel/TreeModelBranchIdentifiers.h"

#include <algorithm>
#include <cstddef>
#include <ostream>

namespace vorn {

DatabaseEntryIdentifier TreeModelBranchIdentifiers::identifier(unsigned depth, bool& found) const {
  found = depth < identifiers_.size();
  return found ? identifiers_[depth] : DatabaseEntryIdentifier();
}

bool TreeModelBranchIdentifiers::overlap_with(const TreeModelBranchIdentifiers& other) const noexcept {
  const std::size_t n = std::min(identifiers_.size(), other.identifiers_.size());
  for (std::size_t i = 0; i < n; ++i) {
    if (identifiers_[i] != other.identifiers_[i]) return false;
  }
  return true;
}

bool TreeModelBranchIdentifiers::overlaps_with(const TreeModelBranchIdentifiers& other) const noexcept {
  for (std::size_t depth = 0; depth < other.identifiers_.size(); ++depth) {
    if (depth >= identifiers_.size()) return true;
    if (identifiers_[depth] != other.identifiers_[depth]) return false;
  }
  return true;
}

TreeModelBranchIdentifiers TreeModelBranchIdentifiers::sub_branch(unsigned n) const {
  if (n >= identifiers_.size()) return *this;
  return TreeModelBranchIdentifiers(
      std::vector<DatabaseEntryIdentifier>(identifiers_.begin(), identifiers_.begin() + n));
}

void TreeModelBranchIdentifiers::print(std::ostream& out) const {
  for (const DatabaseEntryIdentifier& id : identifiers_) out << id.text() << '\n';
}

}  // namespace vorn
