#include <chrono>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <limits>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/ScopedStreamCapture.h"
#include "vorn/time/ElapsedTimer.h"
#include "vorn/time/Timer.h"

namespace vorn {
namespace {

TEST(Timer, FormatSplitsIntoUnitsAndPluralisesOnTheText) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    double seconds;
    const char* text;
  } cases[] = {
      {0, "0 seconds"}, {-0.0, "0 seconds"}, {1, "1 second"}, {1.5, "1.5 seconds"}, {60, "1 minute"},
      {90, "1 minute, 30 seconds"}, {3725.5, "1 hour, 2 minutes, 5.5 seconds"}, {86400.5, "1 day, 0.5 seconds"},
      {2 * 604800 + 3 * 86400 + 4 * 3600 + 5 * 60 + 6, "2 weeks, 3 days, 4 hours, 5 minutes, 6 seconds"},
      {1.0000001, "1 second"}, {59.9999999, "60 seconds"}, {1e-7, "1e-07 seconds"},
      {-1, "-1 seconds"}, {-90, "-1 minutes, -30 seconds"}, {-604800.5, "-1 weeks, -0.5 seconds"},
      // Too large to split into whole weeks: written whole.
      {inf, "inf seconds"}, {-inf, "-inf seconds"}, {1e300, "1e+300 seconds"},
      {2147483647.0 * 604800, "2147483647 weeks"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.seconds);
    EXPECT_EQ(Timer::format(c.seconds), c.text);
  }
}

TEST(Timer, DurationIsTakenInThirtyTwoBitArithmetic) {
  const struct {
    long start, now;
    double seconds;
  } cases[] = {
      {0, 0, 0.0},
      {1000000, 3500000, 2.5},
      {3000000, 1000000, -2.0},
      {INT32_MAX - 499999L, static_cast<long>(INT32_MIN) + 500000L, 1.0},  // the clock wrapped
      {0, 0x100000000L + 5000000L, 5.0},                                    // high bits ignored
      {0x300000000L + 1000000L, 4000000L, 3.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.now);
    Timer timer;
    if (c.start != 0) timer.set_start(c.start);
    EXPECT_DOUBLE_EQ(timer.duration(c.now), c.seconds);
  }
}

// Runs an ElapsedTimer over `body` and returns the line it printed.
template <class Body>
std::string timed(const char* label, ElapsedTimer::OutputFormat format, Body body) {
  testing::ScopedStreamCapture capture(std::cout);
  {
    ElapsedTimer timer(label, format);
    body();
  }
  return capture.text();
}

// The number between `prefix` and `suffix` in `line`; -1 when the line does
// not have that form.
double seconds_in(const std::string& line, const std::string& prefix, const std::string& suffix) {
  const bool framed = line.size() > prefix.size() + suffix.size() && line.compare(0, prefix.size(), prefix) == 0 &&
                      line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0;
  const std::string number = framed ? line.substr(prefix.size(), line.size() - prefix.size() - suffix.size()) : "";
  std::size_t used = 0;
  const double value = framed ? std::stod(number, &used) : -1;
  if (!framed || used != number.size()) ADD_FAILURE() << "unexpected line: '" << line << "'";
  return used == number.size() ? value : -1;
}

TEST(ElapsedTimer, PrintsProcessorTimeOnly) {
  const auto burn = [] {
    const std::clock_t start = std::clock();
    volatile double sink = 0;
    while (std::clock() - start < CLOCKS_PER_SEC / 20) sink = sink + 1;
  };
  EXPECT_GE(seconds_in(timed("load", ElapsedTimer::verbose, burn), "Elapsed time for 'load' = ", " seconds.\n"), 0.05);
  EXPECT_GE(seconds_in(timed("fit peaks", ElapsedTimer::tab_separated, burn), "fit peaks\t", "\n"), 0.05);
  const auto sleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(400)); };
  EXPECT_LT(seconds_in(timed("idle", ElapsedTimer::tab_separated, sleep), "idle\t", "\n"), 0.3);
  EXPECT_EQ(timed("quiet", static_cast<ElapsedTimer::OutputFormat>(2), [] {}), "");
}

}  // namespace
}  // namespace vorn
