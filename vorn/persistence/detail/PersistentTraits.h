// Internal to the persistence subsystem; do not include this file directly.
//
// Compile-time facts about the types written to persistent streams.
#ifndef VORN_PERSISTENCE_DETAIL_PERSISTENTTRAITS_H_
#define VORN_PERSISTENCE_DETAIL_PERSISTENTTRAITS_H_

#include <cstddef>
#include <string>
#include <type_traits>

#include "vorn/foundation/THandle.h"

namespace vorn::detail {

// A polymorphic persistent class: one with virtual functions that offers
// clone() and class_name(). Handles of such classes are written with their
// type name and read back through PolymorphicFactory.
template <class T, class = void>
struct IsPersistentPolymorphic : std::false_type {};

template <class T>
struct IsPersistentPolymorphic<
    T, std::void_t<decltype(std::declval<const T&>().clone()), decltype(std::declval<const T&>().class_name())>>
    : std::bool_constant<std::is_polymorphic_v<T>> {};

template <class T>
inline constexpr bool is_persistent_polymorphic_v = IsPersistentPolymorphic<T>::value;

// The fifteen types that streams read and write natively (and in runs).
template <class T>
inline constexpr bool is_stream_primitive_v =
    std::is_same_v<T, char> || std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char> ||
    std::is_same_v<T, long long> || std::is_same_v<T, unsigned long long> || std::is_same_v<T, bool> ||
    std::is_same_v<T, short> || std::is_same_v<T, unsigned short> || std::is_same_v<T, int> ||
    std::is_same_v<T, unsigned int> || std::is_same_v<T, long> || std::is_same_v<T, unsigned long> ||
    std::is_same_v<T, float> || std::is_same_v<T, double> || std::is_same_v<T, long double>;

// The fewest bytes an item of type T can occupy in an archive stream; 0 when
// nothing is known (an object may write no values at all). A reader uses it
// to refuse an item count that the rest of the file cannot hold.
template <class T, class = void>
struct MinimumEncodedBytes : std::integral_constant<std::size_t, 0> {};

template <class T>
struct MinimumEncodedBytes<T, std::enable_if_t<is_stream_primitive_v<T>>>
    : std::integral_constant<std::size_t, (sizeof(T) < 4 ? sizeof(T) : 4)> {};

template <>
struct MinimumEncodedBytes<std::string> : std::integral_constant<std::size_t, 4> {};

template <class T>
struct MinimumEncodedBytes<THandle<T>> : std::integral_constant<std::size_t, 4> {};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_PERSISTENTTRAITS_H_
