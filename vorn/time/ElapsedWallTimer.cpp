#include "vorn/time/ElapsedWallTimer.h"

#include <iostream>

#include "vorn/time/detail/ElapsedLine.h"

namespace vorn {

ElapsedWallTimer::ElapsedWallTimer(const std::string& label, ElapsedTimer::OutputFormat format)
    : label_(label), format_(format) {
  // Restarted last, so that copying the label is not measured.
  timer_.restart();
}

ElapsedWallTimer::~ElapsedWallTimer() {
  detail::write_elapsed_line(std::cout, "wall-clock time", label_, format_, timer_.elapsed());
}

}  // namespace vorn
