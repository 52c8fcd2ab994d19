#include "vorn/foundation/VornLog.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestSupport.h"
#include "vorn/foundation/VornAssert.h"

namespace vorn {
namespace {

// Captures the standard streams and restores the log's settings afterwards.
class VornLogTest : public ::testing::Test {
 protected:
  void TearDown() override {
    VornLog::use_standard_outputs();
    VornLog::set_level(0);
    VornLog::set_minimum_level(0);
  }

  // process_args on `args` (program name first); returns the kept words.
  static std::vector<std::string> process(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.resize(args.size() + 2, nullptr);  // argv[1] is written even for argc 0
    int argc = static_cast<int>(args.size());
    VornLog::process_args(argc, argv.data());
    EXPECT_EQ(argv[static_cast<std::size_t>(argc)], nullptr);
    std::vector<std::string> kept;
    for (int i = 0; i < argc; ++i) {
      const char* word = argv[static_cast<std::size_t>(i)];
      kept.emplace_back(word != nullptr ? word : "(null)");
    }
    return kept;
  }

  testing::ScopedStreamCapture out_{std::cout};
  testing::ScopedStreamCapture err_{std::cerr};
};

TEST_F(VornLogTest, LinePrefixesDestinationsAndDebugGating) {
  VornLog::start_error_line() << "e";
  VornLog::end_error_line();
  VornLog::start_warning_line() << "w";
  VornLog::end_warning_line();
  VornLog::start_fatal_line() << "f";
  VornLog::end_fatal_line();
  VornLog::start_info_line() << "i";
  VornLog::end_info_line();
  EXPECT_EQ(err_.text(), "ERROR: e\nWARNING: w\nFATAL: f\n");

  struct {
    int level, minimum;
    bool written;
  } cases[] = {{2, 0, true}, {2, 1, true}, {2, 2, true}, {1, 0, false}, {3, 3, false}, {0, 0, false}};
  for (const auto& c : cases) {
    const testing::ScopedStreamCapture out(std::cout);
    VornLog::set_level(c.level);
    VornLog::set_minimum_level(c.minimum);
    int formatted = 0;
    VORN_DEBUG_TRACE(2, "message " << ++formatted);
    EXPECT_EQ(out.text(), c.written ? "DEBUG 2: message 1\n" : "") << c.level << ' ' << c.minimum;
    EXPECT_EQ(formatted, c.written ? 1 : 0) << "a suppressed line is not formatted";
  }
}

TEST_F(VornLogTest, ProcessArgsStripsAndAppliesLogOptions) {
  const std::string bad_level = "WARNING: Invalid or missing numeric value for option '-loglevel'\n";
  const std::string bad_minimum = "WARNING: Invalid or missing numeric value for option '-minloglevel'\n";
  struct {
    const char* name;
    std::vector<std::string> args, kept;
    int level, minimum;
    std::string warnings;
  } cases[] = {
      {"level applied, others kept", {"p", "-loglevel", "2", "data", "-x"}, {"p", "data", "-x"}, 2, 0, ""},
      {"later option wins", {"p", "-minloglevel", "1", "-loglevel", "5", "-loglevel", "4"}, {"p"}, 4, 1, ""},
      {"signed levels", {"p", "-loglevel", "-2", "-minloglevel", "+1"}, {"p"}, -2, 1, ""},
      {"a word reads as level 0, unwarned", {"p", "-loglevel", "words"}, {"p"}, 0, 0, ""},
      {"a later word resets an earlier level", {"p", "-loglevel", "3", "-loglevel", "abc", "x"}, {"p", "x"}, 0, 0,
       ""},
      {"level missing", {"p", "-loglevel"}, {"p"}, 0, 0, bad_level},
      {"empty level consumed", {"p", "-loglevel", "", "x"}, {"p", "x"}, 0, 0, bad_level},
      {"minimum missing", {"p", "a", "-minloglevel"}, {"p", "a"}, 0, 0, bad_minimum},
      {"log file missing", {"p", "-logfile"}, {"p"}, 0, 0,
       "WARNING: Invalid or missing filename for option '-logfile'\n"},
      {"append file missing", {"p", "-appendlogfile"}, {"p"}, 0, 0,
       "WARNING: Invalid or missing filename for option '-appendlogfile'\n"},
      {"log file cannot be made", {"p", "-logfile", "/no-such-dir/x.log", "y"}, {"p", "y"}, 0, 0,
       "WARNING: Could not create log file: /no-such-dir/x.log\n"},
      {"argc 0", {}, {"(null)"}, 0, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const testing::ScopedStreamCapture err(std::cerr);
    VornLog::set_level(0);
    VornLog::set_minimum_level(0);
    EXPECT_EQ(process(c.args), c.kept);
    EXPECT_EQ(VornLog::level(), c.level);
    EXPECT_EQ(VornLog::minimum_level(), c.minimum);
    EXPECT_EQ(err.text(), c.warnings);
  }
}

TEST_F(VornLogTest, LogFileTakesAllOutputUntilStdout) {
  const std::string path = ::testing::TempDir() + "vorn_log_" + std::to_string(::getpid());
  process({"p", "-logfile", path, "-loglevel", "1"});
  VornLog::start_error_line() << "to the file";
  VornLog::end_error_line();
  VORN_DEBUG_TRACE(1, "debug too");
  // The open stream cannot open a second file: its warning goes to the
  // failed stream and is lost, as is everything after it.
  process({"p", "-logfile", path + "_second"});
  VornLog::start_error_line() << "lost";
  VornLog::end_error_line();
  process({"p", "-stdout"});
  VornLog::start_error_line() << "back";
  VornLog::end_error_line();
  std::ifstream in(path);
  std::stringstream file;
  file << in.rdbuf();
  EXPECT_EQ(file.str(), "ERROR: to the file\nDEBUG 1: debug too\n");
  EXPECT_EQ(err_.text(), "ERROR: back\n");
  std::remove(path.c_str());
  std::remove((path + "_second").c_str());
}

TEST(VornAssertTest, HandlerReplacesTheFatalExitUntilReset) {
  struct Recorder : VornAssert::AssertionHandler {
    void handle(const char* file, int line, const char* expression) override {
      record << file << ':' << line << ':' << expression;
    }
    std::ostringstream record;
  };
  const THandle<Recorder> recorder = make_handle<Recorder>();
  VornAssert::set_assertion_handler(recorder);
  const int line = __LINE__ + 1;
  VORN_ASSERT(1 + 1 == 3);
  VORN_ASSERT(2 + 2 == 4);
  EXPECT_EQ(recorder->record.str(), std::string(__FILE__) + ":" + std::to_string(line) + ":1 + 1 == 3");
  VornAssert::set_assertion_handler(THandle<VornAssert::AssertionHandler>());
  EXPECT_EXIT(VORN_ASSERT(line < 0), ::testing::ExitedWithCode(1),
              "^FATAL: Assertion failure in file: .*VornLogTest.cpp line: [0-9]+ expression: line < 0\n$");
}

}  // namespace
}  // namespace vorn
