// VornLog: the library's single diagnostic channel.
//
// All members are static. VornLog hands out four output streams (error,
// warning, debug and info, the last being the debug stream), writes the fixed
// line prefixes "DEBUG <n>: ", "INFO: ", "WARNING: ", "ERROR: " and "FATAL: ",
// and gates debug lines by two levels: a debug line of level N is written only
// when minimum_level() <= N <= level(). Both levels start at 0, so by default
// no debug output appears. Errors and warnings go to standard error, debug and
// info lines to standard output, until a log file takes all of them.
//
// A program calls process_args first; it strips the log options from the
// command line and applies them:
//
//   int main(int argc, char** argv) {
//     vorn::VornLog::process_args(argc, argv);  // -loglevel 2 -logfile run.log
//     vorn::VornLog::start_warning_line() << "disk almost full";
//     vorn::VornLog::end_warning_line();
//     VORN_DEBUG_TRACE(2, "opened " << path << " in " << ms << " ms");
//   }
//
// Options: "-loglevel N", "-minloglevel N", "-logfile FILE" (truncates),
// "-appendlogfile FILE", "-stdout" (back to the standard streams). A missing
// or empty value produces a warning line ("Invalid or missing numeric value
// for option '-loglevel'"); any other level text is read as strtol reads it,
// without a check, so "-loglevel abc" sets level 0 and "-loglevel 2x" level
// 2, both silently. process_args never throws.
//
// A status line (a progress bar redrawn in place on a terminal) registers
// itself with add_status_line. Every log line written through the start_*
// and end_* calls to the terminal that shows it then makes way: the status
// line is erased before the line starts, so the log line begins at the left
// edge, and drawn again after the line ends:
//
//   import [##########          ]  50%      (the bar, redrawn in place)
//   WARNING: sample 17 has no peaks          (the bar was erased for this)
//   import [##########          ]  50%      (and drawn again below it)
//
// The settings are unguarded process-wide statics: set them at start-up from
// one thread.
#ifndef VORN_FOUNDATION_VORNLOG_H_
#define VORN_FOUNDATION_VORNLOG_H_

#include <ios>
#include <ostream>
#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API VornLog {
 public:
  // A line shown at the bottom of a terminal and redrawn in place, which log
  // lines must not be written onto (TextProgressDisplay is one).
  class StatusLine {
   public:
    StatusLine() = default;
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    virtual ~StatusLine();

    // True when text written to `out` appears where the status line is shown.
    virtual bool shares_output_with(const std::ostream& out) const = 0;
    // Erases the status line if it is shown, leaving the cursor at the start
    // of an empty line.
    virtual void hide() noexcept = 0;
    // Draws the status line again if hide() erased it.
    virtual void show() noexcept = 0;
  };

  // Registers `line`; log lines make way for the one registered last. The
  // line is borrowed and must be removed before it is destroyed; lines may
  // be removed in any order. Throws only std::bad_alloc.
  static void add_status_line(StatusLine& line);
  static void remove_status_line(StatusLine& line) noexcept;
  // The status line log lines make way for, null when none is registered.
  static StatusLine* status_line() noexcept;

  static std::ostream& error() { return *error_; }
  static std::ostream& warning() { return *warning_; }
  static std::ostream& debug() { return *debug_; }
  static std::ostream& info() { return *debug_; }

  static void set_level(int level) noexcept { level_ = level; }
  static void set_minimum_level(int level) noexcept { minimum_level_ = level; }
  static int level() noexcept { return level_; }
  static int minimum_level() noexcept { return minimum_level_; }

  // True when a debug line of `level` would be written. Two integer
  // comparisons; call it before formatting anything.
  static bool debug_enabled(int level) noexcept { return minimum_level_ <= level && level <= level_; }

  // Opens `file_name` (output is always added to `mode`) and routes the
  // error, warning and debug streams to it. On failure writes the warning
  // "Could not create log file: <name>" and leaves the outputs as they were.
  static void set_output_file(const std::string& file_name, std::ios_base::openmode mode = std::ios_base::out);

  // Routes errors and warnings to standard error and debug and info lines to
  // standard output, undoing a redirection to a log file.
  static void use_standard_outputs() noexcept;

  // Removes the log options and their values from argv (compacting it in
  // place, order of the rest kept), applies them in order, sets argv[argc]
  // to null. Never throws.
  static void process_args(int& argc, char** argv) noexcept;

  static std::ostream& start_debug_line(int level);
  static std::ostream& start_info_line();
  static std::ostream& start_warning_line();
  static std::ostream& start_error_line();
  static std::ostream& start_fatal_line();

  static void end_debug_line();
  static void end_info_line();
  static void end_warning_line();
  static void end_error_line();
  static void end_fatal_line();

  // Ends the process with exit status 1. Returns only when a debugger is
  // attached (never on Linux).
  static void fatal_stop();

 private:
  static void make_way(const std::ostream& out) noexcept;
  static void restore_status_line() noexcept;

  static int level_;
  static int minimum_level_;
  static std::ostream* error_;
  static std::ostream* warning_;
  static std::ostream* debug_;
  static bool status_hidden_;

  friend class VornLogOutputs;
};

}  // namespace vorn

// Writes one debug line of `level` when the log levels allow it. `message` is
// a chain of stream insertions, evaluated only when the line is written:
//
//   VORN_DEBUG_TRACE(3, "read " << n << " bytes from '" << name << "'");
#define VORN_DEBUG_TRACE(level, message)                               \
  do {                                                                 \
    if (::vorn::VornLog::debug_enabled(level)) {                       \
      ::vorn::VornLog::start_debug_line(level) << message; /* NOLINT */ \
      ::vorn::VornLog::end_debug_line();                               \
    }                                                                  \
  } while (false)

#endif  // VORN_FOUNDATION_VORNLOG_H_
