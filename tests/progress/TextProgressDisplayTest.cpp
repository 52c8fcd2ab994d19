#include <sstream>

#include <gtest/gtest.h>

#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/TextProgressDisplay.h"

namespace vorn {
namespace {

using Mode = TextProgressDisplay::Mode;

TEST(TextProgressDisplay, RedrawsABarOnATerminal) {
  ProgressMonitor monitor;
  std::ostringstream out;
  {
    TextProgressDisplay bar(monitor, out, "fit", Mode::terminal);
    monitor.set_steps(4);
    monitor.set_progress(1);
    monitor.set_steps(4);  // same percentage: no redraw
    monitor.set_complete();
    monitor.set_complete();  // the ended line stays ended
    monitor.reset();
    monitor.set_steps(2);
    monitor.set_progress(3);  // beyond the steps: the bar is clamped
    monitor.set_progress(-1);
  }  // destroyed mid-way: the line is ended
  EXPECT_EQ(out.str(),
            "\rfit [                    ]   0%\rfit [#####               ]  25%\rfit [####################] 100%\n"
            "\rfit [                    ]   0%\rfit [####################] 150%\n"
            "\rfit [                    ] -50%\n");
  EXPECT_EQ(monitor.observer_count(), 0u);
}

TEST(TextProgressDisplay, WritesALinePerTenthElsewhere) {
  ProgressMonitor monitor;
  std::ostringstream out;
  {
    TextProgressDisplay display(monitor, out);  // not a terminal
    EXPECT_FALSE(display.terminal());
    monitor.set_steps(300);
    for (int i = 1; i <= 300; ++i) monitor.set_progress(i);
    monitor.set_complete();
    monitor.set_progress(-1);
    monitor.set_progress(-30);  // same tenth as -1
  }
  EXPECT_EQ(out.str(), "  0%\n 10%\n 20%\n 30%\n 40%\n 50%\n 60%\n 70%\n 80%\n 90%\n100%\n -1%\n");
}

}  // namespace
}  // namespace vorn
