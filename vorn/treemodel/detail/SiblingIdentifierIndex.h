// Internal: do not include this file directly.
//
// What a TreeModel knows about the identifiers of one sibling list, so that
// making an identifier unique does not rescan the siblings for every
// insertion. The knowledge is stamped with the list, the tree's
// modification count and ModelItem::identifier_generation(); it is used
// only while all three are unchanged, so any change of structure anywhere
// in the tree, or of any item's identifier, makes the model look at the
// siblings again.
//
// The index is built lazily: the first request for a list only starts
// tracking it (the caller scans the siblings as usual), and the next
// request for the same list, with nothing changed in between except the
// model's own insertion, builds the set of the siblings' identifiers. From
// then on each insertion costs a few hash look-ups.
#ifndef VORN_TREEMODEL_DETAIL_SIBLINGIDENTIFIERINDEX_H_
#define VORN_TREEMODEL_DETAIL_SIBLINGIDENTIFIERINDEX_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace vorn::detail {

class SiblingIdentifierIndex {
 public:
  // The state the knowledge belongs to: a list (its parent node, or the
  // tree's tail for the top level), the tree's modification count and the
  // identifier generation.
  struct Stamp {
    const void* list = nullptr;
    std::uint64_t tree = 0;
    std::uint64_t identifiers = 0;
  };

  SiblingIdentifierIndex() = default;
  // A copy knows nothing: its knowledge was about another tree.
  SiblingIdentifierIndex(const SiblingIdentifierIndex& /*other*/) noexcept {}
  SiblingIdentifierIndex& operator=(const SiblingIdentifierIndex& /*other*/) noexcept {
    forget();
    return *this;
  }
  ~SiblingIdentifierIndex() = default;

  bool is_current(const Stamp& now) const noexcept {
    return tracking_ && now.list == stamp_.list && now.tree == stamp_.tree && now.identifiers == stamp_.identifiers;
  }
  bool is_built() const noexcept { return built_; }

  // Starts tracking a list without knowing its identifiers yet.
  void track(const Stamp& now) {
    forget();
    stamp_ = now;
    tracking_ = true;
  }

  // Records the identifiers of the tracked list, given one by one to `add`
  // after `start_building`.
  void start_building() {
    items_.clear();
    ids_.clear();
    next_.clear();
    built_ = true;
  }

  // Records an item the list now holds, with its identifier (when built).
  void add(const void* item, const std::string& id) {
    if (!built_) return;
    items_.insert(item);
    ids_.insert(id);
  }

  bool contains(const std::string& id) const { return ids_.count(id) != 0; }
  bool holds(const void* item) const { return items_.count(item) != 0; }

  // The counter from which a search for a free suffix of `base` may start:
  // every smaller one was found taken before, and the set only grows while
  // the stamp holds.
  std::size_t first_unknown_counter(const std::string& base) const {
    const auto it = next_.find(base);
    return it == next_.end() ? 1 : it->second;
  }
  void note_taken_below(const std::string& base, std::size_t counter) { next_[base] = counter; }

  // Moves the stamp on after a change the index has accounted for.
  void restamp(const Stamp& now) noexcept { stamp_ = now; }

  void forget() noexcept {
    tracking_ = false;
    built_ = false;
    items_.clear();
    ids_.clear();
    next_.clear();
  }

 private:
  Stamp stamp_;
  bool tracking_ = false;
  bool built_ = false;
  std::unordered_set<const void*> items_;
  std::unordered_set<std::string> ids_;
  std::unordered_map<std::string, std::size_t> next_;
};

}  // namespace vorn::detail

#endif  // VORN_TREEMODEL_DETAIL_SIBLINGIDENTIFIERINDEX_H_
