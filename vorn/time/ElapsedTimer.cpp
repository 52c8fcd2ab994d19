#include "vorn/time/ElapsedTimer.h"

#include <ctime>
#include <iostream>

namespace vorn {

ElapsedTimer::ElapsedTimer(const std::string& label, OutputFormat format) : label_(label), format_(format) {
  // Started last, so that copying the label is not measured.
  timer_.set_start(static_cast<long>(std::clock()));
}

ElapsedTimer::~ElapsedTimer() {
  const double seconds = timer_.duration(static_cast<long>(std::clock()));
  try {
    switch (format_) {
      case verbose:
        std::cout << "Elapsed time for '" << label_ << "' = " << Timer::format(seconds) << '.' << std::endl;
        break;
      case tab_separated:
        std::cout << label_ << '\t' << seconds << std::endl;
        break;
      default:
        break;
    }
  } catch (...) {
    // Standard output set to throw on failure must not end the program here.
  }
}

}  // namespace vorn
