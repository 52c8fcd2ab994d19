#include "vorn/commands/Command.h"

namespace vorn {

Command::~Command() = default;

}  // namespace vorn
