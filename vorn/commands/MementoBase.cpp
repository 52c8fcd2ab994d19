#include "vorn/commands/MementoBase.h"

namespace vorn {

MementoBase::~MementoBase() = default;

}  // namespace vorn
