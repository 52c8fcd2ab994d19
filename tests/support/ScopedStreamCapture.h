// Test helper: redirects a standard stream into a string for the lifetime of
// the object and restores the original buffer afterwards, even when a test
// assertion leaves the scope early.
#ifndef VORN_TESTS_SUPPORT_SCOPEDSTREAMCAPTURE_H_
#define VORN_TESTS_SUPPORT_SCOPEDSTREAMCAPTURE_H_

#include <ostream>
#include <sstream>
#include <string>

namespace vorn::testing {

class ScopedStreamCapture {
 public:
  explicit ScopedStreamCapture(std::ostream& stream) : stream_(stream), saved_(stream.rdbuf(captured_.rdbuf())) {}
  ScopedStreamCapture(const ScopedStreamCapture&) = delete;
  ScopedStreamCapture& operator=(const ScopedStreamCapture&) = delete;
  ~ScopedStreamCapture() { stream_.rdbuf(saved_); }

  std::string text() const { return captured_.str(); }

 private:
  std::ostream& stream_;
  std::ostringstream captured_;
  std::streambuf* saved_;
};

}  // namespace vorn::testing

#endif  // VORN_TESTS_SUPPORT_SCOPEDSTREAMCAPTURE_H_
