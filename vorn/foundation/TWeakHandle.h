// TWeakHandle<T>: a weak reference to an object owned by THandles.
//
// A weak handle holds the counter block alive (through its weak count) but
// not the object. lock() gives a THandle that shares ownership while the
// object lives and a null handle once the last THandle has gone. Use it to
// break cycles (a child's link back to its parent) and for caches that must
// not keep objects alive.
//
//   THandle<Node> parent = make_handle<Node>();
//   TWeakHandle<Node> back(parent);
//   if (THandle<Node> p = back.lock()) { /* still alive */ }
//   parent = THandle<Node>();
//   back.expired();   // true
//
// Single-threaded, like THandle.
#ifndef VORN_FOUNDATION_TWEAKHANDLE_H_
#define VORN_FOUNDATION_TWEAKHANDLE_H_

#include <type_traits>
#include <utility>

#include "vorn/foundation/HandleCommon.h"
#include "vorn/foundation/THandle.h"

namespace vorn {

template <class T>
class TWeakHandle {
 public:
  TWeakHandle() noexcept = default;

  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  /*implicit*/ TWeakHandle(const THandle<U>& strong) noexcept  // NOLINT(google-explicit-constructor)
      : object_(strong.unhand()), count_(strong.count_block()) {
    if (object_ == nullptr) count_ = nullptr;
    acquire();
  }

  TWeakHandle(const TWeakHandle& other) noexcept : object_(other.object_), count_(other.count_) { acquire(); }

  TWeakHandle(TWeakHandle&& other) noexcept : object_(other.object_), count_(other.count_) {
    other.object_ = nullptr;
    other.count_ = nullptr;
  }

  ~TWeakHandle() { release(); }

  TWeakHandle& operator=(const TWeakHandle& other) noexcept {
    TWeakHandle(other).swap(*this);
    return *this;
  }

  TWeakHandle& operator=(TWeakHandle&& other) noexcept {
    TWeakHandle(std::move(other)).swap(*this);
    return *this;
  }

  // A strong handle sharing the counter block while the object lives, else a
  // null handle.
  THandle<T> lock() const {
    if (expired()) return THandle<T>();
    return THandle<T>(object_, count_);
  }

  bool expired() const noexcept { return count_ == nullptr || !count_->weak_reference_valid(); }

  void reset() noexcept { TWeakHandle().swap(*this); }

  void swap(TWeakHandle& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(count_, other.count_);
  }

 private:
  void acquire() noexcept {
    if (count_ != nullptr) count_->up_weak();
  }

  void release() noexcept {
    if (count_ != nullptr) count_->down_weak();
  }

  T* object_ = nullptr;
  HandleCommon::UseCount* count_ = nullptr;
};

}  // namespace vorn

#endif  // VORN_FOUNDATION_TWEAKHANDLE_H_
