// Test helper for applications' persistent classes: the text that
// DebugPrintStream prints for a value written under an empty tag, as the
// self-tests show values in their messages. Header-only; no dependency on
// any test framework.
//
//   Point p{1, 2};
//   std::string text = vorn::debug_print_text(p);
//   // " (Point)\n    x: 1     y: 2 \n"
//
// Throws what the value's write() throws.
#ifndef VORN_TESTING_DEBUGPRINTTEXT_H_
#define VORN_TESTING_DEBUGPRINTTEXT_H_

#include <sstream>
#include <string>

#include "vorn/persistence/DebugPrintStream.h"
#include "vorn/persistence/PersistentContainers.h"

namespace vorn {

template <class T>
std::string debug_print_text(const T& value, const char* tag = "") {
  std::ostringstream text;
  DebugPrintStream stream(text);
  stream.write(tag, value);
  return text.str();
}

}  // namespace vorn

#endif  // VORN_TESTING_DEBUGPRINTTEXT_H_
