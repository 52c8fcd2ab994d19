// std::tuple<Ts...> as a persistent item, for persistent Ts.
//
// Layout: a "Tuple" block holding each element in order, each as an
// "item". In an archive: the elements' bytes one after the other.
//
//   std::tuple<int, std::string, double> row{1, "one", 1.0};
//   stream.write("row", row);
#ifndef VORN_PERSISTENCE_TYPES_TUPLE_H_
#define VORN_PERSISTENCE_TYPES_TUPLE_H_

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {
template <class... Ts>
struct MinimumEncodedBytes<std::tuple<Ts...>>
    : std::integral_constant<std::size_t, (std::size_t{0} + ... + MinimumEncodedBytes<Ts>::value)> {};
}  // namespace detail

template <class... Ts>
void write_persistent_value(const char* tag, const std::tuple<Ts...>& value, PersistentWriteStream& stream) {
  PersistentWriteStream::Block block(stream, tag, "Tuple");
  std::apply([&](const Ts&... items) { (stream.write("item", items), ...); }, value);
}

template <class... Ts>
void read_persistent_value(const char* tag, std::tuple<Ts...>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Tuple", presence);
  std::apply([&](Ts&... items) { (stream.read("item", items, ITEM_REQUIRED), ...); }, value);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_TUPLE_H_
