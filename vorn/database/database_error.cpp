#include "vorn/database/database_error.h"

namespace vorn {

// Defined here so that the class's type information lives in the library.
database_error::~database_error() = default;

}  // namespace vorn
