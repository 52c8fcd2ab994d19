#include <chrono>
#include <climits>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vorn/time/Date.h"

namespace vorn {
namespace {

using testing::error_of;

TEST(DateArithmetic, StepsAcrossMonthYearAndLeapBoundaries) {
  const struct { const char* name; Date from; std::int64_t days; Date want; } cases[] = {
      {"onto a leap day", Date(28, 2, 2024), 1, Date(29, 2, 2024)},
      {"over February of a common year", Date(28, 2, 2023), 1, Date(1, 3, 2023)},
      {"century that is not a leap year", Date(28, 2, 1900), 1, Date(1, 3, 1900)},
      {"century that is a leap year", Date(28, 2, 2000), 1, Date(29, 2, 2000)},
      {"into the next year", Date(31, 12, 2004), 1, Date(1, 1, 2005)},
      {"back onto a leap day", Date(1, 3, 2024), -1, Date(29, 2, 2024)},
      {"back into year zero", Date(1, 1, 1), -1, Date(31, 12, 0)},
      {"negative years", Date(1, 3, -4), -1, Date(29, 2, -4)},
      {"one 400-year cycle", Date(1, 1, 2000), 146097, Date(1, 1, 2400)},
      {"nothing", Date(17, 8, 1999), 0, Date(17, 8, 1999)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.from + c.days, c.want);
    EXPECT_EQ(c.days + c.from, c.want);
    EXPECT_EQ(c.want - c.days, c.from);
    EXPECT_EQ(c.want - c.from, c.days);
    Date moved = c.from;
    moved += c.days;
    EXPECT_EQ(moved, c.want);
  }
}

// The day count both ways and the weekday; the rows cover every weekday.
TEST(DateArithmetic, DayCountsFromTheEpochAndWeekdays) {
  const struct { const char* name; Date date; std::int64_t days; const char* weekday; } cases[] = {
      {"the epoch", Date(1, 1, 1970), 0, "Thursday"},
      {"the day before", Date(31, 12, 1969), -1, "Wednesday"},
      {"a leap day", Date(29, 2, 2000), 11016, "Tuesday"},
      {"a Sunday", Date(3, 3, 2024), 19785, "Sunday"},
      {"Gregorian start", Date(15, 10, 1582), -141427, "Friday"},
      {"year one", Date(1, 1, 1), -719162, "Monday"},
      {"year zero, after its leap day", Date(1, 3, 0), -719468, "Wednesday"},
      {"five-digit year", Date(1, 1, 10000), 2932897, "Saturday"},
      {"the last day a Date holds", Date(31, 12, INT_MAX), 784351576776, "Tuesday"},
      {"the first day a Date holds", Date(1, 1, INT_MIN), -784353015833, "Tuesday"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.date.days_since_epoch(), c.days);
    EXPECT_EQ(Date::from_days_since_epoch(c.days), c.date);
    EXPECT_STREQ(weekday_name(c.date.weekday()), c.weekday);
  }
  EXPECT_EQ(Date(1, 1, 1970).weekday(), Weekday::thursday);
  EXPECT_STREQ(weekday_name(static_cast<Weekday>(0)), "?");
}

TEST(DateArithmetic, IsoTextRoundTrips) {
  const struct { const char* name; Date date; const char* text; } cases[] = {
      {"ordinary", Date(5, 3, 2004), "2004-03-05"},
      {"year zero", Date(1, 1, 0), "0000-01-01"},
      {"negative year", Date(15, 3, -44), "-0044-03-15"},
      {"five-digit year", Date(1, 1, 10000), "+10000-01-01"},
      {"smallest year", Date(1, 1, INT_MIN), "-2147483648-01-01"},
      {"largest year", Date(31, 12, INT_MAX), "+2147483647-12-31"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.date.to_iso_string(), c.text);
    EXPECT_EQ(Date::from_iso(c.text), c.date);
  }
}

TEST(DateArithmetic, IsoTextThatIsNotADateIsRefused) {
  const struct { const char* name; std::string text; } cases[] = {
      {"month 13", "2024-13-01"},
      {"leap day of a common year", "2023-02-29"},
      {"one-digit month", "2024-1-01"},
      {"two-digit year", "24-01-01"},
      {"five digits without a sign", "12345-01-01"},
      {"other separators", "2024/01/01"},
      {"a time after it", "2024-01-01T00:00"},
      {"empty", ""},
      {"a sign alone", "-"},
      {"year beyond an int", "+2147483648-01-01"},
      {"year below an int", "-2147483649-01-01"},
      {"twenty-digit year", "+99999999999999999999-01-01"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(error_of([&] { Date::from_iso(c.text); }), "Date::from_iso: not a date: '" + c.text + "'");
  }
  EXPECT_EQ(error_of([] { Date::from_iso(std::string(100, '7')); }),
            "Date::from_iso: not a date: '" + std::string(64, '7') + "...'");
  EXPECT_THROW(Date::from_iso("2024-13-01"), std::invalid_argument);
}

TEST(DateArithmetic, RefusesInvalidDatesAndResultsBeyondTheYears) {
  const Date last(31, 12, INT_MAX);
  const Date first(1, 1, INT_MIN);
  const Date mid(1, 1, 2000);
  const struct { const char* name; std::string message; std::string want; } cases[] = {
      {"after the last day", error_of([&] { (void)(last + 1); }),
       "Date::operator+: 31.12.2147483647 + 1 days is outside the years a Date can hold"},
      {"before the first day", error_of([&] { (void)(first - 1); }),
       "Date::operator-: 1.1.-2147483648 - 1 days is outside the years a Date can hold"},
      {"adding the largest count", error_of([&] { (void)(mid + INT64_MAX); }),
       "Date::operator+: 1.1.2000 + 9223372036854775807 days is outside the years a Date can hold"},
      {"subtracting the smallest count", error_of([&] { (void)(mid - INT64_MIN); }),
       "Date::operator-: 1.1.2000 - -9223372036854775808 days is outside the years a Date can hold"},
      {"a day count too far", error_of([] { Date::from_days_since_epoch(INT64_MIN); }),
       "Date::from_days_since_epoch: day -9223372036854775808 from 1970-01-01 is outside the years a Date can "
       "hold"},
      {"null date plus days", error_of([] { (void)(Date() + 1); }), "Date::operator+: not a valid date: 0.0.0"},
      {"difference with a null date", error_of([&] { (void)(mid - Date()); }),
       "Date::operator-: not a valid date: 0.0.0"},
      {"weekday of a null date", error_of([] { Date().weekday(); }), "Date::weekday: not a valid date: 0.0.0"},
      {"ISO text of a null date", error_of([] { Date().to_iso_string(); }),
       "Date::to_iso_string: not a valid date: 0.0.0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.message, c.want);
  }
  EXPECT_EQ(first + (last - first), last) << "the whole range is reachable";
  Date kept = last;
  EXPECT_THROW(kept += 1, std::out_of_range);
  EXPECT_EQ(kept, last) << "a refused step leaves the date unchanged";
}

TEST(DateArithmetic, ConvertsToAndFromSystemClockTimePoints) {
  using std::chrono::system_clock;
  const system_clock::time_point epoch{};
  const struct { const char* name; system_clock::time_point time; Date want; } cases[] = {
      {"the epoch", epoch, Date(1, 1, 1970)},
      {"the last instant before it", epoch - std::chrono::nanoseconds(1), Date(31, 12, 1969)},
      {"a day and a half later", epoch + std::chrono::hours(36), Date(2, 1, 1970)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Date::from_time_point(c.time), c.want);
  }
  EXPECT_EQ(Date(2, 1, 1970).to_time_point(), epoch + std::chrono::hours(24));
  EXPECT_EQ(error_of([] { Date(1, 1, 300000).to_time_point(); }),
            "Date::to_time_point: 1.1.300000 is outside what std::chrono::system_clock can hold");
}

}  // namespace
}  // namespace vorn
