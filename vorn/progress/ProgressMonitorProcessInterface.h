// ProgressMonitorProcessInterface: the side of a progress monitor that a
// long-running process drives.
//
// The process announces its number of steps, reports the steps done, reports
// completion, and polls whether a user cancelled it from a display:
//
//   void import_all(const Files& files, vorn::ProgressMonitorProcessInterface& monitor) {
//     monitor.set_steps(static_cast<int>(files.size()));
//     for (int i = 0; i < static_cast<int>(files.size()); ++i) {
//       if (monitor.was_cancelled()) return;
//       import(files[i]);
//       monitor.set_progress(i + 1);
//     }
//     monitor.set_complete();
//   }
//
// ProgressMonitor is the implementation; writing the process against this
// interface keeps it independent of how (or whether) progress is shown.
#ifndef VORN_PROGRESS_PROGRESSMONITORPROCESSINTERFACE_H_
#define VORN_PROGRESS_PROGRESSMONITORPROCESSINTERFACE_H_

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API ProgressMonitorProcessInterface {
 public:
  ProgressMonitorProcessInterface() = default;
  ProgressMonitorProcessInterface(const ProgressMonitorProcessInterface&) = delete;
  ProgressMonitorProcessInterface& operator=(const ProgressMonitorProcessInterface&) = delete;
  virtual ~ProgressMonitorProcessInterface() = default;

  virtual void set_steps(int steps) = 0;
  virtual void set_progress(int progress) = 0;
  virtual void set_complete() = 0;
  virtual bool was_cancelled() const = 0;
};

}  // namespace vorn

#endif  // VORN_PROGRESS_PROGRESSMONITORPROCESSINTERFACE_H_
