// ElapsedTimer: a scoped stopwatch of processor time.
//
// It reads the processor clock when constructed and, when destroyed, writes
// the processor time used in between to standard output under a label, as
// one flushed line:
//
//   {
//     vorn::ElapsedTimer timer("load");          // verbose by default
//     load_database();
//   }   // prints: Elapsed time for 'load' = 2 seconds.
//
//   {
//     vorn::ElapsedTimer timer("load", vorn::ElapsedTimer::tab_separated);
//     load_database();
//   }   // prints: load<TAB>2.01
//
// verbose writes the time through Timer::format; tab_separated writes the
// seconds as a double in the stream's default form (six significant digits),
// convenient for collecting figures in a spreadsheet. Any other OutputFormat
// value prints nothing. Only processor time counts: sleeping or waiting for
// input does not advance the clock; ElapsedWallTimer measures the time that
// passed on the wall clock instead.
//
// Construction throws only std::bad_alloc (copying the label); the destructor
// never throws: a failure of standard output is swallowed.
#ifndef VORN_TIME_ELAPSEDTIMER_H_
#define VORN_TIME_ELAPSEDTIMER_H_

#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/time/Timer.h"

namespace vorn {

class VORN_API ElapsedTimer {
 public:
  enum OutputFormat : int { verbose = 0, tab_separated = 1 };

  explicit ElapsedTimer(const std::string& label, OutputFormat format = verbose);
  // A copy would print a second line for the same measurement.
  ElapsedTimer(const ElapsedTimer&) = delete;
  ElapsedTimer& operator=(const ElapsedTimer&) = delete;
  virtual ~ElapsedTimer();

  const std::string& label() const noexcept { return label_; }
  OutputFormat output_format() const noexcept { return format_; }
  const Timer& timer() const noexcept { return timer_; }

 private:
  std::string label_;
  OutputFormat format_;
  Timer timer_;
};

}  // namespace vorn

#endif  // VORN_TIME_ELAPSEDTIMER_H_
