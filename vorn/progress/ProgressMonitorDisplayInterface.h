// ProgressMonitorDisplayInterface: the side of a progress monitor that
// displays watch.
//
// It is a Subject: a display connects itself as an Observer and, on each
// update, reads the steps, the steps done or the whole-number percentage. A
// display may also cancel the process or reset the monitor:
//
//   class StatusLine : public vorn::Observer {
//    public:
//     explicit StatusLine(vorn::ProgressMonitorDisplayInterface& m) : m_(m) { m_.connect(*this); }
//     ~StatusLine() override { m_.disconnect(*this); }
//     void update(vorn::Subject*, const UpdateFlags&) override { show(m_.percentage()); }
//    private:
//     vorn::ProgressMonitorDisplayInterface& m_;
//   };
//
// Implemented by ProgressMonitor (one process) and MultipleProgressMonitor
// (several processes shown as one); TextProgressDisplay is a ready display.
#ifndef VORN_PROGRESS_PROGRESSMONITORDISPLAYINTERFACE_H_
#define VORN_PROGRESS_PROGRESSMONITORDISPLAYINTERFACE_H_

#include "vorn/foundation/Export.h"
#include "vorn/notification/Subject.h"

namespace vorn {

class VORN_API ProgressMonitorDisplayInterface : public Subject {
 public:
  virtual int steps() const = 0;
  virtual int progress() const = 0;
  virtual int percentage() const = 0;
  // Asks the process to stop; it sees this through was_cancelled().
  virtual void cancel() = 0;
  // Returns the monitor to its freshly constructed state.
  virtual void reset() = 0;
};

}  // namespace vorn

#endif  // VORN_PROGRESS_PROGRESSMONITORDISPLAYINTERFACE_H_
