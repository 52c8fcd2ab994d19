#include <chrono>
#include <climits>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <limits>
#include <regex>
#include <streambuf>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/ScopedStreamCapture.h"
#include "vorn/time/ElapsedTimer.h"
#include "vorn/time/Timer.h"
#include "vorn/time/ToString.h"

namespace vorn {
namespace {

TEST(ToString, UsesTheStreamDefaults) {
  EXPECT_EQ(to_string<int>(-42), "-42");
  EXPECT_EQ(to_string<double>(2.5), "2.5");
  EXPECT_EQ(to_string<double>(1.0 / 3), "0.333333");
  EXPECT_EQ(to_string<double>(1234567.0), "1.23457e+06");
  EXPECT_EQ(to_string<double>(-0.0), "-0");
  EXPECT_EQ(to_string(std::string("as is")), "as is");
}

TEST(TimerFormat, SplitsIntoUnitsAndPluralisesOnTheText) {
  const struct {
    double seconds;
    const char* text;
  } cases[] = {
      {0, "0 seconds"},
      {-0.0, "0 seconds"},
      {1, "1 second"},
      {1.5, "1.5 seconds"},
      {0.25, "0.25 seconds"},
      {2, "2 seconds"},
      {60, "1 minute"},
      {61, "1 minute, 1 second"},
      {90, "1 minute, 30 seconds"},
      {3600, "1 hour"},
      {3725.5, "1 hour, 2 minutes, 5.5 seconds"},
      {86400.5, "1 day, 0.5 seconds"},
      {604800, "1 week"},
      {2 * 604800 + 3 * 86400 + 4 * 3600 + 5 * 60 + 6, "2 weeks, 3 days, 4 hours, 5 minutes, 6 seconds"},
      {604800 + 3600, "1 week, 1 hour"},
      {1.0000001, "1 second"},  // prints as 1, so singular
      {59.9999999, "60 seconds"},
      {1e-7, "1e-07 seconds"},
      {-1, "-1 seconds"},
      {-90, "-1 minutes, -30 seconds"},
      {-604800.5, "-1 weeks, -0.5 seconds"},
      {-0.0000001, "-1e-07 seconds"},
      // Too large to split into whole weeks: written whole.
      {std::numeric_limits<double>::infinity(), "inf seconds"},
      {-std::numeric_limits<double>::infinity(), "-inf seconds"},
      {1e300, "1e+300 seconds"},
      {2147483647.0 * 604800, "2147483647 weeks"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.seconds);
    EXPECT_EQ(Timer::format(c.seconds), c.text);
  }
  const std::string nan_text = Timer::format(std::numeric_limits<double>::quiet_NaN());
  EXPECT_NE(nan_text.find("nan seconds"), std::string::npos) << nan_text;
}

TEST(TimerDuration, DiffersInThirtyTwoBitArithmetic) {
  const struct {
    const char* name;
    long start;
    long now;
    double seconds;
  } cases[] = {
      {"default start", 0, 0, 0.0},
      {"plain", 1000000, 3500000, 2.5},
      {"backwards", 3000000, 1000000, -2.0},
      {"wraps past the maximum", INT32_MAX - 499999L, static_cast<long>(INT32_MIN) + 500000L, 1.0},
      {"high bits of the reading ignored", 0, 0x100000000L + 5000000L, 5.0},
      {"start keeps its low 32 bits", 0x300000000L + 1000000L, 4000000L, 3.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Timer timer;
    if (c.start != 0) timer.set_start(c.start);
    EXPECT_DOUBLE_EQ(timer.duration(c.now), c.seconds);
  }
  Timer fresh;
  EXPECT_EQ(fresh.start(), 0);
  fresh.set_start(0x1FFFFFFFFL);
  EXPECT_EQ(fresh.start(), -1);
}

// Uses at least `seconds` of processor time.
void burn_cpu(double seconds) {
  const std::clock_t start = std::clock();
  volatile double sink = 0;
  while (static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC < seconds) {
    for (int i = 0; i < 10000; ++i) sink = sink + i * 0.5;
  }
}

double number_in(const std::string& text, const std::regex& pattern) {
  std::smatch match;
  if (!std::regex_match(text, match, pattern)) {
    ADD_FAILURE() << "unexpected line: '" << text << "'";
    return -1;
  }
  return std::stod(match[1].str());
}

TEST(ElapsedTimer, PrintsTheProcessorTimeInEitherForm) {
  std::string verbose_text;
  {
    testing::ScopedStreamCapture capture(std::cout);
    {
      ElapsedTimer timer("load");
      EXPECT_EQ(timer.output_format(), ElapsedTimer::verbose);
      burn_cpu(0.03);
    }
    verbose_text = capture.text();
  }
  // Under a second, so the verbose form is seconds alone.
  const double verbose_seconds = number_in(verbose_text, std::regex("Elapsed time for 'load' = ([0-9.e-]+) seconds\\.\n"));
  EXPECT_GE(verbose_seconds, 0.03);

  std::string tab_text;
  {
    testing::ScopedStreamCapture capture(std::cout);
    {
      ElapsedTimer timer("fit peaks", ElapsedTimer::tab_separated);
      burn_cpu(0.03);
    }
    tab_text = capture.text();
  }
  EXPECT_GE(number_in(tab_text, std::regex("fit peaks\t([0-9.e-]+)\n")), 0.03);
}

TEST(ElapsedTimer, UnknownFormatPrintsNothing) {
  testing::ScopedStreamCapture capture(std::cout);
  { ElapsedTimer timer("quiet", static_cast<ElapsedTimer::OutputFormat>(2)); }
  EXPECT_EQ(capture.text(), "");
}

TEST(ElapsedTimer, SleepingDoesNotCount) {
  std::string text;
  {
    testing::ScopedStreamCapture capture(std::cout);
    {
      ElapsedTimer timer("idle", ElapsedTimer::tab_separated);
      std::this_thread::sleep_for(std::chrono::milliseconds(400));
    }
    text = capture.text();
  }
  EXPECT_LT(number_in(text, std::regex("idle\t([0-9.e-]+)\n")), 0.3);
}

// Refuses every character, as a full disk or closed pipe would.
class FailingBuf : public std::streambuf {
 protected:
  int_type overflow(int_type) override { return traits_type::eof(); }
};

TEST(ElapsedTimer, SwallowsAFailingStandardOutput) {
  FailingBuf failing;
  std::streambuf* const saved_buf = std::cout.rdbuf(&failing);
  const auto saved_exceptions = std::cout.exceptions();
  std::cout.exceptions(std::ios_base::badbit);
  EXPECT_NO_THROW({ ElapsedTimer timer("broken"); });
  EXPECT_TRUE(std::cout.bad());
  std::cout.exceptions(saved_exceptions);
  std::cout.clear();
  std::cout.rdbuf(saved_buf);
}

}  // namespace
}  // namespace vorn
