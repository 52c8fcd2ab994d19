#include "vorn/foundation/HandleCommon.h"

#include <stdexcept>
#include <string>

namespace vorn {

namespace {
const std::string null_handle_message = "Internal error: access of null handle";
}  // namespace

void HandleCommon::UseCount::free_block() noexcept { delete this; }

void HandleCommon::null_handle_error() { throw std::runtime_error(null_handle_message); }

}  // namespace vorn
