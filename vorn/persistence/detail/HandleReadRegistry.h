// Internal: do not include this file directly.
//
// HandleReadRegistry<T>: while a stream reads, maps serial numbers back to
// the handles made for them, so that shared and cyclic graphs are restored
// with their sharing.
//
//   auto counter = vorn::make_handle<vorn::detail::Counter>();
//   vorn::detail::HandleReadRegistry<Leaf> registry(counter);
//   auto found = registry.load(1);          // found.missing: make the object
//   registry.set_value(1, vorn::make_handle<Leaf>());
//   registry.load(1).handle;                // the same object from now on
//
// Serial numbers must arrive in the order 1, 2, 3, ... across all registries
// sharing the counter: set_value throws std::runtime_error "Handle serial
// number out of order.  Expected: <n> was: <m>" otherwise (the counter still
// moves on, and the handle is not registered). A registry without a counter
// throws the null-handle std::runtime_error.
#ifndef VORN_PERSISTENCE_DETAIL_HANDLEREADREGISTRY_H_
#define VORN_PERSISTENCE_DETAIL_HANDLEREADREGISTRY_H_

#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "vorn/foundation/THandle.h"
#include "vorn/persistence/detail/Counter.h"
#include "vorn/persistence/detail/HandleReadRegistryBase.h"

namespace vorn::detail {

template <class T>
class HandleReadRegistry : public HandleReadRegistryBase {
 public:
  struct Lookup {
    THandle<T> handle;  // null when missing
    bool missing;
  };

  explicit HandleReadRegistry(THandle<Counter> counter) : counter_(std::move(counter)) {}

  Lookup load(unsigned int serial) const {
    auto found = handles_.find(serial);
    if (found == handles_.end()) return {THandle<T>(), true};
    return {found->second, false};
  }

  void set_value(unsigned int serial, THandle<T> handle) {
    const unsigned int expected = counter_->value++;
    if (serial != expected) {
      std::ostringstream message;
      message << "Handle serial number out of order.  Expected: " << expected << " was: " << serial;
      throw std::runtime_error(message.str());
    }
    handles_.emplace(serial, std::move(handle));
  }

 private:
  std::unordered_map<unsigned int, THandle<T>> handles_;
  THandle<Counter> counter_;
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_HANDLEREADREGISTRY_H_
