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
// Calendar arithmetic counts whole days on the proleptic Gregorian calendar
// (year 0 is the year before 1, and a leap year):
//
//   vorn::Date due = vorn::Date(30, 1, 2024) + 30;     // 29.2.2024
//   due -= 365;                                         // 1.3.2023
//   std::int64_t late = vorn::Date::today() - due;      // days, signed
//   due.weekday();                                      // Weekday::wednesday
//   due.to_iso_string();                                // "2023-03-01"
//   vorn::Date::from_iso("2024-02-29");                 // 29.2.2024
//   due.days_since_epoch();                             // 19417 (1970-01-01 is 0)
//   vorn::Date::from_time_point(std::chrono::system_clock::now());  // UTC day
//
// These need a valid date (is_valid(): month 1..12, day within that month of
// that year) and throw std::invalid_argument "Date::<operation>: not a valid
// date: 0.0.0" for the null date or an invalid date read from an archive.
// A result outside the years an int can hold throws std::out_of_range
// ("Date::operator+: ...") and leaves the date unchanged. from_iso reads
// exactly YYYY-MM-DD, or a sign and four or more year digits for years
// outside 0..9999 ("-0044-03-15", "+12345-01-01", as to_iso_string writes
// them), and throws std::invalid_argument "Date::from_iso: not a date:
// '<text>'" for anything else, impossible days included.
//
// Throws std::invalid_argument "Date::Date: Invalid day." and
// "Date::Date: Invalid month." from the constructor and setters, leaving the
// date unchanged; std::runtime_error "This system cannot provide the date.
// (Date::today())" when the clock cannot be read; std::runtime_error from
// read() when fewer than 12 bytes are left in the archive (the date is then
// unchanged), and whatever Archive throws (a closed archive).
#ifndef VORN_TIME_DATE_H_
#define VORN_TIME_DATE_H_

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"

namespace vorn {

class Archive;

// Days of the week, numbered as ISO 8601 does (Monday 1 to Sunday 7).
enum class Weekday : int { monday = 1, tuesday, wednesday, thursday, friday, saturday, sunday };

// "Monday" ... "Sunday"; "?" for a value outside the enumeration.
VORN_API const char* weekday_name(Weekday day) noexcept;

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

  // True when the month is 1..12 and the day exists in that month of that
  // year. The null date is not valid.
  bool is_valid() const noexcept;

  // Moves the date by `days` (negative moves back).
  Date& operator+=(std::int64_t days);
  Date& operator-=(std::int64_t days);

  Weekday weekday() const;

  // Days from 1970-01-01 (day 0) to this date, negative before it; the
  // count std::chrono::sys_days holds in later language versions.
  std::int64_t days_since_epoch() const;
  static Date from_days_since_epoch(std::int64_t days);

  // Midnight UTC at the start of this date; std::out_of_range when the
  // clock's time_point cannot hold it (about 292 years either side of 1970
  // with a nanosecond clock).
  std::chrono::system_clock::time_point to_time_point() const;
  // The UTC calendar date on which `time` falls.
  static Date from_time_point(std::chrono::system_clock::time_point time);

  // "YYYY-MM-DD"; years outside 0..9999 carry a sign and at least four
  // digits ("-0001-12-31", "+10000-01-01").
  std::string to_iso_string() const;
  static Date from_iso(const std::string& text);

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

  // As a persistent item: a "Date" block holding the int items "day",
  // "month" and "year" (in an archive stream, the same 12 bytes as
  // write(Archive&)). Read as stored, without validation.
  void write(const char* tag, PersistentWriteStream& stream) const;
  void read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& stream);

 private:
  friend std::int64_t operator-(const Date& later, const Date& earlier);

  // The days-since-epoch of a valid date; throws naming `operation` when
  // the date is not valid.
  std::int64_t checked_days(const char* operation) const;
  static Date from_days(std::int64_t days, const char* operation);

  std::int32_t day_ = 0;
  std::int32_t month_ = 0;
  std::int32_t year_ = 0;
};

// Chronological order: year, then month, then day.
VORN_API bool operator>(const Date& a, const Date& b) noexcept;
VORN_API bool operator>=(const Date& a, const Date& b) noexcept;
VORN_API bool operator<(const Date& a, const Date& b) noexcept;
VORN_API bool operator<=(const Date& a, const Date& b) noexcept;

// The date `days` later (`d + n`, `n + d`) or earlier (`d - n`).
VORN_API Date operator+(Date date, std::int64_t days);
VORN_API Date operator+(std::int64_t days, Date date);
VORN_API Date operator-(Date date, std::int64_t days);
// The number of days from `earlier` to `later`: negative when `later` comes
// first, so that earlier + (later - earlier) == later.
VORN_API std::int64_t operator-(const Date& later, const Date& earlier);

// Prints as Date::print does.
VORN_API std::ostream& operator<<(std::ostream& out, const Date& date);

}  // namespace vorn

#endif  // VORN_TIME_DATE_H_
