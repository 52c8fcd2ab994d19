#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "vorn/foundation/THandle.h"
#include "vorn/progress/MultipleProgressMonitor.h"
#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/TextProgressDisplay.h"

namespace vorn {
namespace {

using Mode = TextProgressDisplay::Mode;

TEST(TextProgressDisplay, RedrawsTheBarInPlaceWhenThePercentageChanges) {
  ProgressMonitor monitor;
  std::ostringstream out;
  TextProgressDisplay bar(monitor, out, "", Mode::terminal);
  EXPECT_TRUE(bar.terminal());
  EXPECT_EQ(out.str(), "");  // nothing before the first announcement

  monitor.set_steps(4);
  monitor.set_progress(1);
  monitor.set_progress(1);
  monitor.set_steps(4);  // announced by the monitor, same percentage
  monitor.set_progress(2);
  monitor.set_complete();
  monitor.set_complete();  // already complete: the line stays ended
  EXPECT_EQ(out.str(),
            "\r[                    ]   0%"
            "\r[#####               ]  25%"
            "\r[##########          ]  50%"
            "\r[####################] 100%\n");
}

TEST(TextProgressDisplay, LabelsAndOutOfRangePercentages) {
  const struct {
    int steps;
    int progress;
    const char* drawn;
  } cases[] = {
      {3, 1, "\rfit [######              ]  33%"},
      {2, 3, "\rfit [####################] 150%\n"},
      {20, -1, "\rfit [                    ]  -5%"},
      {1, -20, "\rfit [                    ] -2000%"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.drawn);
    ProgressMonitor monitor;
    monitor.set_steps(c.steps);
    std::ostringstream out;
    TextProgressDisplay bar(monitor, out, "fit", Mode::terminal);
    monitor.set_progress(c.progress);
    EXPECT_EQ(out.str(), c.drawn);
  }
}

TEST(TextProgressDisplay, EndsAnUnfinishedBarWhenDestroyed) {
  ProgressMonitor monitor;
  std::ostringstream out;
  {
    TextProgressDisplay bar(monitor, out, "", Mode::terminal);
    EXPECT_EQ(monitor.observer_count(), 1u);
    monitor.set_steps(2);
    monitor.set_progress(1);
    monitor.cancel();
  }
  EXPECT_EQ(monitor.observer_count(), 0u);
  EXPECT_EQ(out.str(), "\r[                    ]   0%\r[##########          ]  50%\n");

  // A finished bar gets no second line feed.
  std::ostringstream done;
  {
    TextProgressDisplay bar(monitor, done, "", Mode::terminal);
    monitor.reset();
    monitor.set_complete();
  }
  EXPECT_EQ(done.str(), "\r[####################] 100%\n");
}

TEST(TextProgressDisplay, StartsANewBarWhenTheMonitorRunsAgain) {
  ProgressMonitor monitor;
  std::ostringstream out;
  TextProgressDisplay bar(monitor, out, "", Mode::terminal);
  monitor.set_complete();
  monitor.reset();
  monitor.set_steps(10);
  EXPECT_EQ(out.str(), "\r[####################] 100%\n\r[                    ]   0%");
}

TEST(TextProgressDisplay, PlainModeWritesALinePerTenth) {
  ProgressMonitor monitor;
  std::ostringstream out;
  TextProgressDisplay display(monitor, out, "import", Mode::plain);
  EXPECT_FALSE(display.terminal());
  monitor.set_steps(300);
  for (int i = 1; i <= 300; ++i) monitor.set_progress(i);
  monitor.set_complete();
  EXPECT_EQ(out.str(),
            "import   0%\nimport  10%\nimport  20%\nimport  30%\nimport  40%\nimport  50%\n"
            "import  60%\nimport  70%\nimport  80%\nimport  90%\nimport 100%\n");
}

TEST(TextProgressDisplay, PlainModeShowsEachChangeOfTenthInEitherDirection) {
  ProgressMonitor monitor;
  std::ostringstream out;
  {
    TextProgressDisplay display(monitor, out, "", Mode::plain);
    monitor.set_steps(100);
    monitor.set_progress(35);
    monitor.set_progress(-1);
    monitor.set_progress(-10);  // same tenth as -1
    monitor.set_progress(-11);
    monitor.set_progress(5);
  }
  EXPECT_EQ(out.str(), "  0%\n 35%\n -1%\n-11%\n  5%\n");  // no line feed added at the end
}

TEST(TextProgressDisplay, AutomaticModeTreatsOtherStreamsAsPlain) {
  ProgressMonitor monitor;
  std::ostringstream out;
  TextProgressDisplay display(monitor, out);
  EXPECT_FALSE(display.terminal());
}

TEST(TextProgressDisplay, ShowsACombinedMonitor) {
  THandle<ProgressMonitor> a(new ProgressMonitor), b(new ProgressMonitor);
  MultipleProgressMonitor overall({a, b});
  std::ostringstream out;
  TextProgressDisplay bar(overall, out, "all", Mode::terminal);
  a->set_steps(2);
  b->set_steps(2);
  a->set_progress(1);
  b->set_complete();
  a->set_complete();
  EXPECT_EQ(out.str(),
            "\rall [#####               ]  25%"
            "\rall [###############     ]  75%"
            "\rall [####################] 100%\n");
}

}  // namespace
}  // namespace vorn
