// TreeModel: an ordered forest of ModelItems. It keeps sibling identifiers
// unique when asked to, finds items by identifier or identifier path,
// grafts branches of one model into another, sorts siblings by identifier
// and groups neighbouring items with equal attributes into ranges (for a
// viewer that collapses runs of equivalent entries).
//
//   TreeModel model;                                   // duplicate checking on
//   auto r = model.insert(THandle<ModelItem>(new ModelItem(DatabaseEntryIdentifier("r"))));
//   model.append_child(r, THandle<ModelItem>(new ModelItem(DatabaseEntryIdentifier("c"))));
//   model.insert(THandle<ModelItem>(new ModelItem(DatabaseEntryIdentifier("r"))));  // becomes r_1
//   model.print(std::cout);                            // "r_1\nr\n\tc\n"
//   auto it = model.find(model.begin(), model.end(), "c");
//
// Items are shared through handles: a clone shares them, and an item lives
// on while anyone holds it. Positions are the container's iterators and are
// not verified: a position of another model, or of an erased item, is
// undefined to use; is_valid() tells item positions from null and sentinel
// ones. Queries are const but hand out mutable positions, through which the
// caller may change the model as through the model itself.
//
// The model notifies nobody. Derived models override the virtual structural
// operations (insert, insert_after, append_child, remove, merge_branch) to
// add behaviour around changes.
//
// Errors: a null item raises std::runtime_error "Internal error: access of
// null handle" wherever its identifier or attributes are read. An
// identifier that its uniqueness suffix ("_1", "_2", ...) makes longer than
// 255 bytes raises DatabaseEntryIdentifier's std::invalid_argument; the item
// keeps its identifier and is not inserted. find() with an over-long
// identifier text raises the same error.
#ifndef VORN_TREEMODEL_TREEMODEL_H_
#define VORN_TREEMODEL_TREEMODEL_H_

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/treemodel/AttributeSupplier.h"
#include "vorn/treemodel/ModelItem.h"
#include "vorn/treemodel/ModelItemTree.h"
#include "vorn/treemodel/TreeModelBranch.h"
#include "vorn/treemodel/TreeModelBranchIdentifiers.h"
#include "vorn/treemodel/TreeModelRange.h"
#include "vorn/treemodel/TreeModelSiblingRange.h"
#include "vorn/treemodel/detail/SiblingIdentifierIndex.h"

namespace vorn {

class VORN_API TreeModel {
 public:
  using tree_type = ModelItemTree;
  using pre_order_iterator = ModelItemTree::pre_order_iterator;
  using sibling_iterator = ModelItemTree::sibling_iterator;
  using Suppliers = std::vector<THandle<AttributeSupplier>>;

  TreeModel() = default;
  TreeModel& operator=(const TreeModel&) = delete;
  virtual ~TreeModel();

  // A new model with a copy of the structure and the same duplicate-checking
  // setting, sharing the item objects.
  virtual THandle<TreeModel> clone() const;

  // ---- Structure -----------------------------------------------------------

  // Puts `item` at the front of the top level, first making its identifier
  // unique among the top-level items when duplicate checking is on.
  virtual pre_order_iterator insert(THandle<ModelItem> item);

  // Grafts a root-to-item path onto the model, matching items by
  // identifier level by level and adding (through insert and append_child)
  // only those that are missing. Returns the position of the path's last
  // item in this model; end() for an empty branch.
  virtual pre_order_iterator merge_branch(const TreeModelBranch& branch);

  // Puts `item` after `position`, unique among `position`'s siblings when
  // duplicate checking is on.
  virtual pre_order_iterator insert_after(pre_order_iterator position, THandle<ModelItem> item);

  // Makes `item` the last child of `position`, unique among its children
  // when duplicate checking is on.
  virtual pre_order_iterator append_child(pre_order_iterator position, THandle<ModelItem> item);

  // Erases the item with its subtree; returns the position that followed the
  // subtree in pre-order.
  virtual pre_order_iterator remove(pre_order_iterator position);

  // One line per item in pre-order: a tab per level of depth, the
  // identifier, "\n".
  virtual void print(std::ostream& out) const;

  // Copies the siblings [from, to), with their subtrees, as the last children
  // of `position`; no duplicate check. Returns the first copy, or the end of
  // `position`'s children for an empty range.
  sibling_iterator append_children(pre_order_iterator position, sibling_iterator from, sibling_iterator to);

  // The container's merge (see Tree::merge): items match when they are the
  // same object. No duplicate check.
  void merge(sibling_iterator to, sibling_iterator to_end, sibling_iterator from, sibling_iterator from_end,
             bool duplicate_leaves);

  // Sorts the siblings [from, to) into descending byte-wise order of their
  // identifiers ("b" before "a", "ab" before "a"), keeping the order of
  // equal identifiers; with `deep` every sorted item's children too.
  void sort(sibling_iterator from, sibling_iterator to, bool deep);

  // Moves the items' nodes into one block in pre-order, so that walking the
  // model reads memory front to back however it was built (a clone is laid
  // out so already). Every position except end() becomes invalid.
  void compact() { tree_.compact(); }

  // Affects later insert, insert_after and append_child calls only.
  void set_duplicate_checking(bool on) noexcept { duplicate_checking_ = on; }
  bool is_duplicate_checking_on() const noexcept { return duplicate_checking_; }

  // Gives `item` the first of its identifier, identifier_1, identifier_2, ...
  // that no sibling in [first, last) carries. The item is changed only when
  // a suffix was needed; on an over-long result it is left unchanged.
  //
  // Repeated insertions into one sibling list do not rescan the siblings:
  // the model keeps the list's identifiers in a hash set while nothing else
  // changes, and looks at the siblings again after any structural change
  // of the tree or any set_identifier on an item it indexed. The set cannot
  // see an item replaced through a position (`*it = other`) or a derived
  // item whose identifier() changes without set_identifier; after such a
  // change, any structural change (or set_identifier) makes the model
  // look again.
  void ensure_unique_identifier(THandle<ModelItem> item, sibling_iterator first, sibling_iterator last);

  // ---- Queries -------------------------------------------------------------

  pre_order_iterator begin() const noexcept { return mutable_tree_().begin(); }
  pre_order_iterator end() const noexcept { return mutable_tree_().end(); }
  sibling_iterator top_level_begin() const noexcept { return mutable_tree_().top_level_begin(); }
  sibling_iterator top_level_end() const noexcept { return mutable_tree_().top_level_end(); }

  // The number of items (a pre-order count).
  std::size_t size() const noexcept { return tree_.size(); }
  bool empty() const noexcept { return tree_.empty(); }

  // The number of ancestors; 0 for a top-level item.
  int depth(pre_order_iterator position) const noexcept { return ModelItemTree::depth(position); }

  // False for null positions and for the sentinels before and after the items.
  bool is_valid(pre_order_iterator position) const noexcept { return tree_.is_valid(position); }

  // The first item in [from, to), in pre-order, with identifier `id`; `to`
  // when there is none.
  pre_order_iterator find(pre_order_iterator from, pre_order_iterator to, const DatabaseEntryIdentifier& id) const;
  pre_order_iterator find(pre_order_iterator from, pre_order_iterator to, const std::string& text) const;
  pre_order_iterator find(pre_order_iterator from, pre_order_iterator to, const char* text) const {
    return find(from, to, std::string(text));
  }

  // The first sibling in [first, last) with identifier `id`; `last` when
  // there is none.
  pre_order_iterator find_sibling(sibling_iterator first, sibling_iterator last,
                                  const DatabaseEntryIdentifier& id) const;

  // Follows `path` down from the top level, taking the first sibling that
  // matches at each level (no backtracking). end() when the path is empty
  // or leads nowhere.
  pre_order_iterator find(const TreeModelBranchIdentifiers& path) const;

  // As find(path), starting at `from`, whose own path must agree with the
  // start of `path`, and giving up on reaching `to`. end() when nothing is
  // found, when `from` is end(), lies off the path, or is deeper than it.
  pre_order_iterator find(pre_order_iterator from, pre_order_iterator to,
                          const TreeModelBranchIdentifiers& path) const;

  // Runs of neighbours in pre-order (depth ignored) with equal attributes,
  // each reported from its first to its last item. A run that reaches the
  // end of the model is not reported.
  std::vector<TreeModelRange> find_ranges_of_equivalent_items(THandle<AttributeSupplier> supplier) const;

  // Appends the runs of equivalent siblings below every top-level item
  // (top-level items are not compared with each other).
  void find_ranges_of_equivalent_siblings(const Suppliers& suppliers, std::vector<TreeModelSiblingRange>& ranges) const;

  // Appends the runs of equivalent siblings in `parent`'s subtree, depth
  // first: a subtree's runs come before the run that closes after it, and a
  // run that reaches the end of a child list is reported up to that end.
  void find_ranges_of_equivalent_siblings(const Suppliers& suppliers, pre_order_iterator parent,
                                          std::vector<TreeModelSiblingRange>& ranges) const;

 protected:
  TreeModel(const TreeModel& other) = default;

  tree_type& tree() noexcept { return tree_; }
  const tree_type& tree() const noexcept { return tree_; }

 private:
  tree_type& mutable_tree_() const noexcept { return const_cast<tree_type&>(tree_); }

  // Makes `item` unique among [first, last). `inserting`: the caller
  // inserts the item into that list next. True when the sibling index is
  // then current for the list, so that the insertion can be added to it.
  bool make_unique_(const THandle<ModelItem>& item, sibling_iterator first, sibling_iterator last,
                    bool inserting);
  void note_insertion_(const THandle<ModelItem>& item, const void* list);
  static std::size_t free_counter_by_scanning_(const DatabaseEntryIdentifier& base, sibling_iterator first,
                                               sibling_iterator last);
  std::size_t free_counter_by_index_(const DatabaseEntryIdentifier& base);
  const void* whole_list_(sibling_iterator first, sibling_iterator last) const noexcept;
  detail::SiblingIdentifierIndex::Stamp stamp_(const void* list) const noexcept;

  tree_type tree_;
  bool duplicate_checking_ = true;
  detail::SiblingIdentifierIndex index_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_TREEMODEL_H_
