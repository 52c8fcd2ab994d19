// TreeModelBranchIdentifiers: a path of identifiers from a top-level item
// (depth 0) down to one item, so that the same path can be looked up in
// another model or compared with other paths.
//
//   TreeModelBranchIdentifiers path({DatabaseEntryIdentifier("a"),
//                                    DatabaseEntryIdentifier("b")});
//   bool found;
//   path.identifier(1, found);     // "b", found == true
//   path.identifier(5, found);     // "", found == false
//   path.overlaps_with(other);     // one path is a prefix of the other
//   model.find(path);              // the item at a/b, or model.end()
//
// Nothing throws beyond allocation failures.
#ifndef VORN_TREEMODEL_TREEMODELBRANCHIDENTIFIERS_H_
#define VORN_TREEMODEL_TREEMODELBRANCHIDENTIFIERS_H_

#include <iosfwd>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API TreeModelBranchIdentifiers {
 public:
  TreeModelBranchIdentifiers() = default;
  explicit TreeModelBranchIdentifiers(const std::vector<DatabaseEntryIdentifier>& identifiers)
      : identifiers_(identifiers) {}

  // The identifier at `depth` with `found` true; beyond the path an empty
  // identifier with `found` false.
  DatabaseEntryIdentifier identifier(unsigned depth, bool& found) const;

  // The number of identifiers in the path.
  unsigned max_depth() const noexcept { return static_cast<unsigned>(identifiers_.size()); }

  const std::vector<DatabaseEntryIdentifier>& identifiers() const noexcept { return identifiers_; }

  // True when the paths agree at every depth both have, i.e. one is a prefix
  // of the other (an empty path overlaps every path). The two spellings
  // give the same answer.
  bool overlap_with(const TreeModelBranchIdentifiers& other) const noexcept;
  bool overlaps_with(const TreeModelBranchIdentifiers& other) const noexcept;

  // The first `n` identifiers; the whole path when `n` exceeds its length.
  TreeModelBranchIdentifiers sub_branch(unsigned n) const;

  // Each identifier followed by "\n".
  void print(std::ostream& out) const;

  friend bool operator==(const TreeModelBranchIdentifiers& a, const TreeModelBranchIdentifiers& b) {
    return a.identifiers_ == b.identifiers_;
  }
  friend bool operator!=(const TreeModelBranchIdentifiers& a, const TreeModelBranchIdentifiers& b) {
    return a.identifiers_ != b.identifiers_;
  }

 private:
  std::vector<DatabaseEntryIdentifier> identifiers_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_TREEMODELBRANCHIDENTIFIERS_H_
