#include <climits>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "persistence/TempFile.h"
#include "vorn/persistence/Archive.h"
#include "vorn/time/Date.h"

namespace vorn {
namespace {

std::string text(const Date& date) {
  std::ostringstream out;
  date.print(out);
  return out.str();
}

// Runs `action` and returns the message of the std::invalid_argument it
// throws, or "" when it throws nothing.
template <class Action>
std::string invalid_argument_message(Action action) {
  try {
    action();
  } catch (const std::invalid_argument& e) {
    return e.what();
  }
  return "";
}

const std::string bad_day = "Date::Date: Invalid day.";
const std::string bad_month = "Date::Date: Invalid month.";

TEST(Date, ConstructionValidatesMonthThenDayThenYear) {
  const struct {
    int day, month, year;
    const std::string& error;  // empty: valid
  } cases[] = {
      {29, 2, 2000, {}},        {29, 2, 2004, {}},        {29, 2, 0, {}},
      {29, 2, -4, {}},          {29, 2, 1900, bad_day},   {29, 2, 2003, bad_day},
      {29, 2, -1, bad_day},     {30, 2, 2004, bad_day},   {31, 4, 2004, bad_day},
      {31, 12, 2004, {}},       {1, 1, INT_MIN, {}},      {31, 12, INT_MAX, {}},
      {0, 1, 2004, bad_day},    {32, 1, 2004, bad_day},   {-1, 1, 2004, bad_day},
      {1, 13, 2004, bad_month}, {1, 0, 2004, bad_month},  {99, 13, 2004, bad_month},
      {0, 0, 0, bad_month},     {31, -1, 2004, bad_month},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.day << '.' << c.month << '.' << c.year);
    EXPECT_EQ(invalid_argument_message([&] { Date(c.day, c.month, c.year); }), c.error);
    if (c.error.empty()) {
      const Date date(c.day, c.month, c.year);
      EXPECT_EQ(date.day(), c.day);
      EXPECT_EQ(date.month(), c.month);
      EXPECT_EQ(date.year(), c.year);
    }
  }
}

TEST(Date, FailedSettersLeaveTheDateUnchanged) {
  Date null;
  EXPECT_TRUE(null.is_null());
  EXPECT_EQ(null, Date::null());
  for (int day : {1, 15, 31}) EXPECT_EQ(invalid_argument_message([&] { null.set_day(day); }), bad_day);
  EXPECT_TRUE(null.is_null());

  Date leap(29, 2, 2004);
  EXPECT_EQ(invalid_argument_message([&] { leap.set_year(2003); }), bad_day);
  EXPECT_EQ(invalid_argument_message([&] { leap.set_month(13); }), bad_month);
  EXPECT_EQ(invalid_argument_message([&] { leap.set_day(30); }), bad_day);
  EXPECT_EQ(leap, Date(29, 2, 2004));
  leap.set_year(2008);
  EXPECT_EQ(leap, Date(29, 2, 2008));

  // Each setter checks only its own field.
  Date loose(31, 1, 2003);
  loose.set_month(2);
  EXPECT_EQ(text(loose), "31.2.2003");
  loose.set_year(2003);
  Date feb(28, 2, 2003);
  feb.set_day(29);  // not checked against the year here
  EXPECT_EQ(text(feb), "29.2.2003");
  EXPECT_FALSE(feb.is_null());
}

TEST(Date, LeapYears) {
  const struct {
    int year;
    bool leap;
  } cases[] = {{2000, true}, {2004, true},   {1900, false}, {2003, false}, {2100, false},
               {0, true},    {-4, true},     {-1, false},   {-3, false},   {-100, false},
               {-400, true}, {INT_MIN, true}, {INT_MAX, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.year);
    EXPECT_EQ(Date::leap_year(c.year), c.leap);
    if (c.leap) {
      EXPECT_TRUE(Date(29, 2, c.year).is_leap_year());
    }
  }
}

// Days since 1 January 1970 of a proleptic Gregorian date, computed
// independently of Date from 400-year eras.
std::int64_t days_from_civil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

std::int64_t day_number(const Date& date) {
  return days_from_civil(date.year(), static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

TEST(Date, SteppingFollowsTheGregorianCalendarOverCenturies) {
  // From 1 January 801 BC (year -800) to 31 December 2400, forward and back:
  // every step must move exactly one day in the independent count and keep
  // the date valid.
  const Date first(1, 1, -800);
  const Date last(31, 12, 2400);
  ASSERT_EQ(days_from_civil(1970, 1, 1), 0);  // the count itself, at known points
  ASSERT_EQ(days_from_civil(2000, 3, 1), 11017);
  ASSERT_EQ(days_from_civil(1, 1, 1), -719162);
  const std::int64_t span = day_number(last) - day_number(first);

  Date date = first;
  std::int64_t expected = day_number(first);
  for (std::int64_t i = 0; i < span; ++i) {
    const Date before = date++;
    ++expected;
    ASSERT_EQ(day_number(date), expected) << "after " << text(before);
    ASSERT_EQ(Date(date.day(), date.month(), date.year()), date) << "after " << text(before);
    ASSERT_LT(before, date);
  }
  EXPECT_EQ(date, last);
  for (std::int64_t i = 0; i < span; ++i) {
    const Date before = date--;
    --expected;
    ASSERT_EQ(day_number(date), expected) << "before " << text(before);
    ASSERT_EQ(Date(date.day(), date.month(), date.year()), date) << "before " << text(before);
  }
  EXPECT_EQ(date, first);
}

TEST(Date, StepsAcrossMonthAndYearEnds) {
  const struct {
    Date from;
    Date next;
  } cases[] = {
      {Date(28, 2, 2003), Date(1, 3, 2003)},   {Date(28, 2, 2004), Date(29, 2, 2004)},
      {Date(29, 2, 2004), Date(1, 3, 2004)},   {Date(28, 2, 1900), Date(1, 3, 1900)},
      {Date(28, 2, 2000), Date(29, 2, 2000)},  {Date(31, 12, 2004), Date(1, 1, 2005)},
      {Date(30, 4, 2004), Date(1, 5, 2004)},   {Date(31, 12, -1), Date(1, 1, 0)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(text(c.from));
    Date d = c.from;
    EXPECT_EQ(++d, c.next);
    EXPECT_EQ(--d, c.from);
    EXPECT_EQ(d++, c.from);  // postfix returns the value before the step
    EXPECT_EQ(d, c.next);
    EXPECT_EQ(d--, c.next);
    EXPECT_EQ(d, c.from);
  }
  Date null;
  EXPECT_EQ(++null, Date(1, 1, 0));
}

TEST(Date, ComparesChronologically) {
  const struct {
    Date a;
    Date b;
    int order;  // sign of a - b
  } cases[] = {
      {Date(1, 2, 2004), Date(31, 1, 2004), 1},  {Date(31, 12, 2003), Date(1, 1, 2004), -1},
      {Date(5, 3, 2004), Date(5, 3, 2004), 0},   {Date(5, 3, 2004), Date(6, 3, 2004), -1},
      {Date(1, 1, -5), Date(31, 12, -6), 1},     {Date(), Date(1, 1, 0), -1},
      {Date(5, 3, 2004), Date(5, 4, 2003), 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(text(c.a) + " vs " + text(c.b));
    EXPECT_EQ(c.a == c.b, c.order == 0);
    EXPECT_EQ(c.a != c.b, c.order != 0);
    EXPECT_EQ(c.a > c.b, c.order > 0);
    EXPECT_EQ(c.a >= c.b, c.order >= 0);
    EXPECT_EQ(c.a < c.b, c.order < 0);
    EXPECT_EQ(c.a <= c.b, c.order <= 0);
  }
}

TEST(Date, PrintsDayMonthYearInTheStreamsFormatting) {
  EXPECT_EQ(text(Date(5, 3, 2004)), "5.3.2004");
  EXPECT_EQ(text(Date(31, 12, -44)), "31.12.-44");
  EXPECT_EQ(text(Date()), "0.0.0");

  std::ostringstream out;
  out << std::hex << Date(15, 12, 2004) << ' ' << std::dec << std::setfill('0') << std::setw(2) << Date(5, 3, 2004);
  EXPECT_EQ(out.str(), "f.c.7d4 05.3.2004");
}

TEST(Date, TodayIsAValidDate) {
  const Date today = Date::today();
  EXPECT_EQ(Date(today.day(), today.month(), today.year()), today);
  EXPECT_GE(today.year(), 2024);
}

using test::Bytes;
using test::TempFile;

TEST(DateArchive, WritesThreeBigEndianIntegersAndReadsThemBack) {
  TempFile file;
  {
    Archive out(file.name(), Archive::WRITE);
    Date(5, 3, 2004).write(out);
    Date(31, 12, -1).write(out);
    Date().write(out);
  }
  EXPECT_EQ(file.bytes(), (Bytes{0, 0, 0, 5,    0,    0,    0,    3,    0, 0, 0x07, 0xD4,  //
                                 0, 0, 0, 31,   0,    0,    0,    12,   0xFF, 0xFF, 0xFF, 0xFF,  //
                                 0, 0, 0, 0,    0,    0,    0,    0,    0, 0, 0, 0}));

  Archive in(file.name(), Archive::READ);
  const Date first(in);
  Date second(1, 1, 1);
  second.read(in);
  const Date third(in);
  EXPECT_EQ(first, Date(5, 3, 2004));
  EXPECT_EQ(second, Date(31, 12, -1));
  EXPECT_TRUE(third.is_null());
  EXPECT_TRUE(in.at_end());
  EXPECT_FALSE(in.failed());
}

TEST(DateArchive, StoredDatesAreTakenAsTheyAre) {
  TempFile file;
  file.set_bytes({0, 0, 0, 99, 0, 0, 0, 13, 0xFF, 0xFF, 0xFF, 0xFB,                       // 99.13.-5
                  0, 0, 0, 30, 0, 0, 0, 2, 0, 0, 0x07, 0xD3,                               // 30.2.2003
                  0x80, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1,                                   // INT_MIN.1.1
                  0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1, 0, 0, 0, 1,                          // INT_MAX.1.1
                  0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 5});                                    // 1.0.5
  Archive in(file.name(), Archive::READ);

  Date odd(in);
  EXPECT_EQ(text(odd), "99.13.-5");
  EXPECT_THROW(++odd, std::out_of_range);
  EXPECT_EQ(text(odd), "99.13.-5");
  EXPECT_EQ(text(--odd), "98.13.-5");  // no month length needed

  Date february(in);
  EXPECT_EQ(text(february), "30.2.2003");
  EXPECT_EQ(text(++february), "1.3.2003");

  Date lowest(in);
  try {
    --lowest;
    FAIL() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_EQ(std::string(e.what()), "Date::operator--: invalid day in the date -2147483648.1.1");
  }
  EXPECT_EQ(lowest.day(), INT_MIN);

  Date highest(in);
  EXPECT_EQ(text(++highest), "1.2.1");

  Date month_zero(in);
  EXPECT_THROW(--month_zero, std::out_of_range);
  EXPECT_EQ(text(month_zero), "1.0.5");
  EXPECT_EQ(text(++month_zero), "1.1.5");
}

TEST(DateArchive, RefusesATruncatedDate) {
  TempFile file;
  file.set_bytes({0, 0, 0, 5, 0, 0, 0, 3, 0, 0, 0x07});
  Archive in(file.name(), Archive::READ);
  Date date(1, 1, 2000);
  try {
    date.read(in);
    FAIL() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_EQ(std::string(e.what()), "Date::read: the archive ends before the date (11 of 12 bytes left)");
  }
  EXPECT_EQ(date, Date(1, 1, 2000));
  EXPECT_EQ(in.bytes_remaining(), 11u);
}

TEST(Date, SteppingPastTheRangeOfYearsThrows) {
  Date last(31, 12, INT_MAX);
  EXPECT_THROW(++last, std::out_of_range);
  EXPECT_EQ(last, Date(31, 12, INT_MAX));
  Date first(1, 1, INT_MIN);
  try {
    first--;
    FAIL() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_EQ(std::string(e.what()), "Date::operator--: year out of range in the date 1.1.-2147483648");
  }
  EXPECT_EQ(first, Date(1, 1, INT_MIN));
  EXPECT_EQ(--Date(2, 1, INT_MIN), first);
}

}  // namespace
}  // namespace vorn
