// Internal: do not include this file directly.
//
// Counter: the serial-number counter that a persistent stream shares among
// its handle registries, so that serial numbers run 1, 2, 3, ... across all
// handle types of one stream. 0 is reserved for the null handle.
//
//   auto counter = vorn::make_handle<vorn::detail::Counter>();
//   unsigned int serial = counter->value++;   // 1
//
// Never throws.
#ifndef VORN_PERSISTENCE_DETAIL_COUNTER_H_
#define VORN_PERSISTENCE_DETAIL_COUNTER_H_

namespace vorn::detail {

struct Counter {
  // The next serial number to hand out (writing) or to expect (reading).
  unsigned int value = 1;
};

}  // namespace vorn::detail

#endif  // VORN_PERSISTENCE_DETAIL_COUNTER_H_
