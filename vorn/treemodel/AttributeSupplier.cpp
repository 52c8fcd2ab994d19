#include "vorn/treemodel/AttributeSupplier.h"

namespace vorn {

AttributeSupplier::~AttributeSupplier() = default;

}  // namespace vorn
