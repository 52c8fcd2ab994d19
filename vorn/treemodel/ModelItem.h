// ModelItem: the payload of one node of a TreeModel, an object with an
// identifier and a cache of attributes computed for it by suppliers.
//
//   THandle<ModelItem> item(new ModelItem(DatabaseEntryIdentifier("peak")));
//   THandle<Attribute> a = item->attribute(size_supplier);  // computed, cached
//   item->attribute(size_supplier);                         // from the cache
//   item->update_cached_attributes();   // after the item's data changed
//
// Client classes derive from ModelItem to carry their own data, and may
// override attribute_from_source() to compute attributes themselves. Items
// are shared through THandle<ModelItem> and have identity, so they are not
// copyable. Nothing is observed or notified: whoever changes the data behind
// the attributes refreshes or clears the cache.
//
// A null supplier handle raises std::runtime_error "Internal error: access of
// null handle" wherever an attribute must be computed. A supplier's
// exception passes through and leaves the cache as it was.
#ifndef VORN_TREEMODEL_MODELITEM_H_
#define VORN_TREEMODEL_MODELITEM_H_

#include <cstdint>
#include <map>
#include <vector>

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/treemodel/Attribute.h"
#include "vorn/treemodel/AttributeSupplier.h"
#include "vorn/treemodel/IdentifierProvider.h"

namespace vorn {

class VORN_API ModelItem : public IdentifierProvider {
 public:
  ModelItem() = default;
  explicit ModelItem(const DatabaseEntryIdentifier& identifier) : identifier_(identifier) {}
  ModelItem(const ModelItem&) = delete;
  ModelItem& operator=(const ModelItem&) = delete;

  DatabaseEntryIdentifier identifier() const override;
  ~ModelItem() override;

  // True when the identifiers are equal; attributes and dynamic types are
  // not compared.
  virtual bool operator==(const ModelItem& other) const;

  // The cached attribute for `supplier`, computed with attribute_from_source
  // and cached on the first request.
  virtual THandle<Attribute> attribute(THandle<AttributeSupplier> supplier);

  // cache_attribute for each supplier, in order.
  virtual void cache_attributes(const std::vector<THandle<AttributeSupplier>>& suppliers);

  // Computes the attribute and caches it unless the supplier already has an
  // entry, which is then kept (the fresh value is dropped).
  virtual void cache_attribute(THandle<AttributeSupplier> supplier);

  // Recomputes every cached attribute, in supplier order; no supplier is
  // added or removed.
  virtual void update_cached_attributes();

  // The uncached path: the supplier's attribute for this item. Never touches
  // the cache.
  virtual THandle<Attribute> attribute_from_source(THandle<AttributeSupplier> supplier);

  // Replaces the identifier; the cache is kept.
  void set_identifier(const DatabaseEntryIdentifier& identifier);

  // A number that changes whenever set_identifier is called on an item
  // whose identifier a model has indexed, so that the model can tell
  // whether what it indexed may have changed behind its back.
  static std::uint64_t identifier_generation() noexcept;

  void clear_cached_attributes() noexcept;
  bool is_cache_empty() const noexcept;
  int ncached_attributes() const noexcept;

 private:
  friend class TreeModel;

  DatabaseEntryIdentifier identifier_;
  std::map<THandle<AttributeSupplier>, THandle<Attribute>> cache_;
  // Set once a model has put the identifier in an index; renaming items
  // no model has indexed (such as new ones) leaves the generation alone.
  bool indexed_by_model_ = false;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_MODELITEM_H_
