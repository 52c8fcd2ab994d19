// std::unordered_map and std::unordered_multimap as persistent items.
//
// Layout: exactly that of std::map (PersistentContainers.h): a "Container"
// block holding "count" and each element as an "item" "Pair" of "first"
// and "second", in the map's iteration order. That order depends on the
// hash and the library, so the bytes of a map with more than one element
// may differ between builds, while reading always restores the same
// contents (and a std::map can read what an unordered_map wrote).
//
//   std::unordered_map<std::string, long long> sizes;
//   stream.write("sizes", sizes);
#ifndef VORN_PERSISTENCE_TYPES_UNORDERED_MAP_H_
#define VORN_PERSISTENCE_TYPES_UNORDERED_MAP_H_

#include <iterator>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "vorn/persistence/PersistentContainers.h"

namespace vorn {

namespace detail {
template <class K, class V, class H, class E, class A>
struct MinimumEncodedBytes<std::unordered_map<K, V, H, E, A>> : std::integral_constant<std::size_t, 4> {};
template <class K, class V, class H, class E, class A>
struct MinimumEncodedBytes<std::unordered_multimap<K, V, H, E, A>> : std::integral_constant<std::size_t, 4> {};
}  // namespace detail

template <class K, class V, class H, class E, class A>
void write_persistent_value(const char* tag, const std::unordered_map<K, V, H, E, A>& value,
                            PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class K, class V, class H, class E, class A>
void read_persistent_value(const char* tag, std::unordered_map<K, V, H, E, A>& value,
                           PersistentReadStreamPresence presence, PersistentReadStream& stream) {
  value.clear();
  read_container<std::pair<K, V>>(tag, std::inserter(value, value.end()), stream, presence);
}

template <class K, class V, class H, class E, class A>
void write_persistent_value(const char* tag, const std::unordered_multimap<K, V, H, E, A>& value,
                            PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class K, class V, class H, class E, class A>
void read_persistent_value(const char* tag, std::unordered_multimap<K, V, H, E, A>& value,
                           PersistentReadStreamPresence presence, PersistentReadStream& stream) {
  value.clear();
  read_container<std::pair<K, V>>(tag, std::inserter(value, value.end()), stream, presence);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_UNORDERED_MAP_H_
