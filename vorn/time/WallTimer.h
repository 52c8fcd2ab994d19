// WallTimer: measures time passed on a steady wall clock, in seconds.
//
// Timer counts processor time, which stands still while a program waits for
// a disk, the network or a child process; WallTimer counts the time a user
// waits. It reads std::chrono::steady_clock, which never jumps when the
// system clock is set.
//
//   vorn::WallTimer timer;                       // started now
//   import_files();
//   double waited = timer.elapsed();             // seconds, e.g. 2.51
//   std::cout << vorn::Timer::format(waited);    // "2.51 seconds"
//   timer.restart();
//
// Nothing here throws.
#ifndef VORN_TIME_WALLTIMER_H_
#define VORN_TIME_WALLTIMER_H_

#include <chrono>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API WallTimer {
 public:
  using Clock = std::chrono::steady_clock;

  // Started now.
  WallTimer() noexcept : start_(Clock::now()) {}
  // Started at `start`, so that a caller (or a test) can supply the readings.
  explicit WallTimer(Clock::time_point start) noexcept : start_(start) {}

  void restart() noexcept { start_ = Clock::now(); }
  Clock::time_point start() const noexcept { return start_; }

  // Seconds from the start to `now`; negative when `now` is earlier.
  double duration(Clock::time_point now) const noexcept;
  // Seconds from the start to now.
  double elapsed() const noexcept { return duration(Clock::now()); }

 private:
  Clock::time_point start_;
};

}  // namespace vorn

#endif  // VORN_TIME_WALLTIMER_H_
