#include "vorn/commands/ReentrancyGuard.h"

#include <stdexcept>
#include <string>

namespace vorn {

ReentrancyGuard::ReentrancyGuard(bool& busy, const char* operation) : busy_(busy) {
  if (busy_) throw std::logic_error(std::string(operation) + ": another operation is in progress");
  busy_ = true;
}

ReentrancyGuard::~ReentrancyGuard() { busy_ = false; }

}  // namespace vorn
