#include "vorn/progress/TextProgressDisplay.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>

namespace vorn {

namespace {

// The file descriptor behind a standard stream, -1 for any other stream.
int descriptor_of(const std::ostream& out) {
  if (&out == &std::cerr || &out == &std::clog) return STDERR_FILENO;
  if (&out == &std::cout) return STDOUT_FILENO;
  return -1;
}

bool is_terminal(const std::ostream& out) {
  const int fd = descriptor_of(out);
  return fd >= 0 && isatty(fd) == 1;
}

// Standard output and standard error usually show on the same terminal;
// compare the devices to be sure.
bool same_terminal(const std::ostream& a, const std::ostream& b) {
  if (!is_terminal(a) || !is_terminal(b)) return false;
  struct stat sa {};
  struct stat sb {};
  if (fstat(descriptor_of(a), &sa) != 0 || fstat(descriptor_of(b), &sb) != 0) return false;
  return sa.st_rdev == sb.st_rdev;
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
  if (terminal_) VornLog::add_status_line(*this);
}

TextProgressDisplay::~TextProgressDisplay() {
  monitor_.disconnect(*this);
  if (terminal_) VornLog::remove_status_line(*this);
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

std::string TextProgressDisplay::bar_text(int percentage) const {
  const int filled = static_cast<int>(std::clamp<long>(static_cast<long>(percentage) * bar_width / 100, 0, bar_width));
  std::ostringstream text;
  if (!label_.empty()) text << label_ << ' ';
  text << '[' << std::string(static_cast<std::size_t>(filled), '#')
       << std::string(static_cast<std::size_t>(bar_width - filled), ' ') << "] " << std::setw(3) << percentage << '%';
  return text.str();
}

void TextProgressDisplay::draw_bar(int percentage) {
  const bool complete = percentage >= 100;
  if (drawn_ && percentage == shown_ && !hidden_) return;
  drawn_ = true;
  hidden_ = false;
  shown_ = percentage;
  const std::string bar = bar_text(percentage);
  shown_width_ = bar.size();
  out_ << '\r' << bar;
  if (complete) {
    out_ << '\n';
    line_open_ = false;
  } else {
    line_open_ = true;
  }
  out_ << std::flush;
}

bool TextProgressDisplay::shares_output_with(const std::ostream& out) const {
  return terminal_ && (&out == &out_ || same_terminal(out, out_));
}

void TextProgressDisplay::hide() noexcept {
  if (!line_open_) return;
  try {
    out_ << '\r' << std::string(shown_width_, ' ') << '\r' << std::flush;
  } catch (...) {
    // The log line that follows matters more than the bar.
  }
  line_open_ = false;
  hidden_ = true;
}

void TextProgressDisplay::show() noexcept {
  if (!hidden_) return;
  try {
    draw_bar(shown_);
  } catch (...) {
    // A bar that cannot be drawn again is left off; the next change retries.
  }
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
