#include "vorn/time/WallTimer.h"

namespace vorn {

double WallTimer::duration(Clock::time_point now) const noexcept {
  return std::chrono::duration<double>(now - start_).count();
}

}  // namespace vorn
