// IdentifierEquals<T>: a predicate, true for an item whose identifier equals
// the one it holds (byte-wise, same length). T is a handle-like payload such
// as THandle<ModelItem>.
//
//   auto it = std::find_if(model.begin(), model.end(),
//                          IdentifierEquals<THandle<ModelItem>>(id));
//
// A null item raises the handle's null-handle error.
#ifndef VORN_TREEMODEL_IDENTIFIEREQUALS_H_
#define VORN_TREEMODEL_IDENTIFIEREQUALS_H_

#include <utility>

#include "vorn/database/DatabaseEntryIdentifier.h"

namespace vorn {

template <class T>
class IdentifierEquals {
 public:
  explicit IdentifierEquals(DatabaseEntryIdentifier identifier) : identifier_(std::move(identifier)) {}

  bool operator()(const T& item) const { return item->identifier() == identifier_; }

 private:
  DatabaseEntryIdentifier identifier_;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_IDENTIFIEREQUALS_H_
