// std::optional<T> as a persistent item, for any persistent T.
//
// Layout: an "Optional" block holding "present" (a bool) and, when it is
// true, the value as "value". In an archive: 00 for an empty optional, 01
// followed by the value's bytes otherwise.
//
//   std::optional<long long> deadline;
//   stream.write("deadline", deadline);
//   in.read("deadline", deadline);    // empty again, or the value
//
// Reading replaces the previous contents; throws what the stream throws.
#ifndef VORN_PERSISTENCE_TYPES_OPTIONAL_H_
#define VORN_PERSISTENCE_TYPES_OPTIONAL_H_

#include <optional>
#include <type_traits>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {
template <class T>
struct MinimumEncodedBytes<std::optional<T>> : std::integral_constant<std::size_t, 1> {};
}  // namespace detail

template <class T>
void write_persistent_value(const char* tag, const std::optional<T>& value, PersistentWriteStream& stream) {
  PersistentWriteStream::Block block(stream, tag, "Optional");
  stream.write("present", value.has_value());
  if (value.has_value()) stream.write("value", *value);
}

template <class T>
void read_persistent_value(const char* tag, std::optional<T>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  PersistentReadStream::Block block(stream, tag, "Optional", presence);
  bool present = false;
  stream.read("present", present, ITEM_REQUIRED);
  if (!present) {
    value.reset();
    return;
  }
  T item{};
  stream.read("value", item, ITEM_REQUIRED);
  value = std::move(item);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_OPTIONAL_H_
