// ProgressMonitor: the progress of one process, driven by the process and
// watched by displays.
//
// The process calls set_steps, set_progress and set_complete; displays
// connected to the monitor (it is a Subject) are notified whenever the
// whole-number percentage changes, so a million calls of set_progress cost a
// hundred redraws at most:
//
//   vorn::ProgressMonitor monitor;
//   vorn::TextProgressDisplay bar(monitor);   // draws on standard error
//   monitor.set_steps(3);                     // announces (0%)
//   monitor.set_progress(1);                  // 33%, announces
//   monitor.set_progress(1);                  // unchanged, silent
//   monitor.set_complete();                   // 100%, always announces
//
// percentage() is floor(progress * 100 / steps), 0 when steps is 0, and is
// not clamped: progress beyond the steps reads above 100, negative progress
// below 0 (values beyond the range of int saturate). After a display's
// cancel(), set_progress and set_complete are ignored and was_cancelled() is
// true until reset(). Between stop() and restart() changes are recorded but
// nobody is notified.
//
// Nothing here throws except what connected observers throw from update().
#ifndef VORN_PROGRESS_PROGRESSMONITOR_H_
#define VORN_PROGRESS_PROGRESSMONITOR_H_

#include "vorn/foundation/Export.h"
#include "vorn/progress/ProgressMonitorDisplayInterface.h"
#include "vorn/progress/ProgressMonitorProcessInterface.h"

namespace vorn {

class VORN_API ProgressMonitor : public ProgressMonitorProcessInterface, public ProgressMonitorDisplayInterface {
 public:
  ProgressMonitor() { initialise(); }

  // Stores the step count and announces it, even after cancel().
  void set_steps(int steps) override;
  // Stores the steps done; announces only when the percentage changed.
  void set_progress(int progress) override;
  // Sets the steps done to the step count (to 100 of 100 when no count was
  // given) and announces unconditionally.
  void set_complete() override;
  bool was_cancelled() const override { return cancelled_; }

  int steps() const override { return steps_; }
  int progress() const override { return progress_; }
  int percentage() const override;
  // Marks the process cancelled; announces nothing.
  void cancel() override { cancelled_ = true; }
  // Zeroes all counts and clears the stopped and cancelled states.
  void reset() override { initialise(); }

  // Suspend and resume announcements; changes keep being recorded.
  void stop() noexcept { stopped_ = true; }
  void restart() noexcept { stopped_ = false; }
  bool stopped() const noexcept { return stopped_; }

  // Announces the current state to every connected display unless stopped.
  void update_progress();

 private:
  void initialise() noexcept;

  int steps_;
  int progress_;
  int announced_percentage_;
  bool stopped_;
  bool cancelled_;
};

}  // namespace vorn

#endif  // VORN_PROGRESS_PROGRESSMONITOR_H_
