// VornAssert: assertions reported through a replaceable handler.
//
// VORN_ASSERT(expression) checks its expression in every build. When it is
// false, VornAssert::assertion_failure is called with the file, the line and
// the expression's text. Without a handler this writes one fatal line to the
// log's error stream and ends the process with exit status 1:
//
//   FATAL: Assertion failure in file: tree.cpp line: 42 expression: node != nullptr
//
// An application (or a test) installs its own handler to throw, count or
// record instead; the program then continues after the failed assertion
// unless the handler ends it or throws:
//
//   class Throwing : public vorn::VornAssert::AssertionHandler {
//     void handle(const char* file, int line, const char* expression) override {
//       throw std::logic_error(expression);
//     }
//   };
//   vorn::VornAssert::set_assertion_handler(
//       vorn::make_handle<Throwing>());
//
// Passing a null handle restores the default. The handler is a process-wide
// setting: install it at start-up from one thread.
#ifndef VORN_FOUNDATION_VORNASSERT_H_
#define VORN_FOUNDATION_VORNASSERT_H_

#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"

namespace vorn {

class VORN_API VornAssert {
 public:
  class AssertionHandler {
   public:
    virtual ~AssertionHandler() = default;
    virtual void handle(const char* file, int line, const char* expression) = 0;
  };

  static void assertion_failure(const char* file, int line, const char* expression);
  static void set_assertion_handler(THandle<AssertionHandler> handler);
};

}  // namespace vorn

#define VORN_ASSERT(expression) \
  ((expression) ? static_cast<void>(0) : ::vorn::VornAssert::assertion_failure(__FILE__, __LINE__, #expression))

#endif  // VORN_FOUNDATION_VORNASSERT_H_
