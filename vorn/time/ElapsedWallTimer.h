// ElapsedWallTimer: a scoped stopwatch of wall-clock time.
//
// The wall-clock twin of ElapsedTimer: it starts a WallTimer when
// constructed and, when destroyed, writes the time that passed to standard
// output under a label, as one flushed line. The verbose line names its
// clock, so that a log holding both kinds of line cannot mix them up:
//
//   {
//     vorn::ElapsedTimer cpu("import");
//     vorn::ElapsedWallTimer wall("import");
//     import_files();
//   }   // prints: Elapsed wall-clock time for 'import' = 2.51 seconds.
//       //         Elapsed time for 'import' = 1.24 seconds.
//
// The tab-separated form is the same as ElapsedTimer's, the label, a tab and
// the seconds (six significant digits); other OutputFormat values print
// nothing.
//
// Construction throws only std::bad_alloc (copying the label); the destructor
// never throws: a failure of standard output is swallowed.
#ifndef VORN_TIME_ELAPSEDWALLTIMER_H_
#define VORN_TIME_ELAPSEDWALLTIMER_H_

#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/time/ElapsedTimer.h"
#include "vorn/time/WallTimer.h"

namespace vorn {

class VORN_API ElapsedWallTimer {
 public:
  explicit ElapsedWallTimer(const std::string& label, ElapsedTimer::OutputFormat format = ElapsedTimer::verbose);
  // A copy would print a second line for the same measurement.
  ElapsedWallTimer(const ElapsedWallTimer&) = delete;
  ElapsedWallTimer& operator=(const ElapsedWallTimer&) = delete;
  virtual ~ElapsedWallTimer();

  const std::string& label() const noexcept { return label_; }
  ElapsedTimer::OutputFormat output_format() const noexcept { return format_; }
  const WallTimer& timer() const noexcept { return timer_; }

 private:
  std::string label_;
  ElapsedTimer::OutputFormat format_;
  WallTimer timer_;
};

}  // namespace vorn

#endif  // VORN_TIME_ELAPSEDWALLTIMER_H_
