// Progress monitoring: two processes report their steps to their own
// monitors, a combined monitor averages them, and a text progress bar shows
// the combined percentage (a bar on a terminal, plain lines elsewhere). The
// log line written between the two processes makes way for the bar: on a
// terminal the bar is erased, the line written and the bar drawn again.
#include <iostream>

#include "vorn/vorn.h"

namespace {

// A stand-in for real work: `steps` steps, each reported to the monitor.
void process(vorn::ProgressMonitorProcessInterface& monitor, int steps) {
  monitor.set_steps(steps);
  volatile double sink = 0;
  for (int step = 1; step <= steps && !monitor.was_cancelled(); ++step) {
    for (int i = 0; i < 20000; ++i) sink = sink + i * 0.5;
    monitor.set_progress(step);
  }
  monitor.set_complete();
}

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  auto load = vorn::make_handle<vorn::ProgressMonitor>();
  auto index = vorn::make_handle<vorn::ProgressMonitor>();
  vorn::MultipleProgressMonitor both({load, index});
  {
    vorn::TextProgressDisplay bar(both, std::cout, "loading and indexing");
    process(*load, 300);
    vorn::VornLog::start_info_line() << "loaded 300 records";
    vorn::VornLog::end_info_line();
    process(*index, 700);
  }
  std::cout << "combined: " << both.progress() << " of " << both.steps() << " (" << both.percentage() << "%)\n";
  return 0;
}
