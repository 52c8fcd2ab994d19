#include "vorn/notification/Observer.h"

#include <sstream>
#include <stdexcept>

namespace vorn {

void Observer::UpdateFlags::update_flag(int flag, bool value) {
  if (flag < 0) {
    std::ostringstream message;
    message << "Observer::UpdateFlags::update_flag: negative flag number " << flag;
    throw std::invalid_argument(message.str());
  }
  const auto index = static_cast<std::size_t>(flag);
  if (index >= bits_.size()) bits_.resize(index + 1, false);
  bits_[index] = value;
}

}  // namespace vorn
