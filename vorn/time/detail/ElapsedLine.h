// Internal: do not include this file directly.
//
// The one line a scoped timer prints when it ends, shared by ElapsedTimer
// and ElapsedWallTimer so that both keep the same layout.
#ifndef VORN_TIME_DETAIL_ELAPSEDLINE_H_
#define VORN_TIME_DETAIL_ELAPSEDLINE_H_

#include <ostream>
#include <string>

namespace vorn::detail {

// Writes, for `format` 0 (verbose), "Elapsed <what> for '<label>' = <text of
// Timer::format>." and for 1 (tab separated) "<label>\t<seconds>", each with
// an end of line and a flush; any other format writes nothing. A stream
// failure or exception is swallowed: timers report from destructors.
void write_elapsed_line(std::ostream& out, const char* what, const std::string& label, int format,
                        double seconds) noexcept;

}  // namespace vorn::detail

#endif  // VORN_TIME_DETAIL_ELAPSEDLINE_H_
