#include "vorn/progress/MultipleProgressMonitor.h"

#include <climits>
#include <cmath>
#include <cstdint>

#include "vorn/foundation/HandleCommon.h"

namespace vorn {

MultipleProgressMonitor::MultipleProgressMonitor(const std::vector<THandle<ProgressMonitor>>& members)
    : members_(members) {
  // All members are checked before the first connection, so that a failed
  // construction leaves no member pointing at this half-built object.
  for (const auto& member : members_) {
    if (member == nullptr) HandleCommon::null_handle_error();
  }
  for (const auto& member : members_) member->connect(*this);
}

MultipleProgressMonitor::~MultipleProgressMonitor() {
  for (const auto& member : members_) member->disconnect(*this);
}

int MultipleProgressMonitor::steps() const { return nprocesses() * 100; }

int MultipleProgressMonitor::progress() const {
  std::int64_t sum = 0;
  for (const auto& member : members_) sum += member->percentage();
  if (sum > INT_MAX) return INT_MAX;
  if (sum < INT_MIN) return INT_MIN;
  return static_cast<int>(sum);
}

int MultipleProgressMonitor::percentage() const {
  if (members_.empty()) return 0;
  return static_cast<int>(std::floor(static_cast<double>(progress()) / nprocesses()));
}

void MultipleProgressMonitor::cancel() {
  for (const auto& member : members_) member->cancel();
}

void MultipleProgressMonitor::reset() {
  announced_progress_ = 0;
  for (const auto& member : members_) member->reset();
}

void MultipleProgressMonitor::update(Subject* /*subject*/, const UpdateFlags& /*flags*/) {
  const int sum = progress();
  if (sum == announced_progress_) return;
  announced_progress_ = sum;
  set_changed();
  notify();
}

}  // namespace vorn
