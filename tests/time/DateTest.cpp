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
  out << date;
  return out.str();
}

// The message of the exception `action` throws, or "" when it throws nothing.
template <class Action>
std::string error_of(Action action) {
  try {
    action();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}

TEST(Date, ValidatesMonthThenDayThenYearAndKeepsFailedFields) {
  const std::string day = "Date::Date: Invalid day.", month = "Date::Date: Invalid month.";
  const struct {
    int d, m, y;
    std::string error;
  } cases[] = {
      {29, 2, 2000, ""},   {29, 2, 2004, ""},   {29, 2, -4, ""},      {31, 12, INT_MIN, ""}, {29, 2, 1900, day},
      {29, 2, 2003, day},  {29, 2, -1, day},    {30, 2, 2004, day},   {31, 4, 2004, day},    {0, 1, 2004, day},
      {32, 1, 2004, day},  {1, 13, 2004, month}, {1, 0, 2004, month}, {99, 13, 2004, month}, {0, 0, 0, month},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.d << '.' << c.m << '.' << c.y);
    EXPECT_EQ(error_of([&] { Date(c.d, c.m, c.y); }), c.error);
  }

  Date date;  // the null date allows no day at all
  EXPECT_EQ(error_of([&] { date.set_day(1); }), day);
  EXPECT_TRUE(date.is_null());
  date = Date(29, 2, 2004);
  EXPECT_EQ(error_of([&] { date.set_year(2003); }), day);
  EXPECT_EQ(error_of([&] { date.set_month(13); }), month);
  EXPECT_EQ(error_of([&] { date.set_day(30); }), day);
  EXPECT_EQ(date, Date(29, 2, 2004));
  date = Date(31, 1, 2003);
  date.set_month(2);  // the day is not re-checked
  EXPECT_EQ(text(date), "31.2.2003");
}

// Days since 1 January 1970 of a proleptic Gregorian date, computed from
// 400-year eras independently of Date.
std::int64_t day_number(const Date& date) {
  const std::int64_t y = date.year() - (date.month() <= 2);
  const unsigned m = static_cast<unsigned>(date.month()), d = static_cast<unsigned>(date.day());
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto year_of_era = static_cast<unsigned>(y - era * 400);
  const unsigned day_of_year = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year - 719468;
}

TEST(Date, StepsThroughTheGregorianCalendarOverCenturies) {
  ASSERT_EQ(day_number(Date(1, 1, 1970)), 0);  // the independent count at known points
  ASSERT_EQ(day_number(Date(1, 3, 2000)), 11017);
  ASSERT_EQ(day_number(Date(1, 1, 1)), -719162);

  // Year -800 to 2400, forward and back: every step moves one day in the
  // independent count and keeps the date valid.
  const Date first(1, 1, -800), last(31, 12, 2400);
  const std::int64_t span = day_number(last) - day_number(first);
  Date date = first;
  for (std::int64_t i = 1; i <= span; ++i) {
    const Date before = date++;
    ASSERT_EQ(day_number(date), day_number(first) + i) << "after " << text(before);
    ASSERT_EQ(Date(date.day(), date.month(), date.year()), date) << "after " << text(before);
    ASSERT_TRUE(before < date) << "after " << text(before);
  }
  EXPECT_EQ(date, last);
  for (std::int64_t i = 1; i <= span; ++i) {
    const Date before = date--;
    ASSERT_EQ(day_number(date), day_number(last) - i) << "before " << text(before);
    ASSERT_EQ(Date(date.day(), date.month(), date.year()), date) << "before " << text(before);
  }
  EXPECT_EQ(date, first);

  Date null;
  EXPECT_EQ(null++, Date());  // postfix returns the value before the step
  EXPECT_EQ(null, Date(1, 1, 0));
  Date end(31, 12, INT_MAX);
  EXPECT_EQ(error_of([&] { ++end; }), "Date::operator++: year out of range in the date 31.12.2147483647");
  EXPECT_EQ(end, Date(31, 12, INT_MAX));
}

TEST(Date, ComparesEveryFieldAndPrints) {
  for (const Date& other : {Date(4, 3, 2004), Date(5, 4, 2003), Date(6, 2, 2004), Date(5, 3, 2005)}) {
    SCOPED_TRACE(text(other));
    const Date date(5, 3, 2004), same = date;
    EXPECT_TRUE(date == same && date >= same && date <= same && !(date != same || date < same || date > same));
    EXPECT_TRUE(date != other);
    EXPECT_EQ(date > other, day_number(date) > day_number(other));
    EXPECT_EQ(date < other, !(date > other));
    EXPECT_EQ(date >= other, date > other);
    EXPECT_EQ(date <= other, date < other);
  }
  std::ostringstream out;
  Date(31, 12, -44).print(out);
  out << ' ' << Date() << ' ' << std::hex << Date(15, 12, 2004);
  EXPECT_EQ(out.str(), "31.12.-44 0.0.0 f.c.7d4");
  const Date today = Date::today();
  EXPECT_EQ(Date(today.day(), today.month(), today.year()), today);
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
    const Date first(in);
    Date second;
    second.read(in);
    EXPECT_EQ(first, Date(5, 3, 2004));
    EXPECT_EQ(second, Date(31, 12, -1));
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

}  // namespace
}  // namespace vorn
