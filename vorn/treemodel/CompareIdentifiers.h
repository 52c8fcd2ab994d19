// CompareIdentifiers<T>: orders items by identifier text (byte-wise), up
// with direction 1 and down with any other direction. T is a handle-like
// payload such as THandle<ModelItem>.
//
//   CompareIdentifiers<THandle<ModelItem>> up(1), down(0);
//   up(a, b);     // a's identifier orders before b's
//   down(a, b);   // b's identifier orders before a's
//
// A null item raises the handle's null-handle error.
#ifndef VORN_TREEMODEL_COMPAREIDENTIFIERS_H_
#define VORN_TREEMODEL_COMPAREIDENTIFIERS_H_

namespace vorn {

template <class T>
class CompareIdentifiers {
 public:
  explicit CompareIdentifiers(int direction) noexcept : direction_(direction) {}

  bool operator()(const T& a, const T& b) const {
    if (direction_ == 1) return a->identifier().text() < b->identifier().text();
    return b->identifier().text() < a->identifier().text();
  }

  int direction() const noexcept { return direction_; }

 private:
  int direction_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_COMPAREIDENTIFIERS_H_
