// Date: a calendar date (day, month, year) of the Gregorian calendar.
//
// Dates are validated when built from numbers, step by single days, compare
// chronologically, print as day.month.year and store themselves in an
// Archive as three 32-bit integers. The default value is the null date
// 0.0.0, which is_null() recognises.
//
//   vorn::Date d(28, 2, 2004);          // day, month, year
//   ++d;                                // 29.2.2004 (a leap year)
//   ++d;                                // 1.3.2004
//   d.print(std::cout);                 // prints 1.3.2004
//   if (d > vorn::Date(31, 1, 2004)) { ... }
//   vorn::Date(29, 2, 2003);            // throws "Date::Date: Invalid day."
//
// The constructor sets the month first, then the day (checked against that
// month, with the 29th of February always allowed), then the year (which
// refuses a non-leap year for the 29th of February). Any year is accepted,
// zero and negative ones included, following the Gregorian leap rule
// throughout. The setters check only what they touch: set_month does not
// re-check the day, so a date can be made invalid one field at a time.
//
// A date read from an archive is taken as stored, without validation, and
// prints as stored. Stepping such a date follows the same rules as a valid
// one; where they would need the length of a month outside 1..12 (0 when
// stepping forward), or step a field past the range of int, the step throws
// std::out_of_range and leaves the date unchanged.
//
// Throws std::invalid_argument "Date::Date: Invalid day." and
// "Date::Date: Invalid month." from the constructor and setters, leaving the
// date unchanged; std::runtime_error "This system cannot provide the date.
// (Date::today())" when the clock cannot be read; std::runtime_error from
// read() when fewer than 12 bytes are left in the archive (the date is then
// unchanged), and whatever Archive throws (a closed archive).
#ifndef VORN_TIME_DATE_H_
#define VORN_TIME_DATE_H_

#include <cstdint>
#include <ostream>

#include "vorn/foundation/Export.h"

namespace vorn {

class Archive;

class VORN_API Date {
 public:
  // The null date 0.0.0.
  Date() noexcept = default;
  Date(int day, int month, int year);
  // Reads a date as read() does.
  explicit Date(Archive& archive);

  static Date null() noexcept { return Date(); }
  bool is_null() const noexcept { return day_ == 0 && month_ == 0 && year_ == 0; }

  // Today's date in the local time zone.
  static Date today();

  int day() const noexcept { return day_; }
  int month() const noexcept { return month_; }
  int year() const noexcept { return year_; }

  // Accepts 1 to the length of the current month (29 for February); on the
  // null date, whose month is 0, every day is refused.
  void set_day(int day);
  // Accepts 1 to 12.
  void set_month(int month);
  // Refuses a year that is not a leap year when the date is the 29th of
  // February.
  void set_year(int year);

  static bool leap_year(int year) noexcept;
  bool is_leap_year() const noexcept { return leap_year(year_); }

  // One day forward or back. The null date steps forward to 1.1.0.
  Date& operator++();
  Date& operator--();
  Date operator++(int);
  Date operator--(int);

  bool operator==(const Date& other) const noexcept {
    return day_ == other.day_ && month_ == other.month_ && year_ == other.year_;
  }
  bool operator!=(const Date& other) const noexcept { return !(*this == other); }

  // day "." month "." year as plain decimal numbers in the stream's current
  // formatting, e.g. 5.3.2004; the null date prints as 0.0.0.
  void print(std::ostream& out) const;

  // Three big-endian 32-bit integers: day, month, year.
  void write(Archive& archive) const;
  void read(Archive& archive);

 private:
  std::int32_t day_ = 0;
  std::int32_t month_ = 0;
  std::int32_t year_ = 0;
};

// Chronological order: year, then month, then day.
VORN_API bool operator>(const Date& a, const Date& b) noexcept;
VORN_API bool operator>=(const Date& a, const Date& b) noexcept;
VORN_API bool operator<(const Date& a, const Date& b) noexcept;
VORN_API bool operator<=(const Date& a, const Date& b) noexcept;

// Prints as Date::print does.
VORN_API std::ostream& operator<<(std::ostream& out, const Date& date);

}  // namespace vorn

#endif  // VORN_TIME_DATE_H_
