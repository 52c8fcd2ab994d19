// Timer: converts processor-clock readings into seconds, and formats a number
// of seconds as readable text.
//
// Readings come from std::clock(), which counts processor time (not wall
// time) in microseconds on this platform. A Timer keeps one reading, its
// start, as a signed 32-bit value; duration() takes the difference in 32-bit
// arithmetic, so it stays right when the clock wraps between the two
// readings (the clock wraps about every 71.6 minutes of processor time):
//
//   vorn::Timer timer;
//   timer.set_start(std::clock());
//   run_fit();
//   double used = timer.duration(std::clock());   // or timer.elapsed()
//   std::cout << vorn::Timer::format(used);       // "1 minute, 2.5 seconds"
//
// format() splits the seconds into weeks, days, hours and minutes (each
// truncated toward zero) and the remaining seconds, omits parts that are
// zero and writes "1 <unit>" in the singular, every other number text in the
// plural:
//
//   format(0)        -> "0 seconds"      format(60)      -> "1 minute"
//   format(3725.5)   -> "1 hour, 2 minutes, 5.5 seconds"
//   format(86400.5)  -> "1 day, 0.5 seconds"
//   format(-90)      -> "-1 minutes, -30 seconds"
//
// A value that cannot be split into whole weeks (infinite, not a number, or
// 2^31 weeks or more) is written whole as seconds, e.g. "inf seconds".
//
// Nothing here throws except std::bad_alloc from format().
#ifndef VORN_TIME_TIMER_H_
#define VORN_TIME_TIMER_H_

#include <cstdint>
#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API Timer {
 public:
  // The clock ticks per second the readings are divided by.
  static constexpr double ticks_per_second = 1000000.0;

  // A timer whose start is the reading 0.
  Timer() noexcept = default;
  virtual ~Timer() = default;

  // Keeps the low 32 bits of `reading` as the start.
  void set_start(long reading) noexcept { start_ = static_cast<std::int32_t>(static_cast<std::uint32_t>(reading)); }
  std::int32_t start() const noexcept { return start_; }

  // Seconds from the start to the reading `now`, both taken modulo 2^32.
  double duration(long now) const noexcept;

  // Seconds of processor time from the start to now.
  double elapsed() const noexcept;

  static std::string format(double seconds);

 private:
  std::int32_t start_ = 0;
};

}  // namespace vorn

#endif  // VORN_TIME_TIMER_H_
