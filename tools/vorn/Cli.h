// Shared pieces of the vorn tool: the command-line cursor, usage errors and
// whole-file input.
#ifndef VORN_TOOLS_VORN_CLI_H_
#define VORN_TOOLS_VORN_CLI_H_

#include <stdexcept>
#include <string>
#include <vector>

namespace vorn::cli {

// A mistake in the command line: reported with a hint and exit status 2.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

// The arguments after the subcommand, consumed front to back.
class Arguments {
 public:
  Arguments(std::string command, std::vector<std::string> words);

  const std::string& command() const noexcept { return command_; }
  bool empty() const noexcept { return next_ == words_.size(); }
  std::size_t remaining() const noexcept { return words_.size() - next_; }

  // The next word; a UsageError naming `what` when there is none.
  std::string take(const char* what);
  // Removes `flag` wherever it stands among the remaining words.
  bool take_flag(const std::string& flag);
  // A UsageError when words are left over.
  void expect_end() const;

 private:
  std::string command_;
  std::vector<std::string> words_;
  std::size_t next_ = 0;
};

// Whole file contents, or standard input for "-". Files written by the
// tool go through vorn::replace_file_atomically.
std::string read_file(const std::string& path);

// `text` as messages quote a bad line or identifier: at most the first 80
// bytes, then "..." when cut; a zero byte shows as \0.
std::string shown(const std::string& text);

// The system's reason (strerror text) why `path` cannot be opened for
// reading through the file layer, or "" when it can.
std::string open_failure_reason(const std::string& path);

// Writes `bytes` to standard output and flushes; throws when that fails.
void write_stdout(const std::string& bytes);

}  // namespace vorn::cli

#endif  // VORN_TOOLS_VORN_CLI_H_
