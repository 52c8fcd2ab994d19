#include "vorn/time/Date.h"

#include <cctype>
#include <climits>
#include <cstddef>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>

#include "vorn/persistence/Archive.h"

namespace vorn {

namespace {

// Days per month, indexed by month; February is listed with 29 and the 29th
// refused separately for years that are not leap years.
constexpr int days_per_month[13] = {0, 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

[[noreturn]] void invalid_day_error() { throw std::invalid_argument("Date::Date: Invalid day."); }
[[noreturn]] void invalid_month_error() { throw std::invalid_argument("Date::Date: Invalid month."); }

[[noreturn]] void step_error(const char* operation, const char* problem, int day, int month, int year) {
  std::ostringstream message;
  message << "Date::" << operation << ": " << problem << " in the date " << day << '.' << month << '.' << year;
  throw std::out_of_range(message.str());
}

// Days from 1970-01-01 to the given proleptic Gregorian date, in 64-bit
// arithmetic so that every int year fits. Counts in 400-year eras of 146097
// days, with years starting on the 1st of March so that the leap day ends
// the year.
std::int64_t days_from_civil(std::int64_t year, std::int64_t month, std::int64_t day) noexcept {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t year_of_era = year - era * 400;                                               // 0..399
  const std::int64_t day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;  // 0..365
  const std::int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

struct Civil {
  std::int64_t year;
  int month;
  int day;
};

// The inverse of days_from_civil.
Civil civil_from_days(std::int64_t days) noexcept {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t day_of_era = days - era * 146097;  // 0..146096
  const std::int64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t shifted_month = (5 * day_of_year + 2) / 153;  // 0 is March
  const int day = static_cast<int>(day_of_year - (153 * shifted_month + 2) / 5 + 1);
  const int month = static_cast<int>(shifted_month < 10 ? shifted_month + 3 : shifted_month - 9);
  return Civil{year_of_era + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

// The first and last day a Date can hold.
const std::int64_t first_day = days_from_civil(INT_MIN, 1, 1);
const std::int64_t last_day = days_from_civil(INT_MAX, 12, 31);

using DayDuration = std::chrono::duration<std::int64_t, std::ratio<86400>>;

[[noreturn]] void not_valid_error(const char* operation, const Date& date) {
  std::ostringstream message;
  message << "Date::" << operation << ": not a valid date: " << date;
  throw std::invalid_argument(message.str());
}

[[noreturn]] void range_error(const char* operation, const std::string& what) {
  throw std::out_of_range("Date::" + std::string(operation) + ": " + what + " is outside the years a Date can hold");
}

// Reads `count` or more decimal digits from text[pos] on (exactly `count`
// when `exact`) into `value`; false when there are too few, too many or the
// value exceeds `limit`.
bool read_digits(const std::string& text, std::size_t& pos, std::size_t count, bool exact, std::int64_t limit,
                 std::int64_t& value) {
  const std::size_t start = pos;
  value = 0;
  while (pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos])) != 0) {
    value = value * 10 + (text[pos] - '0');
    if (value > limit) return false;
    ++pos;
  }
  const std::size_t length = pos - start;
  return exact ? length == count : length >= count;
}

[[noreturn]] void not_iso_error(const std::string& text) {
  // Long input is cut in the message; the point is to show what was wrong.
  constexpr std::size_t shown = 64;
  std::string quoted = text.size() > shown ? text.substr(0, shown) + "..." : text;
  throw std::invalid_argument("Date::from_iso: not a date: '" + quoted + "'");
}

}  // namespace

Date::Date(int day, int month, int year) {
  set_month(month);
  set_day(day);
  set_year(year);
}

Date::Date(Archive& archive) { read(archive); }

Date Date::today() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (now == static_cast<std::time_t>(-1) || localtime_r(&now, &local) == nullptr) {
    throw std::runtime_error("This system cannot provide the date. (Date::today())");
  }
  return Date(local.tm_mday, local.tm_mon + 1, local.tm_year + 1900);
}

void Date::set_day(int day) {
  // The month is 0..12 whenever set through set_month; a month read from an
  // archive may be anything and allows no day.
  const bool month_known = month_ >= 0 && month_ <= 12;
  if (!month_known || day < 1 || day > days_per_month[month_]) invalid_day_error();
  day_ = day;
}

void Date::set_month(int month) {
  if (month < 1 || month > 12) invalid_month_error();
  month_ = month;
}

void Date::set_year(int year) {
  if (month_ == 2 && day_ == 29 && !leap_year(year)) invalid_day_error();
  year_ = year;
}

bool Date::leap_year(int year) noexcept {
  if ((year & 3) != 0) return false;
  if (year % 400 == 0) return true;
  return year % 100 != 0;
}

Date& Date::operator++() {
  if (month_ < 0 || month_ > 12) step_error("operator++", "invalid month", day_, month_, year_);
  // Comparing before adding gives the same result as adding first and keeps
  // a stored day of INT_MAX from overflowing.
  if (day_ >= days_per_month[month_]) {
    if (month_ == 12 && year_ == INT_MAX) step_error("operator++", "year out of range", day_, month_, year_);
    day_ = 1;
    if (++month_ > 12) {
      month_ = 1;
      ++year_;
    }
  } else {
    ++day_;
  }
  if (month_ == 2 && day_ == 29 && !leap_year(year_)) {
    day_ = 1;
    month_ = 3;
  }
  return *this;
}

Date& Date::operator--() {
  if (day_ == INT_MIN) step_error("operator--", "invalid day", day_, month_, year_);
  if (day_ != 1) {
    --day_;
    return *this;
  }
  if (month_ < 1 || month_ > 12) step_error("operator--", "invalid month", day_, month_, year_);
  if (month_ == 1 && year_ == INT_MIN) step_error("operator--", "year out of range", day_, month_, year_);
  if (--month_ == 0) {
    month_ = 12;
    --year_;
  }
  day_ = days_per_month[month_];
  if (month_ == 2 && day_ == 29 && !leap_year(year_)) day_ = 28;
  return *this;
}

Date Date::operator++(int) {
  Date before = *this;
  ++*this;
  return before;
}

Date Date::operator--(int) {
  Date before = *this;
  --*this;
  return before;
}

bool Date::is_valid() const noexcept {
  if (month_ < 1 || month_ > 12 || day_ < 1 || day_ > days_per_month[month_]) return false;
  return !(month_ == 2 && day_ == 29 && !leap_year(year_));
}

std::int64_t Date::checked_days(const char* operation) const {
  if (!is_valid()) not_valid_error(operation, *this);
  return days_from_civil(year_, month_, day_);
}

Date Date::from_days(std::int64_t days, const char* operation) {
  if (days < first_day || days > last_day) range_error(operation, "day " + std::to_string(days) + " from 1970-01-01");
  const Civil civil = civil_from_days(days);
  Date date;
  date.day_ = civil.day;
  date.month_ = civil.month;
  date.year_ = static_cast<std::int32_t>(civil.year);
  return date;
}

Date& Date::operator+=(std::int64_t days) {
  const std::int64_t from = checked_days("operator+");
  // Checked against the limits before adding, so that the sum cannot
  // overflow whatever `days` is.
  if (days > last_day - from || days < first_day - from) {
    std::ostringstream what;
    what << *this << " + " << days << " days";
    range_error("operator+", what.str());
  }
  *this = from_days(from + days, "operator+");
  return *this;
}

Date& Date::operator-=(std::int64_t days) {
  const std::int64_t from = checked_days("operator-");
  if (days < from - last_day || days > from - first_day) {
    std::ostringstream what;
    what << *this << " - " << days << " days";
    range_error("operator-", what.str());
  }
  *this = from_days(from - days, "operator-");
  return *this;
}

Weekday Date::weekday() const {
  const std::int64_t days = checked_days("weekday");
  // 1970-01-01 was a Thursday (ISO day 4).
  const std::int64_t from_monday = ((days + 3) % 7 + 7) % 7;
  return static_cast<Weekday>(from_monday + 1);
}

std::int64_t Date::days_since_epoch() const { return checked_days("days_since_epoch"); }

Date Date::from_days_since_epoch(std::int64_t days) { return from_days(days, "from_days_since_epoch"); }

std::chrono::system_clock::time_point Date::to_time_point() const {
  using std::chrono::system_clock;
  const std::int64_t days = checked_days("to_time_point");
  const std::int64_t latest =
      std::chrono::floor<DayDuration>(system_clock::time_point::max().time_since_epoch()).count();
  const std::int64_t earliest =
      std::chrono::ceil<DayDuration>(system_clock::time_point::min().time_since_epoch()).count();
  if (days > latest || days < earliest) {
    std::ostringstream message;
    message << "Date::to_time_point: " << *this << " is outside what std::chrono::system_clock can hold";
    throw std::out_of_range(message.str());
  }
  return system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(DayDuration(days)));
}

Date Date::from_time_point(std::chrono::system_clock::time_point time) {
  // floor, not duration_cast: an instant before 1970 belongs to the day that
  // started before it.
  return from_days(std::chrono::floor<DayDuration>(time.time_since_epoch()).count(), "from_time_point");
}

std::string Date::to_iso_string() const {
  checked_days("to_iso_string");
  std::ostringstream out;
  const std::int64_t year = year_;
  if (year < 0) {
    out << '-';
  } else if (year > 9999) {
    out << '+';
  }
  out << std::setfill('0') << std::setw(4) << (year < 0 ? -year : year) << '-' << std::setw(2) << month_ << '-'
      << std::setw(2) << day_;
  return out.str();
}

Date Date::from_iso(const std::string& text) {
  std::size_t pos = 0;
  bool negative = false;
  bool signed_year = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    negative = text[0] == '-';
    signed_year = true;
    ++pos;
  }
  std::int64_t year = 0;
  std::int64_t month = 0;
  std::int64_t day = 0;
  const std::int64_t year_limit = negative ? -static_cast<std::int64_t>(INT_MIN) : INT_MAX;
  const std::size_t year_start = pos;
  if (!read_digits(text, pos, 4, false, year_limit, year)) not_iso_error(text);
  // Only a signed year may take more than four digits, as ISO 8601 expands.
  if (!signed_year && pos - year_start != 4) not_iso_error(text);
  if (pos >= text.size() || text[pos++] != '-') not_iso_error(text);
  if (!read_digits(text, pos, 2, true, 99, month)) not_iso_error(text);
  if (pos >= text.size() || text[pos++] != '-') not_iso_error(text);
  if (!read_digits(text, pos, 2, true, 99, day)) not_iso_error(text);
  if (pos != text.size()) not_iso_error(text);

  Date date;
  date.day_ = static_cast<std::int32_t>(day);
  date.month_ = static_cast<std::int32_t>(month);
  date.year_ = static_cast<std::int32_t>(negative ? -year : year);
  if (!date.is_valid()) not_iso_error(text);
  return date;
}

const char* weekday_name(Weekday day) noexcept {
  static const char* const names[] = {"Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"};
  const int index = static_cast<int>(day) - 1;
  return index >= 0 && index < 7 ? names[index] : "?";
}

Date operator+(Date date, std::int64_t days) { return date += days; }
Date operator+(std::int64_t days, Date date) { return date += days; }
Date operator-(Date date, std::int64_t days) { return date -= days; }

std::int64_t operator-(const Date& later, const Date& earlier) {
  return later.checked_days("operator-") - earlier.checked_days("operator-");
}

void Date::print(std::ostream& out) const { out << day_ << '.' << month_ << '.' << year_; }

void Date::write(Archive& archive) const {
  archive << static_cast<int>(day_) << static_cast<int>(month_) << static_cast<int>(year_);
}

void Date::write(const char* tag, PersistentWriteStream& stream) const {
  PersistentWriteStream::Block block(stream, tag, "Date");
  stream.write("day", static_cast<int>(day_));
  stream.write("month", static_cast<int>(month_));
  stream.write("year", static_cast<int>(year_));
}

void Date::read(const char* tag, PersistentReadStreamPresence presence, PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Date", presence);
  int day = 0;
  int month = 0;
  int year = 0;
  stream.read("day", day);
  stream.read("month", month);
  stream.read("year", year);
  day_ = day;
  month_ = month;
  year_ = year;
}

void Date::read(Archive& archive) {
  constexpr std::uint64_t size = 12;
  if (archive.is_open() && archive.bytes_remaining() < size) {
    std::ostringstream message;
    message << "Date::read: the archive ends before the date (" << archive.bytes_remaining() << " of " << size
            << " bytes left)";
    throw std::runtime_error(message.str());
  }
  int day = 0;
  int month = 0;
  int year = 0;
  archive >> day >> month >> year;
  day_ = day;
  month_ = month;
  year_ = year;
}

bool operator>(const Date& a, const Date& b) noexcept {
  if (a.year() != b.year()) return a.year() > b.year();
  if (a.month() != b.month()) return a.month() > b.month();
  return a.day() > b.day();
}

bool operator>=(const Date& a, const Date& b) noexcept { return a > b || a == b; }
bool operator<(const Date& a, const Date& b) noexcept { return !(a >= b); }
bool operator<=(const Date& a, const Date& b) noexcept { return !(a > b); }

std::ostream& operator<<(std::ostream& out, const Date& date) {
  date.print(out);
  return out;
}

}  // namespace vorn
