#include "vorn/foundation/VornLog.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <iostream>
#include <streambuf>
#include <vector>

namespace vorn {

namespace {

// Platform hooks for an attached debugger. Linux offers no such channel, so
// the presence test says no, the write hook accepts nothing and the stop hook
// does nothing.
bool debugger_present() noexcept { return false; }
std::streamsize debugger_write(const char* /*text*/, std::streamsize /*count*/) noexcept { return 0; }
void debugger_stop() noexcept {}

// Collects characters and passes them to the debugger write hook. The put area
// is one character short of the array so that the character handed to
// overflow always fits.
class DebuggerBuf : public std::streambuf {
 public:
  DebuggerBuf() { reset_put_area(); }
  DebuggerBuf(const DebuggerBuf&) = delete;
  DebuggerBuf& operator=(const DebuggerBuf&) = delete;
  ~DebuggerBuf() override { pass_pending(); }

 protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      // The reserved slot is used at most once: while earlier characters are
      // still pending, a further character is refused.
      if (pptr() == buffer_ + kSize) return traits_type::eof();
      *pptr() = traits_type::to_char_type(c);
      pbump(1);
    }
    if (pass_pending()) return c;
    return traits_type::eof();
  }

  int sync() override { return pass_pending() ? 0 : -1; }

 private:
  static constexpr int kSize = 1024;

  void reset_put_area() { setp(buffer_, buffer_ + kSize - 1); }

  bool pass_pending() {
    const std::streamsize pending = pptr() - pbase();
    if (debugger_write(pbase(), pending) != pending) return false;
    reset_put_area();
    return true;
  }

  char buffer_[kSize] = {};
};

class DebuggerStream : public std::ostream {
 public:
  DebuggerStream() : std::ostream(nullptr) { rdbuf(&buffer_); }

 private:
  DebuggerBuf buffer_;
};

}  // namespace

// The log file and the debugger stream, made on first use so that code
// running in other static initialisers may already log. At exit the file is
// closed and the selectors fall back to the standard streams, which outlive
// every static object.
class VornLogOutputs {
 public:
  static VornLogOutputs& instance() {
    static VornLogOutputs outputs;
    return outputs;
  }

  ~VornLogOutputs() {
    if (VornLog::debug_ == &file_ || VornLog::debug_ == &debugger_ || VornLog::error_ == &file_ ||
        VornLog::error_ == &debugger_ || VornLog::warning_ == &file_ || VornLog::warning_ == &debugger_) {
      VornLog::use_standard_outputs();
    }
  }

  std::ofstream& file() { return file_; }
  std::ostream& debugger() { return debugger_; }

  static bool select_startup_outputs() {
    if (debugger_present()) {
      std::ostream& d = instance().debugger();
      VornLog::error_ = VornLog::warning_ = VornLog::debug_ = &d;
    }
    return true;
  }

 private:
  VornLogOutputs() = default;

  std::ofstream file_;
  DebuggerStream debugger_;
};

int VornLog::level_ = 0;
int VornLog::minimum_level_ = 0;
std::ostream* VornLog::error_ = &std::cerr;
std::ostream* VornLog::warning_ = &std::cerr;
std::ostream* VornLog::debug_ = &std::cout;
bool VornLog::status_hidden_ = false;

VornLog::StatusLine::~StatusLine() = default;

namespace {
[[maybe_unused]] const bool startup_outputs_selected = VornLogOutputs::select_startup_outputs();
}  // namespace

void VornLog::set_output_file(const std::string& file_name, std::ios_base::openmode mode) {
  std::ofstream& file = VornLogOutputs::instance().file();
  // Opening a stream that is already open fails and leaves it in fail state;
  // later output routed to it is then lost, as with any failed stream.
  file.open(file_name, mode | std::ios_base::out);
  if (file.good()) {
    error_ = warning_ = debug_ = &file;
    return;
  }
  start_warning_line() << "Could not create log file: " << file_name;
  end_warning_line();
}

void VornLog::use_standard_outputs() noexcept {
  error_ = &std::cerr;
  warning_ = &std::cerr;
  debug_ = &std::cout;
}

namespace {

void warn_quietly(const char* message) noexcept {
  try {
    VornLog::start_warning_line() << message;
    VornLog::end_warning_line();
  } catch (...) {
    // A stream that throws on failure must not make option parsing throw.
  }
}

// Consumes the value of a numeric option at argv[i + 1], if there is one. A
// non-empty value is read as strtol reads it, so "abc" is level 0 and "2x"
// level 2; only a missing or empty value is warned about.
void numeric_option(int& i, int argc, char** argv, void (*apply)(int) noexcept, const char* warning) noexcept {
  if (i + 1 < argc) {
    const char* value = argv[++i];
    if (value != nullptr && *value != '\0') {
      apply(static_cast<int>(std::strtol(value, nullptr, 10)));
      return;
    }
  }
  warn_quietly(warning);
}

void file_option(int& i, int argc, char** argv, std::ios_base::openmode mode, const char* warning) noexcept {
  if (i + 1 < argc && argv[i + 1] != nullptr) {
    const char* name = argv[++i];
    try {
      VornLog::set_output_file(name, mode);
    } catch (...) {
      warn_quietly("Could not create log file");
    }
    return;
  }
  warn_quietly(warning);
}

}  // namespace

void VornLog::process_args(int& argc, char** argv) noexcept {
  if (argv == nullptr) return;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (arg == nullptr || arg[0] != '-') {
      argv[kept++] = argv[i];
    } else if (std::strcmp(arg, "-loglevel") == 0) {
      numeric_option(i, argc, argv, &VornLog::set_level, "Invalid or missing numeric value for option '-loglevel'");
    } else if (std::strcmp(arg, "-minloglevel") == 0) {
      numeric_option(i, argc, argv, &VornLog::set_minimum_level,
                     "Invalid or missing numeric value for option '-minloglevel'");
    } else if (std::strcmp(arg, "-appendlogfile") == 0) {
      file_option(i, argc, argv, std::ios_base::app | std::ios_base::out,
                  "Invalid or missing filename for option '-appendlogfile'");
    } else if (std::strcmp(arg, "-logfile") == 0) {
      file_option(i, argc, argv, std::ios_base::out, "Invalid or missing filename for option '-logfile'");
    } else if (std::strcmp(arg, "-stdout") == 0) {
      use_standard_outputs();
    } else {
      argv[kept++] = argv[i];
    }
  }
  argv[kept] = nullptr;
  argc = kept;
}

namespace {

// Made on first use, so that a display built by another static initialiser
// finds it; never destroyed, so that one destroyed at exit can still remove
// itself.
std::vector<VornLog::StatusLine*>& registered_status_lines() {
  static auto* lines = new std::vector<VornLog::StatusLine*>;
  return *lines;
}

}  // namespace

void VornLog::add_status_line(StatusLine& line) {
  registered_status_lines().push_back(&line);
  status_hidden_ = false;
}

void VornLog::remove_status_line(StatusLine& line) noexcept {
  std::vector<StatusLine*>& lines = registered_status_lines();
  const auto found = std::find(lines.rbegin(), lines.rend(), &line);
  if (found == lines.rend()) return;
  if (found == lines.rbegin()) status_hidden_ = false;
  lines.erase(std::next(found).base());
}

VornLog::StatusLine* VornLog::status_line() noexcept {
  const std::vector<StatusLine*>& lines = registered_status_lines();
  return lines.empty() ? nullptr : lines.back();
}

// Hiding is asked for at every line start, not only the first: the status
// line may have been drawn again since (by its own update) while a line that
// was started never ended.
void VornLog::make_way(const std::ostream& out) noexcept {
  StatusLine* const line = status_line();
  if (line == nullptr) return;
  try {
    if (!line->shares_output_with(out)) return;
  } catch (...) {
    return;
  }
  line->hide();
  status_hidden_ = true;
}

void VornLog::restore_status_line() noexcept {
  if (!status_hidden_) return;
  status_hidden_ = false;
  if (StatusLine* const line = status_line()) line->show();
}

std::ostream& VornLog::start_debug_line(int level) {
  make_way(*debug_);
  return *debug_ << "DEBUG " << level << ": ";
}

std::ostream& VornLog::start_info_line() {
  make_way(*debug_);
  return *debug_ << "INFO: ";
}

std::ostream& VornLog::start_warning_line() {
  make_way(*warning_);
  return *warning_ << "WARNING: ";
}

std::ostream& VornLog::start_error_line() {
  make_way(*error_);
  return *error_ << "ERROR: ";
}

std::ostream& VornLog::start_fatal_line() {
  make_way(*error_);
  return *error_ << "FATAL: ";
}

void VornLog::end_debug_line() {
  *debug_ << std::endl;
  restore_status_line();
}

void VornLog::end_info_line() {
  *debug_ << std::endl;
  restore_status_line();
}

void VornLog::end_warning_line() {
  *warning_ << std::endl;
  restore_status_line();
}

void VornLog::end_error_line() {
  *error_ << std::endl;
  restore_status_line();
}

void VornLog::end_fatal_line() {
  *error_ << std::endl;
  restore_status_line();
}

void VornLog::fatal_stop() {
  if (!debugger_present()) std::exit(1);
  VornLogOutputs::instance().debugger().flush();
  debugger_stop();
}

}  // namespace vorn
