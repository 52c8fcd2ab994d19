// TextProgressDisplay: a one-line text progress bar for a progress monitor.
//
// It connects itself to a ProgressMonitorDisplayInterface on construction and
// disconnects on destruction. On a terminal it draws a bar with the
// percentage, redrawn in place with a carriage return each time the whole
// percentage changes, and ends the line once the percentage reaches 100:
//
//   vorn::ProgressMonitor monitor;
//   {
//     vorn::TextProgressDisplay bar(monitor, std::cerr, "import");
//     run_import(monitor);        // drives set_steps / set_progress / set_complete
//   }
//
//   import [##########          ]  50%      (redrawn in place)
//
// When the stream is not a terminal (a log file, a pipe) it writes plain
// lines instead, one each time the percentage enters a new tenth, so a log
// gets at most a dozen lines per run:
//
//   import   0%
//   import  10%
//   ...
//   import 100%
//
// Mode::automatic treats std::cerr and std::clog as a terminal when file
// descriptor 2 is one, std::cout when descriptor 1 is, and any other stream
// as not a terminal; Mode::terminal and Mode::plain force either form.
// Percentages outside 0..100 are printed as they are, with the bar clamped.
// A bar left unfinished (the process failed or was cancelled) is ended with a
// line feed when the display is destroyed, so later output starts on a line
// of its own.
//
// A terminal bar registers itself as a VornLog status line while it exists,
// so that a log line written to the same terminal meanwhile is not glued onto
// the bar: the bar is erased, the log line written, and the bar drawn again
// beneath it (see VornLog). The bar shares a terminal with a log stream when
// both are the same stream, or when they are standard output and standard
// error on the same terminal device.
//
// The monitor and the stream are borrowed and must outlive the display.
// Nothing here throws except std::bad_alloc and what the stream throws when
// its exceptions are enabled (never from the destructor).
#ifndef VORN_PROGRESS_TEXTPROGRESSDISPLAY_H_
#define VORN_PROGRESS_TEXTPROGRESSDISPLAY_H_

#include <cstddef>
#include <iostream>
#include <ostream>
#include <string>

#include "vorn/foundation/Export.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"
#include "vorn/progress/ProgressMonitorDisplayInterface.h"

namespace vorn {

class VORN_API TextProgressDisplay : public Observer, public VornLog::StatusLine {
 public:
  enum class Mode { automatic, terminal, plain };

  // The number of characters between the brackets of the bar.
  static constexpr int bar_width = 20;

  // `label`, when not empty, starts every line, followed by a blank.
  explicit TextProgressDisplay(ProgressMonitorDisplayInterface& monitor, std::ostream& out = std::cerr,
                               std::string label = {}, Mode mode = Mode::automatic);
  TextProgressDisplay(const TextProgressDisplay&) = delete;
  TextProgressDisplay& operator=(const TextProgressDisplay&) = delete;
  ~TextProgressDisplay() override;

  // True when drawing the in-place bar, false when writing plain lines.
  bool terminal() const noexcept { return terminal_; }

  void update(Subject* subject, const UpdateFlags& flags) override;

  // VornLog::StatusLine: a terminal bar on screen is erased for a log line
  // written to the same terminal and drawn again after it.
  bool shares_output_with(const std::ostream& out) const override;
  void hide() noexcept override;
  void show() noexcept override;

 private:
  void draw_bar(int percentage);
  std::string bar_text(int percentage) const;
  void write_line(int percentage);

  ProgressMonitorDisplayInterface& monitor_;
  std::ostream& out_;
  std::string label_;
  bool terminal_;
  bool drawn_ = false;           // something has been shown since construction
  int shown_ = 0;                // the percentage last drawn, or its tenth in plain mode
  bool line_open_ = false;       // a bar is on screen without its line feed
  bool hidden_ = false;          // the bar was erased for a log line
  std::size_t shown_width_ = 0;  // characters of the bar on screen
};

}  // namespace vorn

#endif  // VORN_PROGRESS_TEXTPROGRESSDISPLAY_H_
