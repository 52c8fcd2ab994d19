// AreAttributesEqual<T>: true for two items whose attributes are equal for
// every supplier of a list. T is a handle-like payload such as
// THandle<ModelItem>.
//
//   AreAttributesEqual<THandle<ModelItem>> same({size, colour});
//   same(a, b);   // a's size == b's size and a's colour == b's colour
//
// Attributes are taken through the items' caching attribute(), so comparing
// fills the caches; the left item's attribute decides the comparison's
// domain. The answer is false at the first supplier whose attributes
// differ, true for an empty list. A null item or supplier raises the
// handle's null-handle error; a supplier's exception passes through.
#ifndef VORN_TREEMODEL_AREATTRIBUTESEQUAL_H_
#define VORN_TREEMODEL_AREATTRIBUTESEQUAL_H_

#include <utility>
#include <vector>

#include "vorn/foundation/THandle.h"
#include "vorn/treemodel/Attribute.h"
#include "vorn/treemodel/AttributeSupplier.h"

namespace vorn {

template <class T>
class AreAttributesEqual {
 public:
  explicit AreAttributesEqual(std::vector<THandle<AttributeSupplier>> suppliers) : suppliers_(std::move(suppliers)) {}

  bool operator()(const T& a, const T& b) const {
    for (const THandle<AttributeSupplier>& supplier : suppliers_) {
      THandle<Attribute> left = a->attribute(supplier);
      THandle<Attribute> right = b->attribute(supplier);
      if (*left != *right) return false;
    }
    return true;
  }

 private:
  std::vector<THandle<AttributeSupplier>> suppliers_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_AREATTRIBUTESEQUAL_H_
