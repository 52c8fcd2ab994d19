#include "vorn/time/detail/ElapsedLine.h"

#include "vorn/time/Timer.h"

namespace vorn::detail {

void write_elapsed_line(std::ostream& out, const char* what, const std::string& label, int format,
                        double seconds) noexcept {
  try {
    switch (format) {
      case 0:
        out << "Elapsed " << what << " for '" << label << "' = " << Timer::format(seconds) << '.' << std::endl;
        break;
      case 1:
        out << label << '\t' << seconds << std::endl;
        break;
      default:
        break;
    }
  } catch (...) {
    // An output stream set to throw on failure must not end the program in
    // a destructor.
  }
}

}  // namespace vorn::detail
