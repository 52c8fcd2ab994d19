#include "vorn/treemodel/TreeModel.h"

#include <cstddef>
#include <iterator>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vorn/foundation/VornLog.h"
#include "vorn/treemodel/AreAttributesEqual.h"
#include "vorn/treemodel/IdentifierEquals.h"
#include "vorn/treemodel/TreeModelFunctions.h"

namespace vorn {

namespace {

using Node = ModelItemTree::node_type;
using Item = THandle<ModelItem>;

// The number n when `text` is `prefix` followed by n in canonical decimal
// (no sign, no leading zero, n >= 1, at most 19 digits); else 0.
std::size_t suffix_number(const std::string& text, const std::string& prefix) {
  if (text.size() <= prefix.size() || text.compare(0, prefix.size(), prefix) != 0) return 0;
  if (text[prefix.size()] == '0' || text.size() - prefix.size() > 19) return 0;
  std::size_t n = 0;
  for (std::size_t i = prefix.size(); i < text.size(); ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return 0;
    n = n * 10 + static_cast<std::size_t>(c - '0');
  }
  return n;
}

std::string without_leading_blanks(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t");
  return start == std::string::npos ? std::string() : text.substr(start);
}

}  // namespace

TreeModel::~TreeModel() = default;

THandle<TreeModel> TreeModel::clone() const { return THandle<TreeModel>(new TreeModel(*this)); }

TreeModel::pre_order_iterator TreeModel::insert(THandle<ModelItem> item) {
  if (!duplicate_checking_) return tree_.insert(tree_.begin(), std::move(item));
  const bool indexed = make_unique_(item, top_level_begin(), top_level_end(), true);
  const pre_order_iterator result = tree_.insert(tree_.begin(), item);
  if (indexed) note_insertion_(item, end().node());
  return result;
}

TreeModel::pre_order_iterator TreeModel::insert_after(pre_order_iterator position, THandle<ModelItem> item) {
  if (!duplicate_checking_) return tree_.insert_after(position, std::move(item));
  Node* const parent = position.node()->parent;
  const bool indexed = parent != nullptr
                           ? make_unique_(item, sibling_iterator(parent->first_child, parent),
                                          sibling_iterator(nullptr, parent), true)
                           : make_unique_(item, top_level_begin(), top_level_end(), true);
  const pre_order_iterator result = tree_.insert_after(position, item);
  if (indexed) note_insertion_(item, parent != nullptr ? parent : end().node());
  return result;
}

TreeModel::pre_order_iterator TreeModel::append_child(pre_order_iterator position, THandle<ModelItem> item) {
  if (!duplicate_checking_) return tree_.append_child(position, std::move(item));
  const bool indexed = make_unique_(item, position.begin(), position.end(), true);
  const pre_order_iterator result = tree_.append_child(position, item);
  if (indexed) note_insertion_(item, position.node());
  return result;
}

TreeModel::pre_order_iterator TreeModel::remove(pre_order_iterator position) { return tree_.erase(position); }

TreeModel::sibling_iterator TreeModel::append_children(pre_order_iterator position, sibling_iterator from,
                                                       sibling_iterator to) {
  return tree_.append_children(position, from, to);
}

void TreeModel::merge(sibling_iterator to, sibling_iterator to_end, sibling_iterator from,
                      sibling_iterator from_end, bool duplicate_leaves) {
  tree_.merge(to, to_end, from, from_end, duplicate_leaves);
}

// Each identifier is read once, before anything moves; ordering the keys
// descending is what CompareIdentifiers with direction 0 does per pair.
void TreeModel::sort(sibling_iterator from, sibling_iterator to, bool deep) {
  tree_.sort_by_key(
      from, to, [](const Item& item) { return item->identifier(); },
      [](const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) { return b.text() < a.text(); }, deep);
}

// The candidates are the identifier itself, then identifier_1, identifier_2
// and so on, and the answer is the first that no sibling carries. Rather
// than search the siblings once per candidate, one pass notes which
// candidates are taken: with k siblings at most k are, so the answer lies
// in 0..k. Candidates are made as the DatabaseEntryIdentifier constructor
// makes them (leading blanks dropped).
std::size_t TreeModel::free_counter_by_scanning_(const DatabaseEntryIdentifier& base, sibling_iterator first,
                                                 sibling_iterator last) {
  const std::string prefix = without_leading_blanks(base.text()) + "_";
  std::vector<std::size_t> suffixes;
  std::size_t siblings = 0;
  bool base_taken = false;
  for (sibling_iterator it = first; it != last; ++it) {
    ++siblings;
    const DatabaseEntryIdentifier id = (*it)->identifier();
    if (id == base) {
      base_taken = true;
    } else if (const std::size_t n = suffix_number(id.text(), prefix)) {
      suffixes.push_back(n);
    }
  }
  if (!base_taken) return 0;
  std::vector<bool> taken(siblings + 1, false);
  for (std::size_t n : suffixes) {
    if (n <= siblings) taken[n] = true;
  }
  std::size_t counter = 1;
  while (taken[counter]) ++counter;
  return counter;
}

// With the siblings' identifiers in a set, the first free counter is found
// by probing from the first counter not yet known to be taken. Every
// candidate probed is made by the DatabaseEntryIdentifier constructor, as
// the plain search would make it, and the ones skipped were made by earlier
// probes, so an over-long candidate raises the size error with the text the
// plain search would raise it with.
std::size_t TreeModel::free_counter_by_index_(const DatabaseEntryIdentifier& base) {
  if (!index_.contains(base.text())) return 0;
  std::size_t counter = index_.first_unknown_counter(base.text());
  while (index_.contains(DatabaseEntryIdentifier(base.text() + "_" + std::to_string(counter)).text())) ++counter;
  index_.note_taken_below(base.text(), counter);
  return counter;
}

// The parent of the list that [first, last) covers completely (the tail for
// the top level); null when the range is only part of a list.
const void* TreeModel::whole_list_(sibling_iterator first, sibling_iterator last) const noexcept {
  const Node* const tail = end().node();
  if (last.node() == tail) return first.node() == tree_.begin().node() ? tail : nullptr;
  if (last.node() != nullptr || last.parent_node() == nullptr) return nullptr;
  return first.node() == last.parent_node()->first_child ? last.parent_node() : nullptr;
}

detail::SiblingIdentifierIndex::Stamp TreeModel::stamp_(const void* list) const noexcept {
  return detail::SiblingIdentifierIndex::Stamp{list, tree_.modification_count(), ModelItem::identifier_generation()};
}

bool TreeModel::make_unique_(const THandle<ModelItem>& item, sibling_iterator first, sibling_iterator last,
                             bool inserting) {
  const DatabaseEntryIdentifier base = item->identifier();
  const void* const list = whole_list_(first, last);
  std::size_t counter = 0;
  bool indexed = false;
  if (list == nullptr || !index_.is_current(stamp_(list))) {
    counter = free_counter_by_scanning_(base, first, last);
    // Every length class up to the answer is made, so that the first
    // over-long candidate raises the size error with its own text, exactly
    // as trying the candidates in turn would.
    for (std::size_t power = 1; power <= counter; power *= 10) {
      DatabaseEntryIdentifier(base.text() + "_" + std::to_string(power));
    }
    if (list != nullptr) {
      index_.track(stamp_(list));
      indexed = true;
    }
  } else {
    if (!index_.is_built()) {
      index_.start_building();
      try {
        for (sibling_iterator it = first; it != last; ++it) {
          (*it)->indexed_by_model_ = true;
          index_.add(it->unhand(), (*it)->identifier().text());
        }
      } catch (...) {
        index_.forget();
        throw;
      }
    }
    counter = free_counter_by_index_(base);
    // An item inserted a second time is already a sibling: renaming it
    // changes what the index knows.
    indexed = !index_.holds(item.unhand());
  }
  if (counter != 0) {
    const DatabaseEntryIdentifier unique(base.text() + "_" + std::to_string(counter));
    VORN_DEBUG_TRACE(3, "TreeModel::ensure_unique_identifier: '" << base.text() << "' becomes '" << unique.text()
                                                                  << "'");
    item->set_identifier(unique);
    // Renaming an item that is not in the list changes nothing the index
    // knows.
    if (indexed && inserting) index_.restamp(stamp_(list));
  }
  return indexed && inserting;
}

// Called right after an insertion into a list whose index was current
// before it, so the insertion is the only change to account for.
void TreeModel::note_insertion_(const THandle<ModelItem>& item, const void* list) {
  if (index_.is_built()) item->indexed_by_model_ = true;
  index_.add(item.unhand(), item->identifier().text());
  index_.restamp(stamp_(list));
}

void TreeModel::ensure_unique_identifier(THandle<ModelItem> item, sibling_iterator first, sibling_iterator last) {
  make_unique_(item, first, last, false);
}

TreeModel::pre_order_iterator TreeModel::merge_branch(const TreeModelBranch& branch) {
  if (branch.empty()) return end();
  const Item root = *branch.node(0);
  pre_order_iterator current = find_sibling(top_level_begin(), top_level_end(), root->identifier());
  if (current == end()) current = insert(root);
  for (unsigned i = 1; i < branch.size(); ++i) {
    const Item item = *branch.node(i);
    const pre_order_iterator found = find_sibling(current.begin(), current.end(), item->identifier());
    current = found.node() == nullptr ? append_child(current, item) : found;
  }
  return current;
}

void TreeModel::print(std::ostream& out) const {
  for (pre_order_iterator it = begin(), e = end(); it != e; ++it) {
    out << std::string(static_cast<std::size_t>(depth(it)), '\t') << (*it)->identifier().text() << '\n';
  }
}

TreeModel::pre_order_iterator TreeModel::find(pre_order_iterator from, pre_order_iterator to,
                                              const DatabaseEntryIdentifier& id) const {
  const IdentifierEquals<Item> equals(id);
  for (; from != to; ++from) {
    if (equals(*from)) return from;
  }
  return to;
}

TreeModel::pre_order_iterator TreeModel::find(pre_order_iterator from, pre_order_iterator to,
                                              const std::string& text) const {
  return find(from, to, DatabaseEntryIdentifier(text));
}

TreeModel::pre_order_iterator TreeModel::find_sibling(sibling_iterator first, sibling_iterator last,
                                                      const DatabaseEntryIdentifier& id) const {
  const IdentifierEquals<Item> equals(id);
  for (; first != last; ++first) {
    if (equals(*first)) return pre_order_iterator(first);
  }
  return pre_order_iterator(last);
}

namespace {

// Walks down from `node` (an item at depth `level`) along `path`: a match
// at the last level is the answer; a match above it descends into the
// item's children; a mismatch moves to the next sibling. Running off a
// sibling list, or meeting `stop`, ends the search without an answer.
Node* follow_path(Node* node, unsigned level, const TreeModelBranchIdentifiers& path, const Node* stop,
                  const ModelItemTree& tree) {
  const unsigned last = path.max_depth() - 1;
  bool found = false;
  DatabaseEntryIdentifier wanted = path.identifier(level, found);
  while (node != stop && tree.is_valid(ModelItemTree::pre_order_iterator(node))) {
    if (node->data->identifier() == wanted) {
      if (level == last) return node;
      wanted = path.identifier(++level, found);
      node = node->first_child;
    } else {
      node = node->next_sibling;
    }
  }
  return nullptr;
}

}  // namespace

TreeModel::pre_order_iterator TreeModel::find(const TreeModelBranchIdentifiers& path) const {
  if (empty() || path.max_depth() == 0) return end();
  Node* found = follow_path(begin().node(), 0, path, end().node(), tree_);
  return found == nullptr ? end() : pre_order_iterator(found);
}

TreeModel::pre_order_iterator TreeModel::find(pre_order_iterator from, pre_order_iterator to,
                                              const TreeModelBranchIdentifiers& path) const {
  if (from == end() || from == to || !is_valid(from)) return end();
  const unsigned from_depth = static_cast<unsigned>(depth(from));
  if (from_depth >= path.max_depth()) return end();
  std::vector<pre_order_iterator> from_branch;
  TreeModelFunctions::branch(from, from_branch);
  for (unsigned level = 0; level <= from_depth; ++level) {
    if ((*from_branch[level])->identifier() != path.identifiers()[level]) return end();
  }
  if (from_depth + 1 == path.max_depth()) return from;
  Node* found = follow_path(from.node()->first_child, from_depth + 1, path, to.node(), tree_);
  return found == nullptr ? end() : pre_order_iterator(found);
}

std::vector<TreeModelRange> TreeModel::find_ranges_of_equivalent_items(THandle<AttributeSupplier> supplier) const {
  const AreAttributesEqual<Item> equal(Suppliers{std::move(supplier)});
  std::vector<TreeModelRange> ranges;
  if (empty() || std::next(begin()) == end()) return ranges;
  pre_order_iterator previous = begin();
  pre_order_iterator current = std::next(previous);
  pre_order_iterator start;
  bool open = false;
  for (const pre_order_iterator stop = end(); current != stop; previous = current, ++current) {
    if (equal(*current, *previous)) {
      if (!open) {
        open = true;
        start = previous;
      }
    } else if (open) {
      ranges.push_back(TreeModelRange{start, previous});
      open = false;
    }
  }
  return ranges;
}

void TreeModel::find_ranges_of_equivalent_siblings(const Suppliers& suppliers,
                                                   std::vector<TreeModelSiblingRange>& ranges) const {
  for (sibling_iterator it = top_level_begin(), e = top_level_end(); it != e; ++it) {
    find_ranges_of_equivalent_siblings(suppliers, pre_order_iterator(it), ranges);
  }
}

// A depth-first walk that, for each child list, first handles the first
// child's subtree, then for every further child its subtree followed by
// its comparison with the child before it. The recursion is kept on an
// explicit stack of child lists, so deep models cannot exhaust the call
// stack; an item with a single child has nothing to compare and hands over
// to that child without a stack entry, so chains cost no memory.
void TreeModel::find_ranges_of_equivalent_siblings(const Suppliers& suppliers, pre_order_iterator parent,
                                                   std::vector<TreeModelSiblingRange>& ranges) const {
  struct ChildList {
    Node* parent;
    Node* previous;
    Node* current;
    Node* start;
    bool open;
    bool compare_current;  // the current child's subtree is done; compare it next
  };
  const AreAttributesEqual<Item> equal(suppliers);
  std::vector<ChildList> stack;
  const auto enter = [&stack](Node* node) {
    while (node->first_child != nullptr) {
      Node* first = node->first_child;
      if (first->next_sibling != nullptr) {
        stack.push_back(ChildList{node, first, first->next_sibling, nullptr, false, false});
      }
      node = first;
    }
  };

  enter(parent.node());
  while (!stack.empty()) {
    ChildList& list = stack.back();
    if (list.compare_current) {
      list.compare_current = false;
      if (equal(list.current->data, list.previous->data)) {
        if (!list.open) {
          list.open = true;
          list.start = list.previous;
        }
      } else if (list.open) {
        ranges.push_back(TreeModelSiblingRange{sibling_iterator(list.start, list.parent),
                                               sibling_iterator(list.current, list.parent)});
        list.open = false;
      }
      list.previous = list.current;
      list.current = list.current->next_sibling;
    }
    if (list.current == nullptr) {
      if (list.open) {
        ranges.push_back(
            TreeModelSiblingRange{sibling_iterator(list.start, list.parent), sibling_iterator(nullptr, list.parent)});
      }
      stack.pop_back();
      continue;
    }
    list.compare_current = true;
    enter(list.current);  // may reallocate the stack: `list` is not used after this
  }
}

}  // namespace vorn
