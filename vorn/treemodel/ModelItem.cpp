#include "vorn/treemodel/ModelItem.h"

#include <cstdint>
#include <utility>

namespace vorn {

namespace {

std::uint64_t identifier_generation_counter = 0;

}  // namespace

DatabaseEntryIdentifier ModelItem::identifier() const { return identifier_; }

ModelItem::~ModelItem() = default;

bool ModelItem::operator==(const ModelItem& other) const { return identifier() == other.identifier(); }

THandle<Attribute> ModelItem::attribute(THandle<AttributeSupplier> supplier) {
  auto hit = cache_.find(supplier);
  if (hit != cache_.end()) return hit->second;
  THandle<Attribute> value = attribute_from_source(supplier);
  cache_.emplace(std::move(supplier), value);
  return value;
}

void ModelItem::cache_attributes(const std::vector<THandle<AttributeSupplier>>& suppliers) {
  for (const THandle<AttributeSupplier>& supplier : suppliers) cache_attribute(supplier);
}

void ModelItem::cache_attribute(THandle<AttributeSupplier> supplier) {
  THandle<Attribute> value = attribute_from_source(supplier);
  cache_.emplace(std::move(supplier), std::move(value));
}

void ModelItem::update_cached_attributes() {
  for (auto& entry : cache_) entry.second = attribute_from_source(entry.first);
}

THandle<Attribute> ModelItem::attribute_from_source(THandle<AttributeSupplier> supplier) {
  return supplier->attribute(*this);
}

void ModelItem::set_identifier(const DatabaseEntryIdentifier& identifier) {
  identifier_ = identifier;
  if (indexed_by_model_) ++identifier_generation_counter;
}

std::uint64_t ModelItem::identifier_generation() noexcept { return identifier_generation_counter; }

void ModelItem::clear_cached_attributes() noexcept { cache_.clear(); }

bool ModelItem::is_cache_empty() const noexcept { return cache_.empty(); }

int ModelItem::ncached_attributes() const noexcept { return static_cast<int>(cache_.size()); }

}  // namespace vorn
