// to_string<T>: the text a default-formatted output stream writes for a value.
//
// Unlike std::to_string, which formats doubles with "%f", this uses the
// stream's defaults: six significant digits, no trailing zeros, exponent form
// for very large or small magnitudes. Any type with an operator<< will do:
//
//   vorn::to_string(2.5);        // "2.5"
//   vorn::to_string(1.0 / 3);    // "0.333333"
//   vorn::to_string(1e-7);       // "1e-07"
//   vorn::to_string<int>(42);    // "42"
//
// Throws only what the string stream throws (std::bad_alloc).
#ifndef VORN_TIME_TOSTRING_H_
#define VORN_TIME_TOSTRING_H_

#include <sstream>
#include <string>

namespace vorn {

template <class T>
std::string to_string(const T& value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

}  // namespace vorn

#endif  // VORN_TIME_TOSTRING_H_
