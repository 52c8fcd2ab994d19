#include "vorn/treemodel/Attribute.h"

namespace vorn {

Attribute::~Attribute() = default;

bool Attribute::is_empty() const { return false; }

}  // namespace vorn
