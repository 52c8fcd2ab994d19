// AttributeSupplier: the source of one kind of attribute, one column of
// values over the items of a tree model. Clients derive from it.
//
//   class SizeSupplier : public AttributeSupplier {
//    public:
//     THandle<Attribute> attribute(ModelItem& item) override {
//       return make_handle<IntegerAttribute>(size_of(item));
//     }
//   };
//   THandle<AttributeSupplier> size = make_handle<SizeSupplier>();
//   THandle<Attribute> a = item->attribute(size);   // computed once, then cached
//
// Suppliers are held and compared through THandle<AttributeSupplier>: one
// supplier object stands for one column and keys the items' attribute
// caches. `attribute` must return a new, non-null attribute; what it throws
// passes to the caller and leaves the item's cache unchanged.
#ifndef VORN_TREEMODEL_ATTRIBUTESUPPLIER_H_
#define VORN_TREEMODEL_ATTRIBUTESUPPLIER_H_

#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/treemodel/Attribute.h"

namespace vorn {

class ModelItem;

class VORN_API AttributeSupplier {
 public:
  virtual ~AttributeSupplier();

  // A freshly made attribute describing `item`.
  virtual THandle<Attribute> attribute(ModelItem& item) = 0;

 protected:
  AttributeSupplier() = default;
  AttributeSupplier(const AttributeSupplier&) = default;
  AttributeSupplier& operator=(const AttributeSupplier&) = default;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_ATTRIBUTESUPPLIER_H_
