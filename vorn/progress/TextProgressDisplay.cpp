#include "vorn/progress/TextProgressDisplay.h"

#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <utility>

namespace vorn {

namespace {

bool is_terminal(const std::ostream& out) {
  if (&out == &std::cerr || &out == &std::clog) return isatty(STDERR_FILENO) == 1;
  if (&out == &std::cout) return isatty(STDOUT_FILENO) == 1;
  return false;
}

// Tenths of percent steps, rounded down also for negative percentages, so
// that -5% and 5% fall into different tenths.
int tenth(int percentage) { return percentage >= 0 ? percentage / 10 : (percentage + 1) / 10 - 1; }

}  // namespace

TextProgressDisplay::TextProgressDisplay(ProgressMonitorDisplayInterface& monitor, std::ostream& out,
                                         std::string label, Mode mode)
    : monitor_(monitor),
      out_(out),
      label_(std::move(label)),
      terminal_(mode == Mode::automatic ? is_terminal(out) : mode == Mode::terminal) {
  monitor_.connect(*this);
}

TextProgressDisplay::~TextProgressDisplay() {
  monitor_.disconnect(*this);
  if (!line_open_) return;
  try {
    out_ << '\n' << std::flush;
  } catch (...) {
    // A stream that throws on failure must not end the program here.
  }
}

void TextProgressDisplay::update(Subject* /*subject*/, const UpdateFlags& /*flags*/) {
  const int percentage = monitor_.percentage();
  if (terminal_) {
    draw_bar(percentage);
  } else {
    write_line(percentage);
  }
}

void TextProgressDisplay::draw_bar(int percentage) {
  const bool complete = percentage >= 100;
  if (drawn_ && percentage == shown_) return;
  drawn_ = true;
  shown_ = percentage;
  const int filled = static_cast<int>(std::clamp<long>(static_cast<long>(percentage) * bar_width / 100, 0, bar_width));
  out_ << '\r';
  if (!label_.empty()) out_ << label_ << ' ';
  out_ << '[' << std::string(static_cast<std::size_t>(filled), '#')
       << std::string(static_cast<std::size_t>(bar_width - filled), ' ') << "] " << std::setw(3) << percentage << '%';
  if (complete) {
    out_ << '\n';
    line_open_ = false;
  } else {
    line_open_ = true;
  }
  out_ << std::flush;
}

void TextProgressDisplay::write_line(int percentage) {
  const int step = tenth(percentage);
  if (drawn_ && step == shown_) return;
  drawn_ = true;
  shown_ = step;
  if (!label_.empty()) out_ << label_ << ' ';
  out_ << std::setw(3) << percentage << "%\n" << std::flush;
}

}  // namespace vorn
