// std::unordered_set and std::unordered_multiset as persistent items.
//
// Layout: exactly that of std::set (PersistentContainers.h): a "Container"
// block holding "count" and each element as an "item", in the set's
// iteration order (which depends on the hash and the library, so the bytes
// of a set with more than one element may differ between builds; reading
// restores the same contents).
//
//   std::unordered_set<std::string> tags;
//   stream.write("tags", tags);
#ifndef VORN_PERSISTENCE_TYPES_UNORDERED_SET_H_
#define VORN_PERSISTENCE_TYPES_UNORDERED_SET_H_

#include <iterator>
#include <type_traits>
#include <unordered_set>

#include "vorn/persistence/PersistentContainers.h"

namespace vorn {

namespace detail {
template <class T, class H, class E, class A>
struct MinimumEncodedBytes<std::unordered_set<T, H, E, A>> : std::integral_constant<std::size_t, 4> {};
template <class T, class H, class E, class A>
struct MinimumEncodedBytes<std::unordered_multiset<T, H, E, A>> : std::integral_constant<std::size_t, 4> {};
}  // namespace detail

template <class T, class H, class E, class A>
void write_persistent_value(const char* tag, const std::unordered_set<T, H, E, A>& value,
                            PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class T, class H, class E, class A>
void read_persistent_value(const char* tag, std::unordered_set<T, H, E, A>& value,
                           PersistentReadStreamPresence presence, PersistentReadStream& stream) {
  value.clear();
  read_container<T>(tag, std::inserter(value, value.end()), stream, presence);
}

template <class T, class H, class E, class A>
void write_persistent_value(const char* tag, const std::unordered_multiset<T, H, E, A>& value,
                            PersistentWriteStream& stream) {
  write_container(tag, value.begin(), value.end(), value.size(), stream);
}

template <class T, class H, class E, class A>
void read_persistent_value(const char* tag, std::unordered_multiset<T, H, E, A>& value,
                           PersistentReadStreamPresence presence, PersistentReadStream& stream) {
  value.clear();
  read_container<T>(tag, std::inserter(value, value.end()), stream, presence);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_UNORDERED_SET_H_
