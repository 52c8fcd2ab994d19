#include "vorn/foundation/VornAssert.h"

#include <ostream>
#include <utility>

#include "vorn/foundation/VornLog.h"

namespace vorn {

namespace {
THandle<VornAssert::AssertionHandler>& current_handler() {
  static THandle<VornAssert::AssertionHandler> handler;
  return handler;
}
}  // namespace

void VornAssert::assertion_failure(const char* file, int line, const char* expression) {
  // Copied so that a handler that replaces itself stays alive until it returns.
  THandle<AssertionHandler> handler = current_handler();
  if (handler.unhand() != nullptr) {
    handler->handle(file, line, expression);
    return;
  }
  VornLog::start_fatal_line() << "Assertion failure in file: " << file << " line: " << line
                              << " expression: " << expression << '\n';
  VornLog::fatal_stop();
  VornLog::end_fatal_line();
}

void VornAssert::set_assertion_handler(THandle<AssertionHandler> handler) { current_handler() = std::move(handler); }

}  // namespace vorn
