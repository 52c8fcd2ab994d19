// demangled_type_name: the readable name of a type, for traces and messages.
//
// typeid(x).name() gives the compiler's encoded name ("N4vorn7SubjectE"),
// which nobody reads comfortably in a log. demangled_type_name decodes it
// with the C++ ABI runtime where the compiler offers one:
//
//   vorn::demangled_type_name(typeid(vorn::Date));       // "vorn::Date"
//   vorn::demangled_type_name(typeid(*subject));         // dynamic type
//
// Where decoding is not possible the encoded name is returned unchanged.
// Throws only std::bad_alloc.
#ifndef VORN_FOUNDATION_TYPENAME_H_
#define VORN_FOUNDATION_TYPENAME_H_

#include <string>
#include <typeinfo>

namespace vorn {

std::string demangled_type_name(const std::type_info& type);

}  // namespace vorn

#endif  // VORN_FOUNDATION_TYPENAME_H_
