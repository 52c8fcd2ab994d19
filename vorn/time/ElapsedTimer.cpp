#include "vorn/time/ElapsedTimer.h"

#include <ctime>
#include <iostream>

#include "vorn/time/detail/ElapsedLine.h"

namespace vorn {

ElapsedTimer::ElapsedTimer(const std::string& label, OutputFormat format) : label_(label), format_(format) {
  // Started last, so that copying the label is not measured.
  timer_.set_start(static_cast<long>(std::clock()));
}

ElapsedTimer::~ElapsedTimer() {
  const double seconds = timer_.duration(static_cast<long>(std::clock()));
  detail::write_elapsed_line(std::cout, "time", label_, format_, seconds);
}

}  // namespace vorn
