#include "vorn/progress/ProgressMonitor.h"

#include <climits>
#include <cmath>

namespace vorn {

void ProgressMonitor::initialise() noexcept {
  steps_ = 0;
  progress_ = 0;
  announced_percentage_ = 0;
  stopped_ = false;
  cancelled_ = false;
}

void ProgressMonitor::set_steps(int steps) {
  steps_ = steps;
  update_progress();
}

void ProgressMonitor::set_progress(int progress) {
  if (cancelled_) return;
  progress_ = progress;
  const int now = percentage();
  if (now == announced_percentage_) return;
  announced_percentage_ = now;
  update_progress();
}

void ProgressMonitor::set_complete() {
  if (cancelled_) return;
  if (steps_ == 0) steps_ = 100;
  progress_ = steps_;
  update_progress();
}

int ProgressMonitor::percentage() const {
  if (steps_ == 0) return 0;
  const long double exact = std::floor(static_cast<long double>(progress_) * 100 / steps_);
  if (exact >= static_cast<long double>(INT_MAX)) return INT_MAX;
  if (exact <= static_cast<long double>(INT_MIN)) return INT_MIN;
  return static_cast<int>(exact);
}

void ProgressMonitor::update_progress() {
  if (stopped_) return;
  set_changed();
  notify();
}

}  // namespace vorn
