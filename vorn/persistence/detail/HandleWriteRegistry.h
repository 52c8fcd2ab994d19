// Internal: do not include this file directly.
//
// HandleWriteRegistry<T>: while a stream writes, gives every distinct object
// reached through a THandle<T> a serial number and remembers that it has
// been written, so that an object shared by several handles is stored once.
//
// The stream makes one registry per handle type, all sharing its Counter:
//
//   auto counter = vorn::make_handle<vorn::detail::Counter>();
//   vorn::detail::HandleWriteRegistry<Leaf> registry(counter);
//   registry.save(a);   // {1, true}: first appearance, write the object
//   registry.save(a);   // {1, false}: write only the serial number
//   registry.save(b);   // {2, true}
//
// The registry holds a strong handle to every object it saved, so the
// objects live at least as long as the stream. save() throws the null-handle
// std::runtime_error when the registry has no counter, and changes nothing.
#ifndef VORN_PERSISTENCE_DETAIL_HANDLEWRITEREGISTRY_H_
#define VORN_PERSISTENCE_DETAIL_HANDLEWRITEREGISTRY_H_

#include <unordered_map>
#include <utility>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/detail/Counter.h"
#include "vorn/persistence/detail/HandleWriteRegistryBase.h"

namespace vorn::detail {

template <class T>
class HandleWriteRegistry : public HandleWriteRegistryBase {
 public:
  explicit HandleWriteRegistry(THandle<Counter> counter) : counter_(std::move(counter)) {}

  // The serial number of the object `handle` designates, and whether this is
  // its first appearance. Two handles to one object are one entry.
  std::pair<unsigned int, bool> save(const THandle<T>& handle) {
    Counter& counter = *counter_;  // a registry without a counter fails here, unchanged
    auto [entry, inserted] = serials_.try_emplace(handle.unhand());
    if (!inserted) return {entry->second.serial, false};
    entry->second = {handle, counter.value++};
    return {entry->second.serial, true};
  }

 private:
  struct Saved {
    THandle<T> handle;  // keeps the object, and so its address, alive
    unsigned int serial = 0;
  };

  // Keyed by object address: two handles to one object are one entry. A hash
  // map keeps a save at constant cost however large the graph.
  std::unordered_map<const T*, Saved> serials_;
  THandle<Counter> counter_;
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_HANDLEWRITEREGISTRY_H_
