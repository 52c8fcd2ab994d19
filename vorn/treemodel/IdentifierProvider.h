// IdentifierProvider: anything that can name itself with a
// DatabaseEntryIdentifier. ModelItem is the library's implementation.
//
//   void show(const IdentifierProvider& p) { std::cout << p.identifier(); }
//
// `identifier()` returns a copy and throws nothing in the library's
// implementations.
#ifndef VORN_TREEMODEL_IDENTIFIERPROVIDER_H_
#define VORN_TREEMODEL_IDENTIFIERPROVIDER_H_

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API IdentifierProvider {
 public:
  virtual DatabaseEntryIdentifier identifier() const = 0;
  virtual ~IdentifierProvider();

 protected:
  IdentifierProvider() = default;
  IdentifierProvider(const IdentifierProvider&) = default;
  IdentifierProvider& operator=(const IdentifierProvider&) = default;
};

}  // namespace vorn

#endif  // VORN_TREEMODEL_IDENTIFIERPROVIDER_H_
