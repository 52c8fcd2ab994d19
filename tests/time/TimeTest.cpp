#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "support/TestSupport.h"
#include "vorn/persistence/Archive.h"
#include "vorn/time/Date.h"
#include "vorn/time/ElapsedTimer.h"
#include "vorn/time/ElapsedWallTimer.h"
#include "vorn/time/Timer.h"
#include "vorn/time/WallTimer.h"

namespace vorn {
namespace {

std::string text(const Date& date) {
  std::ostringstream out;
  out << date;
  return out.str();
}

using testing::error_of;

TEST(Date, ValidatesMonthThenDayThenYearKeepsFailedFieldsAndPrints) {
  const std::string day = "Date::Date: Invalid day.", month = "Date::Date: Invalid month.";
  const struct { int d, m, y; std::string error; } cases[] = {
      {29, 2, 2000, ""}, {29, 2, -4, ""}, {31, 12, INT_MIN, ""}, {29, 2, 1900, day},   {29, 2, -1, day},
      {30, 2, 2004, day}, {31, 4, 2004, day}, {0, 1, 2004, day}, {32, 1, 2004, day},  {1, 13, 2004, month},
      {1, 0, 2004, month}, {0, 0, 0, month},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(error_of([&] { Date(c.d, c.m, c.y); }), c.error) << c.d << '.' << c.m << '.' << c.y;
  }
  Date date;  // the null date allows no day at all
  EXPECT_EQ(error_of([&] { date.set_day(1); }), day);
  EXPECT_TRUE(date.is_null());
  date = Date(29, 2, 2004);
  EXPECT_EQ(error_of([&] { date.set_year(2003); }) + error_of([&] { date.set_month(13); }) +
                error_of([&] { date.set_day(30); }),
            day + month + day);
  EXPECT_EQ(text(date), "29.2.2004");
  date = Date(31, 1, 2003);
  date.set_month(2);  // the day is not re-checked
  std::ostringstream out;
  date.print(out);
  out << ' ' << Date() << ' ' << Date(31, 12, -44) << ' ' << std::hex << Date(15, 12, 2004);
  EXPECT_EQ(out.str(), "31.2.2003 0.0.0 31.12.-44 f.c.7d4");
  const Date today = Date::today();
  EXPECT_EQ(Date(today.day(), today.month(), today.year()), today);
}

// The day count from the epoch works on 400-year eras, the steps on the
// fields: year -400 to 2400, forward and back, every step moves one day in
// the count (itself pinned at known days in DateArithmeticTest) and keeps the
// date valid; consecutive dates differing in the day, the month or the year
// compare in that order.
TEST(Date, StepsThroughTheGregorianCalendarOverCenturies) {
  const Date first(1, 1, -400), last(31, 12, 2400);
  const std::int64_t span = last.days_since_epoch() - first.days_since_epoch();
  Date date = first;
  for (std::int64_t i = 1; i <= span; ++i) {
    const Date before = date++;
    ASSERT_EQ(date.days_since_epoch(), first.days_since_epoch() + i) << "after " << text(before);
    ASSERT_EQ(Date(date.day(), date.month(), date.year()), date) << "after " << text(before);
    ASSERT_TRUE(before < date && date > before && before <= date && date >= before && before != date &&
                !(date < before || before > date || date <= before || before >= date || date == before) &&
                date <= date && date >= date && !(date < date || date > date))
        << text(date);
  }
  EXPECT_EQ(date, last);
  for (std::int64_t i = 1; i <= span; ++i) {
    const Date before = date--;
    ASSERT_EQ(date.days_since_epoch(), last.days_since_epoch() - i) << "before " << text(before);
  }
  EXPECT_EQ(date, first);

  Date null;
  const Date before = null++;  // postfix returns the value before the step
  EXPECT_EQ(text(before) + " " + text(null), "0.0.0 1.1.0");
  Date end(31, 12, INT_MAX);
  EXPECT_EQ(error_of([&] { ++end; }), "Date::operator++: year out of range in the date 31.12.2147483647");
  EXPECT_EQ(end, Date(31, 12, INT_MAX));
}

TEST(Date, ArchiveFormIsThreeBigEndianIntegersTakenAsStored) {
  test::TempFile file;
  {
    Archive out(file.name(), Archive::WRITE);
    Date(5, 3, 2004).write(out);
    Date(31, 12, -1).write(out);
  }
  EXPECT_EQ(file.bytes(), (test::Bytes{0, 0, 0, 5, 0, 0, 0, 3, 0, 0, 0x07, 0xD4,  //
                                       0, 0, 0, 31, 0, 0, 0, 12, 0xFF, 0xFF, 0xFF, 0xFF}));
  {
    Archive in(file.name(), Archive::READ);
    Date first(in), second;
    second.read(in);
    EXPECT_EQ(text(first) + " " + text(second), "5.3.2004 31.12.-1");
  }

  // Invalid dates come back as stored; stepping them never reads outside
  // the month table.
  file.set_bytes({0, 0, 0, 99, 0, 0, 0, 13, 0xFF, 0xFF, 0xFF, 0xFB,  // 99.13.-5
                  0, 0, 0, 30, 0, 0, 0, 2, 0, 0, 0x07, 0xD3,         // 30.2.2003
                  0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 5,                // 1.0.5
                  0, 0, 0, 7, 0, 0, 0, 1});                          // truncated
  Archive in(file.name(), Archive::READ);
  Date odd(in), february(in), month_zero(in);
  EXPECT_EQ(text(odd), "99.13.-5");
  EXPECT_EQ(error_of([&] { ++odd; }), "Date::operator++: invalid month in the date 99.13.-5");
  EXPECT_EQ(text(--odd), "98.13.-5");
  EXPECT_EQ(text(++february), "1.3.2003");
  EXPECT_EQ(error_of([&] { --month_zero; }), "Date::operator--: invalid month in the date 1.0.5");
  EXPECT_EQ(text(++month_zero), "1.1.5");
  EXPECT_EQ(error_of([&] { odd.read(in); }), "Date::read: the archive ends before the date (8 of 12 bytes left)");
  EXPECT_EQ(text(odd), "98.13.-5");
}

TEST(Timer, FormatSplitsIntoUnitsAndPluralisesOnTheText) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> cases[] = {
      {0, "0 seconds"}, {1, "1 second"}, {1.5, "1.5 seconds"}, {60, "1 minute"}, {86400.5, "1 day, 0.5 seconds"},
      {2 * 604800 + 3 * 86400 + 4 * 3600 + 5 * 60 + 6, "2 weeks, 3 days, 4 hours, 5 minutes, 6 seconds"},
      {1.0000001, "1 second"}, {59.9999999, "60 seconds"}, {1e-7, "1e-07 seconds"}, {-1, "-1 seconds"},
      {-90, "-1 minutes, -30 seconds"},
      // Too large to split into whole weeks: written whole.
      {inf, "inf seconds"}, {-inf, "-inf seconds"}, {2147483647.0 * 604800, "2147483647 weeks"},
  };
  for (const auto& [seconds, text] : cases) EXPECT_EQ(Timer::format(seconds), text) << seconds;
}

TEST(Timer, DurationIsTakenInThirtyTwoBitArithmetic) {
  struct Case { long start, now; double seconds; };
  std::vector<Case> cases = {
      {0, 0, 0.0}, {1000000, 3500000, 2.5}, {3000000, 1000000, -2.0},
      {INT32_MAX - 499999L, static_cast<long>(INT32_MIN) + 500000L, 1.0},  // the clock wrapped
  };
  if constexpr (sizeof(long) > 4) {  // high bits ignored; a 32-bit long has none
    const long long high = 0x100000000LL;
    cases.push_back({0, static_cast<long>(high + 5000000), 5.0});
    cases.push_back({static_cast<long>(3 * high + 1000000), 4000000L, 3.0});
  }
  for (const Case& c : cases) {
    Timer timer;
    timer.set_start(c.start);
    EXPECT_DOUBLE_EQ(timer.duration(c.now), c.seconds) << c.now;
  }
}

// The line a timer of type `T` printed over `body`.
template <class T = ElapsedTimer, class Body>
std::string timed(const char* label, ElapsedTimer::OutputFormat format, Body body) {
  testing::ScopedStreamCapture capture(std::cout);
  {
    T timer(label, format);
    body();
  }
  return capture.text();
}

// The number between `prefix` and `suffix` in `line`; NaN when the line does
// not have that form.
double seconds_in(const std::string& line, const std::string& prefix, const std::string& suffix) {
  const bool framed = line.size() > prefix.size() + suffix.size() && line.rfind(prefix, 0) == 0 &&
                      line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0;
  const std::string number = framed ? line.substr(prefix.size(), line.size() - prefix.size() - suffix.size()) : "";
  char* end = nullptr;
  const double value = std::strtod(number.c_str(), &end);
  return framed && *end == '\0' ? value : std::numeric_limits<double>::quiet_NaN();
}

TEST(ElapsedTimer, PrintsProcessorTimeOnly) {
  const auto burn = [] {
    const std::clock_t start = std::clock();
    volatile double sink = 0;
    while (std::clock() - start < CLOCKS_PER_SEC / 20) sink = sink + 1;
  };
  const auto sleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(400)); };
  EXPECT_GE(seconds_in(timed("load", ElapsedTimer::verbose, burn), "Elapsed time for 'load' = ", " seconds.\n"), 0.05);
  EXPECT_GE(seconds_in(timed("fit peaks", ElapsedTimer::tab_separated, burn), "fit peaks\t", "\n"), 0.05);
  EXPECT_LT(seconds_in(timed("idle", ElapsedTimer::tab_separated, sleep), "idle\t", "\n"), 0.3);
  EXPECT_EQ(timed("quiet", static_cast<ElapsedTimer::OutputFormat>(2), [] {}), "");
}

TEST(ElapsedWallTimer, PrintsTimeSpentWaiting) {
  const auto nap = [] { std::this_thread::sleep_for(std::chrono::milliseconds(60)); };
  EXPECT_GE(seconds_in(timed<ElapsedWallTimer>("nap", ElapsedTimer::verbose, nap),
                       "Elapsed wall-clock time for 'nap' = ", " seconds.\n"),
            0.05);
}

TEST(WallTimer, MeasuresTheReadingsItIsGiven) {
  const WallTimer::Clock::time_point start{};
  const WallTimer timer(start);
  EXPECT_DOUBLE_EQ(timer.duration(start + std::chrono::milliseconds(1500)), 1.5);
  EXPECT_DOUBLE_EQ(timer.duration(start - std::chrono::seconds(2)), -2.0);
}

}  // namespace
}  // namespace vorn
