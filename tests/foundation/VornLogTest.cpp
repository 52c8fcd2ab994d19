#include "vorn/foundation/VornLog.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "vorn/foundation/VornAssert.h"

namespace vorn {
namespace {

// Captures what the log writes to the standard streams and restores the log's
// settings afterwards.
class VornLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    old_out_ = std::cout.rdbuf(out_.rdbuf());
    old_err_ = std::cerr.rdbuf(err_.rdbuf());
    VornLog::use_standard_outputs();
    VornLog::set_level(0);
    VornLog::set_minimum_level(0);
  }
  void TearDown() override {
    VornLog::use_standard_outputs();
    VornLog::set_level(0);
    VornLog::set_minimum_level(0);
    std::cout.rdbuf(old_out_);
    std::cerr.rdbuf(old_err_);
  }

  // Runs process_args on `args` (program name first) and returns what is kept.
  static std::vector<std::string> process(std::vector<std::string> args, int* argc_out = nullptr) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    argv.push_back(nullptr);  // room for argv[1] when argc is 0
    int argc = static_cast<int>(args.size());
    VornLog::process_args(argc, argv.data());
    if (argc_out != nullptr) *argc_out = argc;
    EXPECT_EQ(argv[static_cast<std::size_t>(argc)], nullptr);
    std::vector<std::string> kept;
    for (int i = 0; i < argc; ++i) kept.emplace_back(argv[static_cast<std::size_t>(i)] ? argv[static_cast<std::size_t>(i)] : "(null)");
    return kept;
  }

  static std::string temp_path(const std::string& name) {
    return ::testing::TempDir() + "vorn_log_" + name + "_" + std::to_string(::getpid());
  }

  std::ostringstream out_;
  std::ostringstream err_;
  std::streambuf* old_out_ = nullptr;
  std::streambuf* old_err_ = nullptr;
};

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST_F(VornLogTest, LinePrefixesAndDestinations) {
  VornLog::start_error_line() << "e";
  VornLog::end_error_line();
  VornLog::start_warning_line() << "w";
  VornLog::end_warning_line();
  VornLog::start_fatal_line() << "f";
  VornLog::end_fatal_line();
  VornLog::start_info_line() << "i";
  VornLog::end_info_line();
  VornLog::start_debug_line(3) << "d";
  VornLog::end_debug_line();
  EXPECT_EQ(err_.str(), "ERROR: e\nWARNING: w\nFATAL: f\n");
  EXPECT_EQ(out_.str(), "INFO: i\nDEBUG 3: d\n");
}

TEST_F(VornLogTest, DebugLinesAreGatedByBothLevels) {
  struct Case {
    int level, minimum;
    bool written;
  } cases[] = {{2, 0, true}, {2, 1, true}, {2, 2, true}, {1, 0, false}, {3, 3, false}, {0, 0, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "level " << c.level << " minimum " << c.minimum);
    out_.str("");
    VornLog::set_level(c.level);
    VornLog::set_minimum_level(c.minimum);
    int formatted = 0;
    VORN_DEBUG_TRACE(2, "message " << ++formatted);
    EXPECT_EQ(out_.str(), c.written ? "DEBUG 2: message 1\n" : "");
    EXPECT_EQ(formatted, c.written ? 1 : 0) << "suppressed lines must not be formatted";
  }
}

TEST_F(VornLogTest, ProcessArgsStripsLogOptions) {
  int argc = -1;
  EXPECT_EQ(process({"prog", "-loglevel", "2", "data", "-x"}, &argc), (std::vector<std::string>{"prog", "data", "-x"}));
  EXPECT_EQ(argc, 3);
  EXPECT_EQ(VornLog::level(), 2);

  EXPECT_EQ(process({"prog", "-minloglevel", "1", "-loglevel", "5", "-loglevel", "4"}),
            std::vector<std::string>{"prog"});
  EXPECT_EQ(VornLog::minimum_level(), 1);
  EXPECT_EQ(VornLog::level(), 4) << "later options override earlier ones";

  EXPECT_EQ(process({"prog", "-loglevel", "words"}), std::vector<std::string>{"prog"});
  EXPECT_EQ(VornLog::level(), 0) << "a non-numeric value reads as 0";
  EXPECT_EQ(err_.str(), "");

  EXPECT_EQ(process({"prog"}, &argc), std::vector<std::string>{"prog"});
  EXPECT_EQ(argc, 1);
  EXPECT_EQ(process({}, &argc).size(), 1u);
  EXPECT_EQ(argc, 1);
}

TEST_F(VornLogTest, ProcessArgsWarnsAboutMissingValues) {
  struct Case {
    std::vector<std::string> args;
    std::vector<std::string> kept;
    std::string warning;
  } cases[] = {
      {{"prog", "-loglevel"}, {"prog"}, "WARNING: Invalid or missing numeric value for option '-loglevel'\n"},
      {{"prog", "-loglevel", "", "x"}, {"prog", "x"}, "WARNING: Invalid or missing numeric value for option '-loglevel'\n"},
      {{"prog", "a", "-minloglevel"}, {"prog", "a"},
       "WARNING: Invalid or missing numeric value for option '-minloglevel'\n"},
      {{"prog", "-logfile"}, {"prog"}, "WARNING: Invalid or missing filename for option '-logfile'\n"},
      {{"prog", "-appendlogfile"}, {"prog"}, "WARNING: Invalid or missing filename for option '-appendlogfile'\n"},
      {{"prog", "-logfile", "/nonexistent-dir/x.log", "y"}, {"prog", "y"},
       "WARNING: Could not create log file: /nonexistent-dir/x.log\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.back());
    err_.str("");
    EXPECT_EQ(process(c.args), c.kept);
    EXPECT_EQ(err_.str(), c.warning);
  }
}

TEST_F(VornLogTest, LogFileTakesAllOutputUntilStdout) {
  const std::string path = temp_path("all");
  const std::string second = temp_path("second");
  EXPECT_EQ(process({"prog", "-logfile", path, "-loglevel", "1"}), std::vector<std::string>{"prog"});
  VornLog::start_error_line() << "to the file";
  VornLog::end_error_line();
  VORN_DEBUG_TRACE(1, "debug too");
  // A second log file cannot be opened on the open stream: the warning goes to
  // the failed file stream and is lost, as is everything after it.
  process({"prog", "-logfile", second});
  VornLog::start_error_line() << "lost";
  VornLog::end_error_line();
  process({"prog", "-stdout"});
  VornLog::start_error_line() << "back";
  VornLog::end_error_line();
  EXPECT_EQ(read_file(path), "ERROR: to the file\nDEBUG 1: debug too\n");
  EXPECT_EQ(err_.str(), "ERROR: back\n");
  EXPECT_EQ(out_.str(), "");
  std::remove(path.c_str());
  std::remove(second.c_str());
}

class RecordingHandler : public VornAssert::AssertionHandler {
 public:
  void handle(const char* file, int line, const char* expression) override {
    record << file << ':' << line << ':' << expression;
  }
  std::ostringstream record;
};

TEST_F(VornLogTest, AssertionHandlerReplacesTheFatalExit) {
  auto* recorder = new RecordingHandler;
  VornAssert::set_assertion_handler(THandle<VornAssert::AssertionHandler>(recorder));
  const int line = __LINE__ + 1;
  VORN_ASSERT(1 + 1 == 3);
  VORN_ASSERT(2 + 2 == 4);
  EXPECT_EQ(recorder->record.str(), std::string(__FILE__) + ":" + std::to_string(line) + ":1 + 1 == 3");
  VornAssert::set_assertion_handler(THandle<VornAssert::AssertionHandler>());
}

TEST(VornAssertDeathTest, DefaultFailureWritesOneFatalLineAndExits) {
  EXPECT_EXIT(VornAssert::assertion_failure("file.cpp", 42, "x > 0"), ::testing::ExitedWithCode(1),
              "^FATAL: Assertion failure in file: file.cpp line: 42 expression: x > 0\n$");
}

}  // namespace
}  // namespace vorn
