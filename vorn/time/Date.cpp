#include "vorn/time/Date.h"

#include <climits>
#include <ctime>
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

void Date::print(std::ostream& out) const { out << day_ << '.' << month_ << '.' << year_; }

void Date::write(Archive& archive) const {
  archive << static_cast<int>(day_) << static_cast<int>(month_) << static_cast<int>(year_);
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
