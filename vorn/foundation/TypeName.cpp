#include "vorn/foundation/TypeName.h"

#include <cstdlib>
#include <memory>

#if __has_include(<cxxabi.h>)
#include <cxxabi.h>
#define VORN_HAVE_CXXABI 1
#endif

namespace vorn {

std::string demangled_type_name(const std::type_info& type) {
  const char* const encoded = type.name();
#ifdef VORN_HAVE_CXXABI
  int status = 0;
  // The decoder allocates with malloc; the unique_ptr hands it back to free.
  const std::unique_ptr<char, void (*)(void*)> decoded(abi::__cxa_demangle(encoded, nullptr, nullptr, &status),
                                                       std::free);
  if (status == 0 && decoded != nullptr) return decoded.get();
#endif
  return encoded;
}

}  // namespace vorn
