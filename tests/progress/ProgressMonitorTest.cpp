#include <climits>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "vorn/foundation/THandle.h"
#include "vorn/progress/MultipleProgressMonitor.h"
#include "vorn/progress/ProgressMonitor.h"

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
  } cases[] = {{0, 5, 0},   {3, 1, 33},   {3, 2, 66},   {200, 1, 0},  {2, 3, 150},
               {3, -1, -34}, {-4, 1, -25}, {INT_MAX, INT_MAX - 1, 99}, {1, INT_MAX, INT_MAX}, {1, INT_MIN, INT_MIN}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.progress << " of " << c.steps);
    ProgressMonitor monitor;
    monitor.set_steps(c.steps);
    monitor.set_progress(c.progress);
    EXPECT_EQ(monitor.percentage(), c.percentage);
  }
}

TEST(ProgressMonitor, AnnouncesChangesOfPercentageUnlessStoppedOrCancelled) {
  ProgressMonitor monitor;
  Watcher watcher(monitor);
  monitor.set_complete();  // no steps: counts 100 of 100
  EXPECT_EQ(monitor.steps(), 100);
  monitor.reset();
  monitor.set_steps(3);     // always announced
  monitor.set_progress(1);  // 33
  monitor.set_progress(1);  // unchanged
  monitor.set_progress(2);  // 66
  monitor.set_complete();   // always announced, but not remembered:
  monitor.set_progress(2);  // still 66 as far as the monitor knows
  EXPECT_EQ(watcher.seen, (std::vector<int>{100, 0, 33, 66, 100}));

  monitor.stop();
  monitor.set_progress(1);  // 33, recorded and remembered silently
  monitor.restart();
  monitor.set_progress(1);
  monitor.set_progress(0);
  EXPECT_EQ(watcher.seen, (std::vector<int>{100, 0, 33, 66, 100, 0}));

  monitor.cancel();
  monitor.set_progress(3);
  monitor.set_complete();
  EXPECT_EQ(monitor.progress(), 0);
  monitor.set_steps(6);  // still accepted and announced
  EXPECT_TRUE(monitor.was_cancelled());
  monitor.reset();
  EXPECT_FALSE(monitor.was_cancelled());
  EXPECT_EQ(monitor.steps(), 0);
  monitor.set_steps(3);
  monitor.set_progress(1);  // the remembered 33 was reset too
  EXPECT_EQ(watcher.seen, (std::vector<int>{100, 0, 33, 66, 100, 0, 0, 0, 33}));
}

TEST(MultipleProgressMonitor, CombinesTheMembersPercentages) {
  THandle<ProgressMonitor> a(new ProgressMonitor), b(new ProgressMonitor);
  a->set_steps(2);
  b->set_steps(4);
  {
    MultipleProgressMonitor overall({a, b});
    Watcher watcher(overall);
    a->set_progress(1);
    b->set_progress(1);
    EXPECT_EQ(overall.steps(), 200);
    EXPECT_EQ(overall.progress(), 75);
    EXPECT_EQ(overall.percentage(), 37);
    b->set_steps(4);  // announced by the member, but the sum is unchanged
    a->set_progress(-1);
    EXPECT_EQ(overall.percentage(), -13);  // rounds down
    overall.cancel();
    EXPECT_TRUE(a->was_cancelled() && b->was_cancelled());
    overall.reset();
    EXPECT_FALSE(a->was_cancelled() || b->was_cancelled());
    a->set_steps(4);
    a->set_progress(1);  // 25 again: news, since the remembered sum was reset
    EXPECT_EQ(watcher.seen, (std::vector<int>{25, 37, -13, 12}));
  }
  EXPECT_EQ(a->observer_count(), 0u);  // disconnected when destroyed
  EXPECT_EQ(MultipleProgressMonitor({}).percentage(), 0);
}

TEST(MultipleProgressMonitor, NullMemberFailsBeforeConnectingAnything) {
  THandle<ProgressMonitor> a(new ProgressMonitor);
  try {
    MultipleProgressMonitor overall({a, THandle<ProgressMonitor>()});
    FAIL() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Internal error: access of null handle");
  }
  EXPECT_EQ(a->observer_count(), 0u);
}

}  // namespace
}  // namespace vorn
