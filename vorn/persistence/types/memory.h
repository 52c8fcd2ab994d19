// std::unique_ptr<T> as a persistent item: an owned object, stored by value
// (never through the handle registry, so two unique_ptrs never share an
// object on reading).
//
// Layout: a "Pointer" block holding "present" (a bool) and, for a non-null
// pointer, the object as "value". In an archive: 00 for null, 01 followed
// by the object's bytes otherwise. T must be default-constructible and is
// read as a T (a pointer to a base holding a derived object stores and
// restores the base's part only: use THandle for polymorphic objects).
//
//   std::unique_ptr<Settings> settings = std::make_unique<Settings>();
//   stream.write("settings", settings);
//   in.read("settings", settings);    // a new object, or null
//
// Reading replaces the previous object; throws what the stream throws.
#ifndef VORN_PERSISTENCE_TYPES_MEMORY_H_
#define VORN_PERSISTENCE_TYPES_MEMORY_H_

#include <memory>
#include <type_traits>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {
template <class T>
struct MinimumEncodedBytes<std::unique_ptr<T>> : std::integral_constant<std::size_t, 1> {};
}  // namespace detail

template <class T>
void write_persistent_value(const char* tag, const std::unique_ptr<T>& value, PersistentWriteStream& stream) {
  PersistentWriteStream::Block block(stream, tag, "Pointer");
  stream.write("present", value != nullptr);
  if (value != nullptr) stream.write("value", *value);
}

template <class T>
void read_persistent_value(const char* tag, std::unique_ptr<T>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  static_assert(std::is_default_constructible_v<T>, "a std::unique_ptr is read into a default-constructed T");
  PersistentReadStream::Block block(stream, tag, "Pointer", presence);
  bool present = false;
  stream.read("present", present, ITEM_REQUIRED);
  if (!present) {
    value.reset();
    return;
  }
  auto item = std::make_unique<T>();
  stream.read("value", *item, ITEM_REQUIRED);
  value = std::move(item);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_MEMORY_H_
