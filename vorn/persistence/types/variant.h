// std::variant<Ts...> as a persistent item, for persistent,
// default-constructible Ts.
//
// Layout: a "Variant" block holding "index" (an unsigned int, the index of
// the alternative held) and the alternative as "value". In an archive: the
// 4-byte index, then the alternative's bytes. A valueless variant cannot be
// written.
//
//   std::variant<int, std::string> id = std::string("X1");
//   stream.write("id", id);           // 00 00 00 01 00 00 00 02 'X' '1'
//
// Throws std::invalid_argument "PersistentWriteStream::write: variant '<tag>'
// holds no value" when writing a valueless variant, and std::runtime_error
// "PersistentReadStream::read: variant '<tag>' index <i> is not below <n>"
// when the stored index names no alternative.
#ifndef VORN_PERSISTENCE_TYPES_VARIANT_H_
#define VORN_PERSISTENCE_TYPES_VARIANT_H_

#include <cstddef>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {
template <class... Ts>
struct MinimumEncodedBytes<std::variant<Ts...>> : std::integral_constant<std::size_t, 4> {};

// Reads alternative `index` of V into `value`, for I = 0, 1, ...
template <class V, std::size_t I = 0>
void read_variant_alternative(std::size_t index, V& value, PersistentReadStream& stream) {
  if constexpr (I < std::variant_size_v<V>) {
    if (index != I) {
      read_variant_alternative<V, I + 1>(index, value, stream);
      return;
    }
    std::variant_alternative_t<I, V> item{};
    stream.read("value", item, ITEM_REQUIRED);
    value.template emplace<I>(std::move(item));
  }
}
}  // namespace detail

template <class... Ts>
void write_persistent_value(const char* tag, const std::variant<Ts...>& value, PersistentWriteStream& stream) {
  if (value.valueless_by_exception())
    throw std::invalid_argument(std::string("PersistentWriteStream::write: variant '") + tag + "' holds no value");
  PersistentWriteStream::Block block(stream, tag, "Variant");
  stream.write("index", static_cast<unsigned int>(value.index()));
  std::visit([&stream](const auto& item) { stream.write("value", item); }, value);
}

template <class... Ts>
void read_persistent_value(const char* tag, std::variant<Ts...>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Variant", presence);
  unsigned int index = 0;
  stream.read("index", index, ITEM_REQUIRED);
  if (index >= sizeof...(Ts)) {
    throw std::runtime_error(std::string("PersistentReadStream::read: variant '") + tag + "' index " +
                             std::to_string(index) + " is not below " + std::to_string(sizeof...(Ts)));
  }
  detail::read_variant_alternative(index, value, stream);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_VARIANT_H_
