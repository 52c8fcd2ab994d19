// Test helpers: capturing a stream's output, and the message of the exception
// an action throws, so that tests compare exact text in one expectation.
#ifndef VORN_TESTS_SUPPORT_TESTSUPPORT_H_
#define VORN_TESTS_SUPPORT_TESTSUPPORT_H_

#include <exception>
#include <ostream>
#include <sstream>
#include <string>

namespace vorn::testing {

// Sends a stream's output into a string until the end of the scope, then
// restores the original buffer.
class ScopedStreamCapture {
 public:
  explicit ScopedStreamCapture(std::ostream& s) : stream_(s), saved_(s.rdbuf(captured_.rdbuf())) {}
  ~ScopedStreamCapture() { stream_.rdbuf(saved_); }
  std::string text() const { return captured_.str(); }

 private:
  std::ostream& stream_;
  std::ostringstream captured_;
  std::streambuf* saved_;
};

// The message of the std::exception `action` throws, or "" when it throws
// nothing.
template <class Action>
std::string error_of(Action action) {
  try {
    action();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}

}  // namespace vorn::testing

#endif  // VORN_TESTS_SUPPORT_TESTSUPPORT_H_
