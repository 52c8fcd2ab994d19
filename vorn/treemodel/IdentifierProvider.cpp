#include "vorn/treemodel/IdentifierProvider.h"

namespace vorn {

IdentifierProvider::~IdentifierProvider() = default;

}  // namespace vorn
