// HandleWriteRegistry<T>: while a stream writes, gives every distinct object
// reached through a THandle<T> a serial number and remembers that it has
// been written, so that an object shared by several handles is stored once.
//
// The stream makes one registry per handle type, all sharing its Counter:
//
//   vorn::THandle<vorn::Counter> counter(new vorn::Counter);
//   vorn::HandleWriteRegistry<Leaf> registry(counter);
//   registry.save(a);   // {1, true}: first appearance, write the object
//   registry.save(a);   // {1, false}: write only the serial number
//   registry.save(b);   // {2, true}
//
// The registry holds a strong handle to every object it saved, so the
// objects live at least as long as the stream. save() throws the null-handle
// std::runtime_error when the registry has no counter.
#ifndef VORN_PERSISTENCE_HANDLEWRITEREGISTRY_H_
#define VORN_PERSISTENCE_HANDLEWRITEREGISTRY_H_

#include <map>
#include <utility>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/Counter.h"
#include "vorn/persistence/HandleWriteRegistryBase.h"

namespace vorn {

template <class T>
class HandleWriteRegistry : public HandleWriteRegistryBase {
 public:
  explicit HandleWriteRegistry(THandle<Counter> counter) : counter_(std::move(counter)) {}

  // The serial number of the object `handle` designates, and whether this is
  // its first appearance. Two handles to one object are one entry.
  std::pair<unsigned int, bool> save(const THandle<T>& handle) {
    auto found = serials_.lower_bound(handle);
    if (found != serials_.end() && found->first == handle) return {found->second, false};
    const unsigned int serial = counter_->value++;
    serials_.emplace_hint(found, handle, serial);
    return {serial, true};
  }

 private:
  std::map<THandle<T>, unsigned int> serials_;
  THandle<Counter> counter_;
};

}  // namespace vorn

#endif  // VORN_PERSISTENCE_HANDLEWRITEREGISTRY_H_
