// std::chrono durations and system_clock time points as persistent items.
//
// Layout: no block. A duration is its count() as one long long item under
// the tag (8 bytes in an archive), in its own unit: what is read back into
// the same duration type is the same value. A system_clock::time_point is
// the nanoseconds since the clock's epoch as one long long item.
//
//   std::chrono::milliseconds timeout(1500);
//   stream.write("timeout", timeout);                 // 00 .. 05 DC
//   stream.write("saved", std::chrono::system_clock::now());
//
// Only durations with an integer count are supported. Throws
// std::out_of_range when a value does not survive: a count read that does
// not fit the duration's representation ("PersistentReadStream::read:
// duration '<tag>' count <n> does not fit"), or a time point read whose
// nanoseconds the clock's own duration cannot hold exactly.
#ifndef VORN_PERSISTENCE_TYPES_CHRONO_H_
#define VORN_PERSISTENCE_TYPES_CHRONO_H_

#include <chrono>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/detail/PersistentTraits.h"

namespace vorn {

namespace detail {
template <class R, class P>
struct MinimumEncodedBytes<std::chrono::duration<R, P>> : MinimumEncodedBytes<long long> {};
template <class D>
struct MinimumEncodedBytes<std::chrono::time_point<std::chrono::system_clock, D>> : MinimumEncodedBytes<long long> {
};
}  // namespace detail

template <class R, class P>
void write_persistent_value(const char* tag, const std::chrono::duration<R, P>& value,
                            PersistentWriteStream& stream) {
  static_assert(std::is_integral_v<R> && sizeof(R) <= sizeof(long long), "durations store an integer count");
  if constexpr (std::is_unsigned_v<R> && sizeof(R) == sizeof(long long)) {
    if (value.count() > static_cast<R>(std::numeric_limits<long long>::max())) {
      throw std::out_of_range(std::string("PersistentWriteStream::write: duration '") + tag + "' count " +
                              std::to_string(value.count()) + " does not fit a long long");
    }
  }
  stream.write(tag, static_cast<long long>(value.count()));
}

template <class R, class P>
void read_persistent_value(const char* tag, std::chrono::duration<R, P>& value, PersistentReadStreamPresence presence,
                           PersistentReadStream& stream) {
  static_assert(std::is_integral_v<R> && sizeof(R) <= sizeof(long long), "durations store an integer count");
  long long count = 0;
  stream.read(tag, count, presence);
  if (static_cast<long long>(static_cast<R>(count)) != count || (std::is_unsigned_v<R> && count < 0)) {
    throw std::out_of_range(std::string("PersistentReadStream::read: duration '") + tag + "' count " +
                            std::to_string(count) + " does not fit");
  }
  value = std::chrono::duration<R, P>(static_cast<R>(count));
}

template <class D>
void write_persistent_value(const char* tag, const std::chrono::time_point<std::chrono::system_clock, D>& value,
                            PersistentWriteStream& stream) {
  write_persistent_value(tag, std::chrono::duration_cast<std::chrono::nanoseconds>(value.time_since_epoch()),
                         stream);
}

template <class D>
void read_persistent_value(const char* tag, std::chrono::time_point<std::chrono::system_clock, D>& value,
                           PersistentReadStreamPresence presence, PersistentReadStream& stream) {
  std::chrono::nanoseconds since_epoch{};
  read_persistent_value(tag, since_epoch, presence, stream);
  const D converted = std::chrono::duration_cast<D>(since_epoch);
  if (std::chrono::duration_cast<std::chrono::nanoseconds>(converted) != since_epoch) {
    throw std::out_of_range(std::string("PersistentReadStream::read: time point '") + tag + "' of " +
                            std::to_string(since_epoch.count()) + " ns does not fit the clock's duration");
  }
  value = std::chrono::time_point<std::chrono::system_clock, D>(converted);
}

}  // namespace vorn

#endif  // VORN_PERSISTENCE_TYPES_CHRONO_H_
