#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "vorn/foundation/THandle.h"
#include "vorn/progress/MultipleProgressMonitor.h"
#include "vorn/progress/ProgressMonitor.h"

namespace vorn {
namespace {

// Counts announcements and remembers the percentage each one showed.
class Watcher : public Observer {
 public:
  explicit Watcher(ProgressMonitorDisplayInterface& monitor) : monitor_(monitor) { monitor_.connect(*this); }
  ~Watcher() override { monitor_.disconnect(*this); }
  void update(Subject* subject, const UpdateFlags& flags) override {
    EXPECT_EQ(subject, &monitor_);
    EXPECT_EQ(flags.size(), 0u);
    seen.push_back(monitor_.percentage());
  }
  std::vector<int> seen;

 private:
  ProgressMonitorDisplayInterface& monitor_;
};

TEST(ProgressMonitor, PercentageIsTheFloorOfTheExactRatio) {
  const struct {
    int steps;
    int progress;
    int percentage;
  } cases[] = {
      {0, 0, 0},     {0, 5, 0},        {3, 1, 33},          {3, 2, 66},           {3, 3, 100},
      {200, 1, 0},   {200, 3, 1},      {7, 7, 100},         {2, 3, 150},          {3, -1, -34},
      {-4, 1, -25},  {1, 1, 100},      {INT_MAX, INT_MAX - 1, 99},               {1, INT_MAX, INT_MAX},
      {1, INT_MIN, INT_MIN},           {1000000, 999999, 99},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.progress << " of " << c.steps);
    ProgressMonitor monitor;
    monitor.set_steps(c.steps);
    monitor.set_progress(c.progress);
    EXPECT_EQ(monitor.steps(), c.steps);
    EXPECT_EQ(monitor.progress(), c.progress);
    EXPECT_EQ(monitor.percentage(), c.percentage);
  }
}

TEST(ProgressMonitor, AnnouncesOnlyWhenThePercentageChanges) {
  ProgressMonitor monitor;
  EXPECT_EQ(monitor.steps(), 0);
  EXPECT_EQ(monitor.progress(), 0);
  EXPECT_EQ(monitor.percentage(), 0);
  EXPECT_FALSE(monitor.was_cancelled());
  Watcher watcher(monitor);

  monitor.set_steps(3);     // always announced
  monitor.set_progress(1);  // 33
  monitor.set_progress(1);  // unchanged
  monitor.set_progress(2);  // 66
  monitor.set_complete();   // always announced
  monitor.set_complete();
  EXPECT_EQ(watcher.seen, (std::vector<int>{0, 33, 66, 100, 100}));
  EXPECT_FALSE(monitor.changed());

  // The percentage remembered is the last one set_progress announced, not the
  // one set_complete showed.
  monitor.set_progress(2);
  EXPECT_EQ(watcher.seen.size(), 5u);

  ProgressMonitor fine;
  Watcher fine_watcher(fine);
  fine.set_steps(200);
  fine.set_progress(1);  // still 0%
  fine.set_progress(2);  // 1%
  EXPECT_EQ(fine_watcher.seen, (std::vector<int>{0, 1}));
}

TEST(ProgressMonitor, CompleteWithoutStepsCountsAHundred) {
  ProgressMonitor monitor;
  Watcher watcher(monitor);
  monitor.set_complete();
  EXPECT_EQ(monitor.steps(), 100);
  EXPECT_EQ(monitor.progress(), 100);
  EXPECT_EQ(watcher.seen, std::vector<int>{100});
}

TEST(ProgressMonitor, CancelFreezesProgressUntilReset) {
  ProgressMonitor monitor;
  Watcher watcher(monitor);
  monitor.set_steps(10);
  monitor.set_progress(4);
  monitor.cancel();  // announces nothing
  EXPECT_TRUE(monitor.was_cancelled());
  monitor.set_progress(8);
  monitor.set_complete();
  EXPECT_EQ(monitor.progress(), 4);
  EXPECT_EQ(watcher.seen, (std::vector<int>{0, 40}));

  monitor.set_steps(20);  // still accepted and announced
  EXPECT_EQ(watcher.seen, (std::vector<int>{0, 40, 20}));
  EXPECT_TRUE(monitor.was_cancelled());

  monitor.stop();
  monitor.reset();
  EXPECT_FALSE(monitor.was_cancelled());
  EXPECT_FALSE(monitor.stopped());
  EXPECT_EQ(monitor.steps(), 0);
  EXPECT_EQ(monitor.progress(), 0);

  // The remembered percentage is zeroed too: 40% is news again.
  monitor.set_steps(10);
  monitor.set_progress(4);
  EXPECT_EQ(watcher.seen, (std::vector<int>{0, 40, 20, 0, 40}));
}

TEST(ProgressMonitor, StopRecordsSilentlyAndRestartResumes) {
  ProgressMonitor monitor;
  Watcher watcher(monitor);
  monitor.set_steps(4);
  monitor.stop();
  monitor.set_progress(1);
  monitor.set_steps(2);
  monitor.set_complete();
  EXPECT_EQ(monitor.percentage(), 100);
  EXPECT_EQ(watcher.seen, std::vector<int>{0});

  monitor.restart();
  monitor.set_steps(4);     // 2 of 4 done: 50%
  monitor.set_progress(1);  // 25%, as remembered while stopped: silent
  monitor.set_progress(3);
  EXPECT_EQ(watcher.seen, (std::vector<int>{0, 50, 75}));
}

THandle<ProgressMonitor> new_monitor(int steps = 0) {
  THandle<ProgressMonitor> monitor(new ProgressMonitor);
  if (steps != 0) monitor->set_steps(steps);
  return monitor;
}

TEST(MultipleProgressMonitor, CombinesTheMembersPercentages) {
  THandle<ProgressMonitor> a = new_monitor(2), b = new_monitor(4);
  MultipleProgressMonitor overall({a, b});
  EXPECT_EQ(overall.nprocesses(), 2);
  EXPECT_EQ(overall.steps(), 200);
  Watcher watcher(overall);

  a->set_progress(1);  // 50 + 0
  b->set_progress(1);  // 50 + 25
  EXPECT_EQ(overall.progress(), 75);
  EXPECT_EQ(overall.percentage(), 37);

  // A member announcing without changing the sum is not passed on.
  b->set_steps(4);
  b->set_progress(1);
  EXPECT_EQ(watcher.seen, (std::vector<int>{25, 37}));

  a->set_complete();
  b->set_complete();
  EXPECT_EQ(overall.percentage(), 100);
  EXPECT_EQ(watcher.seen, (std::vector<int>{25, 37, 62, 100}));

  const MultipleProgressMonitor none({});
  EXPECT_EQ(none.nprocesses(), 0);
  EXPECT_EQ(none.steps(), 0);
  EXPECT_EQ(none.progress(), 0);
  EXPECT_EQ(none.percentage(), 0);
}

TEST(MultipleProgressMonitor, NegativeMeansRoundDown) {
  THandle<ProgressMonitor> a = new_monitor(3), b = new_monitor(1);
  MultipleProgressMonitor overall({a, b});
  a->set_progress(-1);  // -34
  EXPECT_EQ(overall.progress(), -34);
  EXPECT_EQ(overall.percentage(), -17);
  b->set_progress(-1);  // -100
  EXPECT_EQ(overall.percentage(), -67);
}

TEST(MultipleProgressMonitor, CancelAndResetReachEveryMember) {
  THandle<ProgressMonitor> a = new_monitor(4), b = new_monitor(4);
  MultipleProgressMonitor overall({a, b});
  Watcher watcher(overall);
  a->set_progress(2);
  overall.cancel();
  EXPECT_TRUE(a->was_cancelled());
  EXPECT_TRUE(b->was_cancelled());
  EXPECT_EQ(watcher.seen, std::vector<int>{25});

  overall.reset();
  EXPECT_FALSE(a->was_cancelled());
  EXPECT_FALSE(b->was_cancelled());
  EXPECT_EQ(overall.progress(), 0);
  // The remembered sum was zeroed with the members, so 50% of one member is
  // news again.
  a->set_steps(4);
  a->set_progress(2);
  EXPECT_EQ(watcher.seen, (std::vector<int>{25, 25}));
}

TEST(MultipleProgressMonitor, NullMemberFailsAtConstructionWithoutConnecting) {
  THandle<ProgressMonitor> a = new_monitor(), b = new_monitor();
  try {
    MultipleProgressMonitor overall({a, b, THandle<ProgressMonitor>()});
    FAIL() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Internal error: access of null handle");
  }
  EXPECT_EQ(a->observer_count(), 0u);
  EXPECT_EQ(b->observer_count(), 0u);
}

TEST(MultipleProgressMonitor, DisconnectsFromItsMembersWhenDestroyed) {
  THandle<ProgressMonitor> a = new_monitor(10);
  {
    MultipleProgressMonitor overall({a, a});
    EXPECT_EQ(a->observer_count(), 1u);
    EXPECT_EQ(a.count_block()->strong_count(), 3);
  }
  EXPECT_EQ(a->observer_count(), 0u);
  EXPECT_EQ(a.count_block()->strong_count(), 1);
  a->set_progress(5);  // must not reach the destroyed monitor
}

}  // namespace
}  // namespace vorn
