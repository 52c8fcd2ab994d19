// Test helper: sends a stream's output into a string until the end of the
// scope, then restores the original buffer.
#ifndef VORN_TESTS_SUPPORT_SCOPEDSTREAMCAPTURE_H_
#define VORN_TESTS_SUPPORT_SCOPEDSTREAMCAPTURE_H_

#include <sstream>

namespace vorn::testing {

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

}  // namespace vorn::testing

#endif  // VORN_TESTS_SUPPORT_SCOPEDSTREAMCAPTURE_H_
