#include "vorn/time/Timer.h"

#include <cmath>
#include <ctime>
#include <string>

#include "vorn/time/ToString.h"

namespace vorn {

namespace {

enum class ZeroRule { omit, omit_unless_first };

// Appends "<number> <unit>[s]" to `result`, separated by ", " from what is
// already there. The plural is decided on the text, so "1" alone is singular
// and "1.5" or "-1" plural.
void append_part(std::string& result, std::string number, const char* unit, ZeroRule zero_rule) {
  if (number == "-0") number = "0";
  if (number == "0" && (zero_rule == ZeroRule::omit || !result.empty())) return;
  if (!result.empty()) result += ", ";
  result += number;
  result += ' ';
  result += unit;
  if (number != "1") result += 's';
}

// Splits off whole units of `unit_seconds` from `rest`, truncating toward
// zero. The caller has made sure the quotient fits an int.
int take_whole(long double& rest, long double unit_seconds) {
  const int whole = static_cast<int>(rest / unit_seconds);
  rest -= whole * unit_seconds;
  return whole;
}

}  // namespace

double Timer::duration(long now) const noexcept {
  const auto ticks = static_cast<std::int32_t>(static_cast<std::uint32_t>(now) - static_cast<std::uint32_t>(start_));
  return ticks / ticks_per_second;
}

double Timer::elapsed() const noexcept { return duration(static_cast<long>(std::clock())); }

std::string Timer::format(double seconds) {
  constexpr long double week = 604800.0L;
  std::string result;
  // Converting a quotient of 2^31 or more to int would be undefined.
  if (!std::isfinite(seconds) || std::fabs(seconds / week) >= 2147483648.0L) {
    append_part(result, to_string<double>(seconds), "second", ZeroRule::omit_unless_first);
    return result;
  }
  long double rest = seconds;
  const int weeks = take_whole(rest, week);
  const int days = take_whole(rest, 86400.0L);
  const int hours = take_whole(rest, 3600.0L);
  const int minutes = take_whole(rest, 60.0L);
  append_part(result, to_string<int>(weeks), "week", ZeroRule::omit);
  append_part(result, to_string<int>(days), "day", ZeroRule::omit);
  append_part(result, to_string<int>(hours), "hour", ZeroRule::omit);
  append_part(result, to_string<int>(minutes), "minute", ZeroRule::omit);
  append_part(result, to_string<double>(static_cast<double>(rest)), "second", ZeroRule::omit_unless_first);
  return result;
}

}  // namespace vorn
