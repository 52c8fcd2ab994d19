#include <climits>
#include <iostream>
#include <memory>
#include <string>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vorn/foundation/THandle.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/progress/MultipleProgressMonitor.h"
#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/TextProgressDisplay.h"

namespace vorn {
namespace {

// Records the percentage shown at each announcement.
class Watcher : public Observer {
 public:
  explicit Watcher(ProgressMonitorDisplayInterface& monitor) : monitor_(monitor) { monitor_.connect(*this); }
  ~Watcher() override { monitor_.disconnect(*this); }
  void update(Subject*, const UpdateFlags&) override { seen.push_back(monitor_.percentage()); }
  std::vector<int> seen;

 private:
  ProgressMonitorDisplayInterface& monitor_;
};

TEST(ProgressMonitor, PercentageIsTheFloorOfTheExactRatio) {
  const struct {
    int steps, progress, percentage;
  } cases[] = {{0, 5, 0},    {3, 1, 33},  {3, 2, 66},  {200, 1, 0},  {2, 3, 150}, {3, -1, -34}, {-4, 1, -25},
               {INT_MAX, INT_MAX - 1, 99}, {1, INT_MAX, INT_MAX}, {1, INT_MIN, INT_MIN}};
  for (const auto& c : cases) {
    ProgressMonitor monitor;
    monitor.set_steps(c.steps);
    monitor.set_progress(c.progress);
    EXPECT_EQ(monitor.percentage(), c.percentage) << c.progress << " of " << c.steps;
  }
}

// Drives `monitor` through a script of words: "s<n>" set_steps, "p<n>"
// set_progress, "c" set_complete, "h" stop, "g" restart, "x" cancel, "r" reset.
void drive(ProgressMonitor& monitor, const std::string& script) {
  std::istringstream words(script);
  for (std::string w; words >> w;) {
    if (w[0] == 's') monitor.set_steps(std::stoi(w.substr(1)));
    if (w[0] == 'p') monitor.set_progress(std::stoi(w.substr(1)));
    if (w == "c") monitor.set_complete();
    if (w == "h") monitor.stop();
    if (w == "g") monitor.restart();
    if (w == "x") monitor.cancel();
    if (w == "r") monitor.reset();
  }
}

TEST(ProgressMonitor, AnnouncesChangesOfPercentageUnlessStoppedOrCancelled) {
  ProgressMonitor monitor;
  Watcher watcher(monitor);
  drive(monitor, "c");  // no steps: counts 100 of 100
  std::vector<int> state{monitor.steps()};
  // set_steps and set_complete always announce, but the completion is not
  // remembered (the next 66 is no news); stopped, 33 is remembered silently;
  // cancelled, progress and completion are ignored.
  drive(monitor, "r s3 p1 p1 p2 c p2 h p1 g p1 p0 x p3 c");
  state.push_back(monitor.progress());
  drive(monitor, "s6");  // still accepted and announced
  state.push_back(monitor.was_cancelled());
  drive(monitor, "r");
  state.insert(state.end(), {monitor.was_cancelled(), monitor.steps()});
  drive(monitor, "s3 p1");  // the remembered 33 was reset too
  EXPECT_EQ(watcher.seen, (std::vector<int>{100, 0, 33, 66, 100, 0, 0, 0, 33}));
  EXPECT_EQ(state, (std::vector<int>{100, 0, true, false, 0}));
}

TEST(MultipleProgressMonitor, CombinesTheMembersPercentages) {
  THandle<ProgressMonitor> a = make_handle<ProgressMonitor>(), b = make_handle<ProgressMonitor>();
  a->set_steps(2);
  b->set_steps(4);
  {
    MultipleProgressMonitor overall({a, b});
    Watcher watcher(overall);
    a->set_progress(1);
    b->set_progress(1);
    std::vector<int> state{overall.steps(), overall.progress(), overall.percentage()};
    b->set_steps(4);  // announced by the member, but the sum is unchanged
    a->set_progress(-1);
    state.push_back(overall.percentage());  // rounds down
    overall.cancel();
    state.push_back(a->was_cancelled() && b->was_cancelled());
    overall.reset();
    state.push_back(a->was_cancelled() || b->was_cancelled());
    a->set_steps(4);
    a->set_progress(1);  // 25 again: news, since the remembered sum was reset
    EXPECT_EQ(watcher.seen, (std::vector<int>{25, 37, -13, 12}));
    EXPECT_EQ(state, (std::vector<int>{200, 75, 37, -13, true, false}));
  }
  EXPECT_EQ(a->observer_count(), 0u);  // disconnected when destroyed
  EXPECT_EQ(MultipleProgressMonitor({}).percentage(), 0);

  // A null member fails before anything is connected.
  EXPECT_EQ(testing::error_of([&] { MultipleProgressMonitor({a, THandle<ProgressMonitor>()}); }),
            "Internal error: access of null handle");
  EXPECT_EQ(a->observer_count(), 0u);
}

using Mode = TextProgressDisplay::Mode;

TEST(TextProgressDisplay, RedrawsABarOnATerminalAndWritesLinesElsewhere) {
  ProgressMonitor monitor;
  std::ostringstream out;
  {
    TextProgressDisplay bar(monitor, out, "fit", Mode::terminal);
    // No redraw for the same percentage; the ended line stays ended; the bar
    // is clamped beyond the steps.
    drive(monitor, "s4 p1 s4 c c r s2 p3 p-1");
  }  // destroyed mid-way: the line is ended
  EXPECT_EQ(out.str(),
            "\rfit [                    ]   0%\rfit [#####               ]  25%\rfit [####################] 100%\n"
            "\rfit [                    ]   0%\rfit [####################] 150%\n"
            "\rfit [                    ] -50%\n");
  EXPECT_EQ(monitor.observer_count(), 0u);

  // Elsewhere a line per tenth.
  out.str("");
  monitor.reset();
  {
    TextProgressDisplay display(monitor, out);  // not a terminal
    EXPECT_FALSE(display.terminal());
    monitor.set_steps(300);
    for (int i = 1; i <= 300; ++i) monitor.set_progress(i);
    drive(monitor, "c p-1 p-30");  // -30 is in the same tenth as -1
  }
  EXPECT_EQ(out.str(), "  0%\n 10%\n 20%\n 30%\n 40%\n 50%\n 60%\n 70%\n 80%\n 90%\n100%\n -1%\n");
}

// Log lines written while a terminal bar shows: the bar is erased, the line
// written from the left edge and the bar drawn again below it.
TEST(TextProgressDisplay, MakesWayForLogLinesOnItsTerminal) {
  testing::ScopedStreamCapture err(std::cerr);
  ProgressMonitor monitor;
  const std::string half = "\rimport [##########          ]  50%";
  const std::string erase = "\r" + std::string(half.size() - 1, ' ') + "\r";
  {
    TextProgressDisplay bar(monitor, std::cerr, "import", Mode::terminal);
    EXPECT_EQ(VornLog::status_line(), &bar);
    monitor.set_steps(4);
    monitor.set_progress(2);
    VornLog::start_warning_line() << "sample 17 has no peaks";
    VornLog::end_warning_line();
    VornLog::start_error_line() << "sample 18 unreadable";
    VornLog::end_error_line();
    monitor.set_progress(4);
    VornLog::start_warning_line() << "done";  // the bar has ended its line
    VornLog::end_warning_line();
  }
  EXPECT_EQ(VornLog::status_line(), nullptr) << "the bar unregisters itself";
  EXPECT_EQ(err.text(), "\rimport [                    ]   0%" + half + erase + "WARNING: sample 17 has no peaks\n" + half +
                            erase + "ERROR: sample 18 unreadable\n" + half +
                            "\rimport [####################] 100%\nWARNING: done\n");
}

TEST(TextProgressDisplay, TheLatestBarIsTheOneLogLinesMakeWayFor) {
  ProgressMonitor monitor;
  std::ostringstream screen;
  auto outer = std::make_unique<TextProgressDisplay>(monitor, screen, "outer", Mode::terminal);
  {
    TextProgressDisplay inner(monitor, screen, "inner", Mode::terminal);
    EXPECT_EQ(VornLog::status_line(), &inner);
    outer.reset();  // displays may go in any order
    EXPECT_EQ(VornLog::status_line(), &inner);
  }
  EXPECT_EQ(VornLog::status_line(), nullptr);
}

TEST(TextProgressDisplay, LeavesLogLinesForOtherOutputsAlone) {
  const struct {
    const char* name;
    Mode mode;
    bool on_log_stream;
    std::string log;
  } cases[] = {
      {"a bar on another stream", Mode::terminal, false, "WARNING: w\n"},
      {"plain lines on the same stream", Mode::plain, true, "  0%\n 25%\nWARNING: w\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::ScopedStreamCapture err(std::cerr);
    std::ostringstream screen;
    ProgressMonitor monitor;
    {
      TextProgressDisplay bar(monitor, c.on_log_stream ? static_cast<std::ostream&>(std::cerr) : screen, "", c.mode);
      monitor.set_steps(4);
      monitor.set_progress(1);
      VornLog::start_warning_line() << "w";
      VornLog::end_warning_line();
    }
    EXPECT_EQ(err.text(), c.log);
  }
}

}  // namespace
}  // namespace vorn
