// MultipleProgressMonitor: several progress monitors shown as one.
//
// It observes each member ProgressMonitor and presents their combined state:
// the steps are 100 per member, the progress is the sum of the members'
// percentages and the percentage is their mean, rounded down. Its own
// displays are notified whenever that sum changes:
//
//   auto read = vorn::make_handle<vorn::ProgressMonitor>();
//   auto fit = vorn::make_handle<vorn::ProgressMonitor>();
//   vorn::MultipleProgressMonitor overall({read, fit});
//   vorn::TextProgressDisplay bar(overall);
//   read->set_steps(2); read->set_progress(1);    // 50% + 0%
//   fit->set_steps(4);  fit->set_progress(1);     // 50% + 25%
//   overall.progress();     // 75
//   overall.steps();        // 200
//   overall.percentage();   // 37
//
// cancel() and reset() are passed on to every member. The members are held by
// counted handles, so they live at least as long as this monitor, which
// disconnects from them when destroyed.
//
// Throws std::runtime_error "Internal error: access of null handle" from the
// constructor when a member handle is null; the monitor is then not
// connected to any member.
#ifndef VORN_PROGRESS_MULTIPLEPROGRESSMONITOR_H_
#define VORN_PROGRESS_MULTIPLEPROGRESSMONITOR_H_

#include <vector>

#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/notification/Observer.h"
#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/ProgressMonitorDisplayInterface.h"

namespace vorn {

class VORN_API MultipleProgressMonitor : public ProgressMonitorDisplayInterface, public Observer {
 public:
  explicit MultipleProgressMonitor(const std::vector<THandle<ProgressMonitor>>& members);
  ~MultipleProgressMonitor() override;

  int nprocesses() const noexcept { return static_cast<int>(members_.size()); }
  const std::vector<THandle<ProgressMonitor>>& members() const noexcept { return members_; }

  // nprocesses() * 100.
  int steps() const override;
  // The sum of the members' percentages (saturating at the limits of int).
  int progress() const override;
  // floor(progress() / nprocesses()); 0 when there are no members.
  int percentage() const override;
  void cancel() override;
  // Zeroes the remembered sum, then resets every member.
  void reset() override;

  // Called by a member that announced; notifies this monitor's displays when
  // the sum of percentages changed.
  void update(Subject* subject, const UpdateFlags& flags) override;

 private:
  std::vector<THandle<ProgressMonitor>> members_;
  int announced_progress_ = 0;
};

}  // namespace vorn

#endif  // VORN_PROGRESS_MULTIPLEPROGRESSMONITOR_H_
