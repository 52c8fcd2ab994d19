// std::complex<T> as a persistent item.
//
// Layout: a "Complex" block holding "real" and "imag", each a T. In an
// archive: the two values, real part first (16 bytes for complex<double>).
//
//   std::complex<double> z(1.0, -2.0);
//   stream.write("z", z);
#ifndef VORN_PERSISTENCE_TYPES_COMPLEX_H_
#define VORN_PERSISTENCE_TYPES_COMPLEX_H_

#include <complex>
#include <type_traits>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {
template <class T>
struct MinimumEncodedBytes<std::complex<T>> : std::integral_constant<std::size_t, 2 * MinimumEncodedBytes<T>::value> {};
}  // namespace detail

template <class T>
void write_persistent_value(const char* tag, const std::complex<T>& value, PersistentWriteStream& stream) {
  PersistentWriteStream::Block block(stream, tag, "Complex");
  stream.write("real", value.real());
  stream.write("imag", value.imag());
}

template <class T>
void read_persistent_value(const char* tag, std::complex<T>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Complex", presence);
  T real{};
  T imag{};
  stream.read("real", real, ITEM_REQUIRED);
  stream.read("imag", imag, ITEM_REQUIRED);
  value = std::complex<T>(real, imag);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_COMPLEX_H_
