// Tree<T>: an ordered n-ary tree (a forest: any number of top-level nodes)
// with doubly linked sibling lists, pre-order and sibling iterators.
//
// Every node holds one payload and five links (parent, first and last child,
// previous and next sibling). The top-level list is framed by two sentinel
// nodes inside the Tree object, `head` before the first top-level node and
// `tail` after the last; `end()` is `tail`, and a pre-order walk that leaves
// the last subtree arrives there. Sentinels hold no payload.
//
//   Tree<std::string> tree;
//   auto a = tree.insert(tree.end(), "A");          // top level: A
//   tree.append_child(a, "A1");
//   tree.append_child(a, "A2");
//   tree.insert(tree.end(), "B");                    // top level: A, B
//   for (const std::string& s : tree) ...            // A, A1, A2, B
//   for (auto c = a.begin(); c != a.end(); ++c) ...  // A1, A2
//
// Iterators are bidirectional and carry std::iterator_traits; the const_
// kinds give read-only access and convert from the mutable ones. Positions
// stay valid until their node is erased; they are not checked, so passing a
// position of another tree or an erased node is undefined (`is_valid` tells
// the sentinels and null positions apart).
//
// The nodes live in a store owned by the tree: blocks of nodes taken from
// the node allocator (`Allocator`, rebound to tree_node_<T>), growing
// geometrically, each payload constructed in place. Erased nodes go to a
// free list that later insertions reuse; clear(), compact() and destruction
// give the blocks back. Nothing is allocated per node. A copy lays its
// nodes out in pre-order in one block, and `compact()` does the same for
// the tree itself, so that a pre-order walk reads memory front to back
// however the tree was built:
//
//   tree.compact();   // every position except end() is now invalid
//
// Positions stay valid until their node is erased, the tree is cleared, or
// compact() is called; moving or swapping trees keeps them (the nodes go
// with the store). Deep trees are safe: copying, erasing, compacting and
// destruction walk the tree iteratively, so a chain of a million nodes
// does not exhaust the stack. Moving a tree is O(1).
//
// `modification_count()` changes with every structural change (a node
// linked, unlinked or moved, the tree cleared, moved, swapped or
// compacted), so that a client can tell whether knowledge it derived from
// the structure is still current. Replacing a payload through a position
// (`*it = x`) is not a structural change.
//
// Exceptions: whatever copying T or the allocator throws; a failed insertion
// or copy leaves the tree as it was. A comparator that throws during `sort`
// leaves the range being sorted in its old order.
#ifndef VORN_TREEMODEL_TREE_H_
#define VORN_TREEMODEL_TREE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace vorn {

// One node of a Tree. `data` lives in an anonymous union so that the
// sentinels can exist without a payload; Tree constructs and destroys it.
template <class T>
struct tree_node_ {
  tree_node_() noexcept {}  // NOLINT(modernize-use-equals-default): leaves `data` unconstructed
  tree_node_(const tree_node_&) = delete;
  tree_node_& operator=(const tree_node_&) = delete;
  ~tree_node_() {}  // NOLINT(modernize-use-equals-default): `data` is destroyed by the tree

  tree_node_* parent = nullptr;
  tree_node_* first_child = nullptr;
  tree_node_* last_child = nullptr;
  tree_node_* prev_sibling = nullptr;
  tree_node_* next_sibling = nullptr;
  union {
    T data;
  };
};

template <class T, class Allocator>
class Tree;

template <class T, bool Const>
class TreeSiblingIterator;

// What both iterator kinds share: a node and the flag that makes the next
// pre-order step skip the node's children.
template <class T, bool Const>
class TreeIteratorBase {
 public:
  using node_type = tree_node_<T>;
  using value_type = T;
  using difference_type = std::ptrdiff_t;
  using reference = std::conditional_t<Const, const T&, T&>;
  using pointer = std::conditional_t<Const, const T*, T*>;

  TreeIteratorBase() noexcept = default;
  explicit TreeIteratorBase(node_type* node) noexcept : node_(node) {}

  // The payload; undefined for a null position or a sentinel.
  reference operator*() const noexcept { return node_->data; }
  pointer operator->() const noexcept { return std::addressof(node_->data); }

  // The node, null for a position without one (such as the end of a child list).
  node_type* node() const noexcept { return node_; }

  // Makes the next pre-order ++ pass over this node's children.
  void skip_children(bool skip = true) noexcept { skip_children_ = skip; }
  bool is_skipping_children() const noexcept { return skip_children_; }

  // The children of this node, as a sibling range.
  TreeSiblingIterator<T, Const> begin() const noexcept;
  TreeSiblingIterator<T, Const> end() const noexcept;

  std::size_t number_of_children() const noexcept {
    std::size_t n = 0;
    for (const node_type* c = node_->first_child; c != nullptr; c = c->next_sibling) ++n;
    return n;
  }

 protected:
  node_type* node_ = nullptr;
  bool skip_children_ = false;
};

// Positions compare by node only, across kinds and constness.
template <class T, bool A, bool B>
bool operator==(const TreeIteratorBase<T, A>& a, const TreeIteratorBase<T, B>& b) noexcept {
  return a.node() == b.node();
}
template <class T, bool A, bool B>
bool operator!=(const TreeIteratorBase<T, A>& a, const TreeIteratorBase<T, B>& b) noexcept {
  return a.node() != b.node();
}

// Walks a tree in pre-order: a node, then its subtrees from first to last.
template <class T, bool Const>
class TreePreOrderIterator : public TreeIteratorBase<T, Const> {
  using Base = TreeIteratorBase<T, Const>;

 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using typename Base::node_type;

  TreePreOrderIterator() noexcept = default;
  explicit TreePreOrderIterator(node_type* node) noexcept : Base(node) {}
  // The same node, now walked in pre-order.
  /*implicit*/ TreePreOrderIterator(const TreeSiblingIterator<T, Const>& sibling) noexcept  // NOLINT
      : Base(sibling.node()) {}

  // A mutable position converts to a read-only one.
  template <bool C = Const, class = std::enable_if_t<C>>
  /*implicit*/ TreePreOrderIterator(const TreePreOrderIterator<T, false>& other) noexcept  // NOLINT
      : Base(other.node()) {
    this->skip_children_ = other.is_skipping_children();
  }

  // Into the first child unless told to skip; else on to the next sibling of
  // the nearest ancestor-or-self that has one. Leaving the last top-level
  // subtree lands on the tail sentinel.
  TreePreOrderIterator& operator++() noexcept {
    node_type* n = this->node_;
    if (!this->skip_children_ && n->first_child != nullptr) {
      this->node_ = n->first_child;
      return *this;
    }
    this->skip_children_ = false;
    while (n->next_sibling == nullptr) {
      n = n->parent;
      if (n == nullptr) {
        this->node_ = nullptr;
        return *this;
      }
    }
    this->node_ = n->next_sibling;
    return *this;
  }

  // The inverse of ++: the deepest last descendant of the previous sibling,
  // else the parent. From end() this is the last node of the tree.
  TreePreOrderIterator& operator--() noexcept {
    node_type* n = this->node_;
    if (n->prev_sibling != nullptr) {
      n = n->prev_sibling;
      while (n->last_child != nullptr) n = n->last_child;
    } else {
      n = n->parent;
    }
    this->node_ = n;
    return *this;
  }

  TreePreOrderIterator operator++(int) noexcept {
    TreePreOrderIterator old = *this;
    ++*this;
    return old;
  }
  TreePreOrderIterator operator--(int) noexcept {
    TreePreOrderIterator old = *this;
    --*this;
    return old;
  }
};

// Walks one sibling list. The end of a child list is a position with a null
// node that still knows its parent, so one can insert there or step back.
template <class T, bool Const>
class TreeSiblingIterator : public TreeIteratorBase<T, Const> {
  using Base = TreeIteratorBase<T, Const>;

 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using typename Base::node_type;

  TreeSiblingIterator() noexcept = default;
  explicit TreeSiblingIterator(node_type* node) noexcept : Base(node) { set_parent_(); }
  TreeSiblingIterator(node_type* node, node_type* parent) noexcept : Base(node), parent_(parent) {}
  explicit TreeSiblingIterator(const TreePreOrderIterator<T, Const>& other) noexcept : Base(other.node()) {
    set_parent_();
  }

  template <bool C = Const, class = std::enable_if_t<C>>
  /*implicit*/ TreeSiblingIterator(const TreeSiblingIterator<T, false>& other) noexcept  // NOLINT
      : Base(other.node()), parent_(other.parent_node()) {
    this->skip_children_ = other.is_skipping_children();
  }

  // The node whose children this iterator walks; null at the top level.
  node_type* parent_node() const noexcept { return parent_; }

  TreeSiblingIterator& operator++() noexcept {
    if (this->node_ != nullptr) this->node_ = this->node_->next_sibling;
    return *this;
  }

  // From the end of a child list, back to the last child.
  TreeSiblingIterator& operator--() noexcept {
    if (this->node_ != nullptr) {
      this->node_ = this->node_->prev_sibling;
    } else if (parent_ != nullptr) {
      this->node_ = parent_->last_child;
    }
    return *this;
  }

  TreeSiblingIterator operator++(int) noexcept {
    TreeSiblingIterator old = *this;
    ++*this;
    return old;
  }
  TreeSiblingIterator operator--(int) noexcept {
    TreeSiblingIterator old = *this;
    --*this;
    return old;
  }

  // The last sibling of this list; for a top-level list, the last top-level node.
  TreeSiblingIterator range_last() const noexcept {
    if (parent_ != nullptr) return TreeSiblingIterator(parent_->last_child, parent_);
    node_type* n = this->node_;
    while (n->next_sibling != nullptr && n->next_sibling->next_sibling != nullptr) n = n->next_sibling;
    return TreeSiblingIterator(n, nullptr);
  }

 private:
  void set_parent_() noexcept { parent_ = this->node_ == nullptr ? nullptr : this->node_->parent; }

  node_type* parent_ = nullptr;
};

template <class T, bool Const>
TreeSiblingIterator<T, Const> TreeIteratorBase<T, Const>::begin() const noexcept {
  return TreeSiblingIterator<T, Const>(node_->first_child, node_);
}

template <class T, bool Const>
TreeSiblingIterator<T, Const> TreeIteratorBase<T, Const>::end() const noexcept {
  return TreeSiblingIterator<T, Const>(nullptr, node_);
}

template <class T, class Allocator = std::allocator<tree_node_<T>>>
class Tree {
 public:
  using value_type = T;
  using reference = T&;
  using const_reference = const T&;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using allocator_type = Allocator;
  using node_type = tree_node_<T>;

  using iterator_base = TreeIteratorBase<T, false>;
  using const_iterator_base = TreeIteratorBase<T, true>;
  using pre_order_iterator = TreePreOrderIterator<T, false>;
  using const_pre_order_iterator = TreePreOrderIterator<T, true>;
  using sibling_iterator = TreeSiblingIterator<T, false>;
  using const_sibling_iterator = TreeSiblingIterator<T, true>;
  using iterator = pre_order_iterator;
  using const_iterator = const_pre_order_iterator;

  Tree() : Tree(Allocator()) {}
  explicit Tree(const Allocator& allocator) : allocator_(allocator) { head_initialise_(); }

  Tree(const Tree& other)
      : allocator_(std::allocator_traits<NodeAllocator>::select_on_container_copy_construction(other.allocator_)) {
    head_initialise_();
    copy_top_level_from_(other);
  }

  Tree(Tree&& other) noexcept : allocator_(std::move(other.allocator_)) {
    head_initialise_();
    steal_(other);
  }

  Tree& operator=(const Tree& other) {
    if (this == &other) return *this;
    Tree copy(other);
    clear();
    if constexpr (std::allocator_traits<NodeAllocator>::propagate_on_container_copy_assignment::value) {
      allocator_ = other.allocator_;
    }
    if (allocator_ == copy.allocator_) {
      steal_(copy);
    } else {
      copy_top_level_from_(copy);
    }
    return *this;
  }

  Tree& operator=(Tree&& other) noexcept(
      std::allocator_traits<NodeAllocator>::propagate_on_container_move_assignment::value ||
      std::allocator_traits<NodeAllocator>::is_always_equal::value) {
    if (this == &other) return *this;
    clear();
    if constexpr (std::allocator_traits<NodeAllocator>::propagate_on_container_move_assignment::value) {
      allocator_ = std::move(other.allocator_);
      steal_(other);
    } else {
      if (allocator_ == other.allocator_) {
        steal_(other);
      } else {
        copy_top_level_from_(other);
        other.clear();
      }
    }
    return *this;
  }

  ~Tree() { clear(); }

  void swap(Tree& other) noexcept {
    if constexpr (std::allocator_traits<NodeAllocator>::propagate_on_container_swap::value) {
      using std::swap;
      swap(allocator_, other.allocator_);
    }
    // Allocators that neither propagate nor compare equal make swapping
    // undefined, as for the standard containers.
    node_type* first = empty() ? nullptr : head_.next_sibling;
    node_type* last = tail_.prev_sibling;
    Store mine = std::exchange(store_, Store());
    head_initialise_();
    steal_(other);
    other.store_ = std::move(mine);
    if (first != nullptr) {
      first->prev_sibling = &other.head_;
      last->next_sibling = &other.tail_;
      other.head_.next_sibling = first;
      other.tail_.prev_sibling = last;
    }
  }

  allocator_type get_allocator() const { return allocator_type(allocator_); }

  // ---- Iteration -----------------------------------------------------------

  pre_order_iterator begin() noexcept { return pre_order_iterator(head_.next_sibling); }
  pre_order_iterator end() noexcept { return pre_order_iterator(&tail_); }
  const_pre_order_iterator begin() const noexcept { return const_pre_order_iterator(head_.next_sibling); }
  const_pre_order_iterator end() const noexcept { return const_pre_order_iterator(tail_ptr_()); }
  const_pre_order_iterator cbegin() const noexcept { return begin(); }
  const_pre_order_iterator cend() const noexcept { return end(); }

  // The top-level nodes as a sibling range; its end is the tail sentinel.
  sibling_iterator top_level_begin() noexcept { return sibling_iterator(head_.next_sibling, nullptr); }
  sibling_iterator top_level_end() noexcept { return sibling_iterator(&tail_, nullptr); }
  const_sibling_iterator top_level_begin() const noexcept {
    return const_sibling_iterator(head_.next_sibling, nullptr);
  }
  const_sibling_iterator top_level_end() const noexcept { return const_sibling_iterator(tail_ptr_(), nullptr); }

  // ---- Queries -------------------------------------------------------------

  // The number of nodes, counted by a pre-order walk (O(n)).
  size_type size() const noexcept {
    size_type n = 0;
    for (auto it = begin(), e = end(); it != e; ++it) ++n;
    return n;
  }

  bool empty() const noexcept { return head_.next_sibling == &tail_; }

  // Changes with every structural change; see the class comment.
  std::uint64_t modification_count() const noexcept { return modification_count_; }

  // The number of nodes the store holds, in use or free.
  size_type capacity() const noexcept { return store_.capacity; }

  // The number of ancestors: 0 for a top-level node.
  template <bool C>
  static int depth(const TreeIteratorBase<T, C>& position) noexcept {
    int d = 0;
    for (const node_type* n = position.node()->parent; n != nullptr; n = n->parent) ++d;
    return d;
  }

  // False for a null position and for the two sentinels.
  template <bool C>
  bool is_valid(const TreeIteratorBase<T, C>& position) const noexcept {
    const node_type* n = position.node();
    return n != nullptr && n != &head_ && n != &tail_;
  }

  // The parent, as a position of the same kind; a null position at the top level.
  template <class Iter>
  static Iter parent(Iter position) noexcept {
    return Iter(position.node()->parent);
  }

  template <class Iter>
  static Iter next_sibling(Iter position) noexcept {
    return Iter(position.node()->next_sibling);
  }

  template <class Iter>
  static Iter previous_sibling(Iter position) noexcept {
    return Iter(position.node()->prev_sibling);
  }

  // ---- Changes -------------------------------------------------------------

  // A new node becomes the previous sibling of `position`. A null position
  // means the end of its list: the tail for a pre-order position or a
  // top-level sibling position, the end of the parent's children for a
  // sibling position that knows its parent.
  template <class Iter>
  Iter insert(Iter position, const T& x) {
    require_mutable_<Iter>();
    return Iter(link_before_(position, create_node_(x)));
  }
  template <class Iter>
  Iter insert(Iter position, T&& x) {
    require_mutable_<Iter>();
    return Iter(link_before_(position, create_node_(std::move(x))));
  }

  // A new node becomes the next sibling of `position`.
  template <class Iter>
  Iter insert_after(Iter position, const T& x) {
    require_mutable_<Iter>();
    return Iter(link_after_(position.node(), create_node_(x)));
  }
  template <class Iter>
  Iter insert_after(Iter position, T&& x) {
    require_mutable_<Iter>();
    return Iter(link_after_(position.node(), create_node_(std::move(x))));
  }

  // A new node becomes the last child of `position`.
  template <class Iter>
  Iter append_child(Iter position, const T& x) {
    require_mutable_<Iter>();
    return Iter(link_last_child_(position.node(), create_node_(x)));
  }
  template <class Iter>
  Iter append_child(Iter position, T&& x) {
    require_mutable_<Iter>();
    return Iter(link_last_child_(position.node(), create_node_(std::move(x))));
  }

  // Appends copies of the siblings [from, to), each with its whole subtree, as
  // the last children of `position`. Returns the first appended child, or
  // the end of `position`'s children for an empty range. The copies are made
  // before anything is linked, so a failure leaves the tree unchanged.
  template <class Iter, bool C>
  sibling_iterator append_children(Iter position, TreeSiblingIterator<T, C> from,
                                    TreeSiblingIterator<T, C> to) {
    require_mutable_<Iter>();
    node_type* parent = position.node();
    std::vector<node_type*> copies;
    try {
      for (; from != to; ++from) {
        copies.reserve(copies.size() + 1);
        copies.push_back(copy_subtree_(from.node()));
      }
    } catch (...) {
      for (node_type* c : copies) destroy_subtree_(c);
      throw;
    }
    for (node_type* c : copies) link_last_child_(parent, c);
    return copies.empty() ? sibling_iterator(nullptr, parent) : sibling_iterator(copies.front(), parent);
  }

  // Inserts a copy of `subtree` (the node and its descendants) before `position`.
  template <class Iter, bool C>
  Iter insert_subtree(Iter position, const TreeIteratorBase<T, C>& subtree) {
    require_mutable_<Iter>();
    return Iter(link_before_(position, copy_subtree_(subtree.node())));
  }

  // Puts a copy of `subtree` in place of the node at `position` and its
  // subtree. `subtree` may lie inside the replaced part.
  template <class Iter, bool C>
  Iter replace(Iter position, const TreeIteratorBase<T, C>& subtree) {
    require_mutable_<Iter>();
    node_type* old = position.node();
    node_type* copy = copy_subtree_(subtree.node());
    copy->parent = old->parent;
    copy->prev_sibling = old->prev_sibling;
    copy->next_sibling = old->next_sibling;
    relink_neighbours_(copy);
    destroy_subtree_(old);
    return Iter(copy);
  }

  // Removes the node with its subtree; returns the node that followed the
  // subtree in pre-order.
  pre_order_iterator erase(pre_order_iterator position) noexcept {
    pre_order_iterator next = position;
    next.skip_children();
    ++next;
    unlink_(position.node());
    destroy_subtree_(position.node());
    return next;
  }

  // Removes the node with its subtree; returns the next sibling.
  sibling_iterator erase(sibling_iterator position) noexcept {
    node_type* n = position.node();
    sibling_iterator next(n->next_sibling, n->parent);
    unlink_(n);
    destroy_subtree_(n);
    return next;
  }

  template <bool C>
  void erase_children(const TreeIteratorBase<T, C>& position) noexcept {
    node_type* n = position.node();
    while (n->first_child != nullptr) {
      node_type* child = n->first_child;
      unlink_(child);
      destroy_subtree_(child);
    }
  }

  // Destroys every payload and gives the store's blocks back.
  void clear() noexcept {
    destroy_payloads_();
    head_initialise_();
    release_store_(store_);
    ++modification_count_;
  }

  // Moves every node to a new block in pre-order, so that a pre-order walk
  // reads the nodes front to back, and gives the old blocks (and the free
  // nodes in them) back. Payloads are moved (copied when their move may
  // throw). Every position except end() becomes invalid. If copying a
  // payload throws, the tree is left as it was.
  void compact() {
    const size_type n = size();
    std::vector<node_type*> roots;
    roots.reserve(static_cast<size_type>(std::distance(top_level_begin(), top_level_end())));
    Store old = std::exchange(store_, Store());  // new nodes now come from a new store
    try {
      reserve_(store_, n);
      for (node_type* r = head_.next_sibling; r != &tail_; r = r->next_sibling) {
        roots.push_back(copy_subtree_(r, [](const node_type* source) -> decltype(auto) {
          return std::move_if_noexcept(const_cast<node_type*>(source)->data);
        }));
      }
    } catch (...) {
      for (node_type* r : roots) destroy_subtree_(r);
      release_store_(store_);
      store_ = std::exchange(old, Store());
      throw;
    }
    destroy_payloads_();
    release_store_(old);
    head_initialise_();
    for (node_type* r : roots) link_before_node_(&tail_, r);
    ++modification_count_;
  }

  // Merges the siblings [from, from_end) into [to, to_end). For each `f` in
  // order, a node in [to, to_end) with an equal payload (T's ==) is looked
  // for. Found: a leaf `f` adds a copy of its payload as a last child of the
  // target list's parent (a top-level node when the list is the top level)
  // only if `duplicate_leaves`; otherwise `f`'s children are merged into the
  // found node's children the same way. Not found: a copy of `f`'s subtree
  // is inserted before `to_end` (and so joins the searched range unless the
  // range was empty). Runs without recursion.
  template <bool C>
  void merge(sibling_iterator to, sibling_iterator to_end, TreeSiblingIterator<T, C> from,
             TreeSiblingIterator<T, C> from_end, bool duplicate_leaves) {
    struct Frame {
      sibling_iterator to;
      sibling_iterator to_end;
      TreeSiblingIterator<T, C> from;
      TreeSiblingIterator<T, C> from_end;
    };
    std::vector<Frame> stack;
    stack.push_back(Frame{to, to_end, from, from_end});
    while (!stack.empty()) {
      Frame& frame = stack.back();
      if (frame.from == frame.from_end) {
        stack.pop_back();
        continue;
      }
      const node_type* f = frame.from.node();
      ++frame.from;
      node_type* found = nullptr;
      for (sibling_iterator t = frame.to; t != frame.to_end; ++t) {
        if (*t == f->data) {
          found = t.node();
          break;
        }
      }
      if (found == nullptr) {
        link_before_(frame.to_end, copy_subtree_(f));
      } else if (f->first_child == nullptr) {
        if (duplicate_leaves) {
          node_type* list_parent = frame.to.node() != nullptr ? frame.to.node()->parent : frame.to.parent_node();
          node_type* copy = create_node_(f->data);
          if (list_parent == nullptr) {
            link_before_node_(&tail_, copy);
          } else {
            link_last_child_(list_parent, copy);
          }
        }
      } else {
        Frame child{sibling_iterator(found->first_child, found), sibling_iterator(nullptr, found),
                    TreeSiblingIterator<T, C>(f->first_child, const_cast<node_type*>(f)),
                    TreeSiblingIterator<T, C>(nullptr, const_cast<node_type*>(f))};
        // A finished frame goes first, so that merging a chain needs no
        // more memory than merging a flat list.
        if (frame.from == frame.from_end) stack.pop_back();
        stack.push_back(child);  // invalidates `frame`
      }
    }
  }

  // Sorts the siblings [from, to) so that `comp(a, b)` holds for no pair in
  // the wrong order; nodes with equivalent payloads keep their order. With
  // `deep`, the children of every sorted node are sorted the same way.
  template <class Compare = std::less<T>>
  void sort(sibling_iterator from, sibling_iterator to, Compare comp = Compare(), bool deep = false) {
    sort_nodes_(from, to, deep, [&comp](std::vector<node_type*>& nodes) {
      std::stable_sort(nodes.begin(), nodes.end(),
                       [&comp](const node_type* a, const node_type* b) { return comp(a->data, b->data); });
    });
  }

  // As `sort`, but orders by `key(payload)`, computed once per node before
  // anything moves, compared with `comp`. The result is that of `sort` with
  // the comparator comp(key(a), key(b)) when `key` is a pure function.
  template <class KeyFunction, class Compare>
  void sort_by_key(sibling_iterator from, sibling_iterator to, KeyFunction key, Compare comp, bool deep = false) {
    using Key = std::decay_t<decltype(key(std::declval<const T&>()))>;
    std::vector<std::pair<Key, node_type*>> keyed;
    sort_nodes_(from, to, deep, [&](std::vector<node_type*>& nodes) {
      keyed.clear();
      keyed.reserve(nodes.size());
      for (node_type* n : nodes) keyed.emplace_back(key(static_cast<const T&>(n->data)), n);
      std::stable_sort(keyed.begin(), keyed.end(),
                       [&comp](const auto& a, const auto& b) { return comp(a.first, b.first); });
      for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = keyed[i].second;
    });
  }

 private:
  using NodeAllocator = typename std::allocator_traits<Allocator>::template rebind_alloc<node_type>;
  using NodeTraits = std::allocator_traits<NodeAllocator>;

  template <class Iter>
  static constexpr void require_mutable_() noexcept {
    static_assert(std::is_same_v<typename Iter::reference, T&>, "Tree: a change needs a mutable position");
  }

  node_type* tail_ptr_() const noexcept { return const_cast<node_type*>(&tail_); }

  void head_initialise_() noexcept {
    head_.parent = head_.first_child = head_.last_child = head_.prev_sibling = nullptr;
    tail_.parent = tail_.first_child = tail_.last_child = tail_.next_sibling = nullptr;
    head_.next_sibling = &tail_;
    tail_.prev_sibling = &head_;
  }

  // Takes over `other`'s top-level list; `this` must be empty. Only the first
  // and last top-level nodes point at the sentinels, so only they change.
  void steal_(Tree& other) noexcept {
    release_store_(store_);
    store_ = std::exchange(other.store_, Store());
    ++modification_count_;
    ++other.modification_count_;
    if (other.empty()) return;
    node_type* first = other.head_.next_sibling;
    node_type* last = other.tail_.prev_sibling;
    first->prev_sibling = &head_;
    last->next_sibling = &tail_;
    head_.next_sibling = first;
    tail_.prev_sibling = last;
    other.head_initialise_();
  }

  void copy_top_level_from_(const Tree& other) {
    try {
      reserve_(store_, other.size());
      for (const node_type* n = other.head_.next_sibling; n != &other.tail_; n = n->next_sibling) {
        link_before_node_(&tail_, copy_subtree_(n));
      }
    } catch (...) {
      clear();
      throw;
    }
  }

  // The node store: blocks of nodes from the allocator, the never-used
  // rest of the newest block, and a free list of erased nodes linked through
  // next_sibling. Nodes on the free list and in the unused rest hold no
  // payload.
  struct Block {
    node_type* nodes;
    size_type count;
  };
  struct Store {
    std::vector<Block> blocks;
    node_type* free = nullptr;
    node_type* unused = nullptr;
    node_type* unused_end = nullptr;
    size_type capacity = 0;
  };
  static constexpr size_type kFirstBlock = 16;
  static constexpr size_type kLargestBlock = size_type(1) << 16;

  // Adds a block of `count` nodes to `store` and makes it the unused rest.
  void add_block_(Store& store, size_type count) {
    store.blocks.reserve(store.blocks.size() + 1);
    node_type* nodes = NodeTraits::allocate(allocator_, count);
    store.blocks.push_back(Block{nodes, count});
    store.unused = nodes;
    store.unused_end = nodes + count;
    store.capacity += count;
  }

  // Makes room for `count` more nodes in one block, so that they are laid
  // out in the order they are created.
  void reserve_(Store& store, size_type count) {
    const auto room = static_cast<size_type>(store.unused_end - store.unused);
    if (count > room) add_block_(store, count);
  }

  void release_store_(Store& store) noexcept {
    for (const Block& b : store.blocks) NodeTraits::deallocate(allocator_, b.nodes, b.count);
    store = Store();
  }

  node_type* take_node_() {
    node_type* n = store_.free;
    if (n != nullptr) {
      store_.free = n->next_sibling;
      n->next_sibling = nullptr;
      return n;
    }
    if (store_.unused == store_.unused_end) {
      add_block_(store_, std::min(std::max(store_.capacity, kFirstBlock), kLargestBlock));
    }
    n = store_.unused++;
    return ::new (static_cast<void*>(n)) node_type();
  }

  template <class... Args>
  node_type* create_node_(Args&&... args) {
    node_type* n = take_node_();
    try {
      NodeTraits::construct(allocator_, std::addressof(n->data), std::forward<Args>(args)...);
    } catch (...) {
      give_back_(n);
      throw;
    }
    return n;
  }

  void give_back_(node_type* n) noexcept {
    n->parent = n->first_child = n->last_child = n->prev_sibling = nullptr;
    n->next_sibling = store_.free;
    store_.free = n;
  }

  void destroy_node_(node_type* n) noexcept {
    NodeTraits::destroy(allocator_, std::addressof(n->data));
    give_back_(n);
  }

  // The node after `n` in a pre-order walk of the whole tree (tail_ at the end).
  static node_type* pre_order_next_(node_type* n) noexcept {
    if (n->first_child != nullptr) return n->first_child;
    while (n->next_sibling == nullptr) n = n->parent;
    return n->next_sibling;
  }

  // Destroys the payload of every linked node; the links stay.
  void destroy_payloads_() noexcept {
    if constexpr (!std::is_trivially_destructible_v<T>) {
      for (node_type* n = head_.next_sibling; n != &tail_;) {
        node_type* next = pre_order_next_(n);
        NodeTraits::destroy(allocator_, std::addressof(n->data));
        n = next;
      }
    }
  }

  // Frees a detached subtree, children before parents, without recursion:
  // always descend to a leaf, free it, and continue with its next sibling
  // or, when it was the last child, with its now childless parent.
  void destroy_subtree_(node_type* root) noexcept {
    node_type* n = root;
    for (;;) {
      while (n->first_child != nullptr) n = n->first_child;
      if (n == root) {
        destroy_node_(n);
        return;
      }
      node_type* parent = n->parent;
      parent->first_child = n->next_sibling;
      destroy_node_(n);
      n = parent->first_child != nullptr ? parent->first_child : parent;
    }
  }

  // Copies `source` and its descendants into a new detached subtree, walking
  // the source in pre-order. A failed copy frees what was made so far.
  node_type* copy_subtree_(const node_type* source) {
    return copy_subtree_(source, [](const node_type* s) -> const T& { return s->data; });
  }

  // The same, with the payloads made from `payload(source_node)`.
  template <class Payload>
  node_type* copy_subtree_(const node_type* source, Payload payload) {
    node_type* root = create_node_(payload(source));
    try {
      const node_type* s = source;
      node_type* d = root;
      for (;;) {
        if (s->first_child != nullptr) {
          s = s->first_child;
          d = link_last_child_(d, create_node_(payload(s)));
          continue;
        }
        while (s != source && s->next_sibling == nullptr) {
          s = s->parent;
          d = d->parent;
        }
        if (s == source) break;
        s = s->next_sibling;
        d = link_last_child_(d->parent, create_node_(payload(s)));
      }
    } catch (...) {
      destroy_subtree_(root);
      throw;
    }
    return root;
  }

  // Points the neighbours and the parent of a node that already knows its
  // place at it.
  void relink_neighbours_(node_type* n) noexcept {
    ++modification_count_;
    if (n->prev_sibling != nullptr) {
      n->prev_sibling->next_sibling = n;
    } else if (n->parent != nullptr) {
      n->parent->first_child = n;
    }
    if (n->next_sibling != nullptr) {
      n->next_sibling->prev_sibling = n;
    } else if (n->parent != nullptr) {
      n->parent->last_child = n;
    }
  }

  void unlink_(node_type* n) noexcept {
    ++modification_count_;
    if (n->prev_sibling != nullptr) {
      n->prev_sibling->next_sibling = n->next_sibling;
    } else if (n->parent != nullptr) {
      n->parent->first_child = n->next_sibling;
    }
    if (n->next_sibling != nullptr) {
      n->next_sibling->prev_sibling = n->prev_sibling;
    } else if (n->parent != nullptr) {
      n->parent->last_child = n->prev_sibling;
    }
    n->parent = n->prev_sibling = n->next_sibling = nullptr;
  }

  node_type* link_before_node_(node_type* next, node_type* n) noexcept {
    n->parent = next->parent;
    n->prev_sibling = next->prev_sibling;
    n->next_sibling = next;
    relink_neighbours_(n);
    return n;
  }

  node_type* link_last_child_(node_type* parent, node_type* n) noexcept {
    n->parent = parent;
    n->prev_sibling = parent->last_child;
    n->next_sibling = nullptr;
    relink_neighbours_(n);
    return n;
  }

  node_type* link_after_(node_type* prev, node_type* n) noexcept {
    n->parent = prev->parent;
    n->prev_sibling = prev;
    n->next_sibling = prev->next_sibling;
    relink_neighbours_(n);
    return n;
  }

  template <class Iter>
  node_type* link_before_(const Iter& position, node_type* n) noexcept {
    if (position.node() != nullptr) return link_before_node_(position.node(), n);
    if constexpr (std::is_base_of_v<TreeSiblingIterator<T, false>, Iter> ||
                  std::is_base_of_v<TreeSiblingIterator<T, true>, Iter>) {
      if (position.parent_node() != nullptr) return link_last_child_(position.parent_node(), n);
    }
    return link_before_node_(&tail_, n);
  }

  // Collects the nodes of [from, to), lets `order` permute them, and links
  // them back between the nodes that bordered the range. With `deep`, the
  // child lists of the sorted nodes follow, through a work list.
  template <class Order>
  void sort_nodes_(sibling_iterator from, sibling_iterator to, bool deep, Order order) {
    std::vector<node_type*> nodes;
    std::vector<node_type*> pending;
    node_type* first = from.node();
    node_type* stop = to.node();
    for (;;) {
      if (first != stop && first != nullptr) {
        nodes.clear();
        for (node_type* n = first; n != stop; n = n->next_sibling) nodes.push_back(n);
        if (nodes.size() > 1) {
          order(nodes);
          ++modification_count_;
          node_type* parent = first->parent;
          node_type* before = first->prev_sibling;
          node_type* prev = before;
          for (node_type* n : nodes) {
            n->prev_sibling = prev;
            if (prev != nullptr) {
              prev->next_sibling = n;
            } else {
              parent->first_child = n;
            }
            prev = n;
          }
          prev->next_sibling = stop;
          if (stop != nullptr) {
            stop->prev_sibling = prev;
          } else {
            parent->last_child = prev;
          }
        }
        if (deep) {
          for (node_type* n : nodes) {
            if (n->first_child != nullptr) pending.push_back(n);
          }
        }
      }
      if (pending.empty()) return;
      node_type* p = pending.back();
      pending.pop_back();
      first = p->first_child;
      stop = nullptr;
    }
  }

  NodeAllocator allocator_;
  node_type head_;
  node_type tail_;
  Store store_;
  std::uint64_t modification_count_ = 0;
};

template <class T, class Allocator>
void swap(Tree<T, Allocator>& a, Tree<T, Allocator>& b) noexcept {
  a.swap(b);
}

}  // namespace vorn

#endif  // VORN_TREEMODEL_TREE_H_
