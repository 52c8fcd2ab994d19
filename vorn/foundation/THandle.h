// THandle<T>: the library's counted handle, through which every shared object
// is owned.
//
// A handle is two pointers: the object and a separate counter block
// (HandleCommon::UseCount) that the object knows nothing about. Copying a
// handle raises the strong count; the last handle to go deletes the object
// (through its virtual destructor when T is polymorphic). Casts share the
// counter block, so a base handle and a derived handle own the same object.
//
//   THandle<Shape> shape = make_handle<Circle>(2.0);
//   THandle<Shape> other = shape;                       // strong count 2
//   THandle<Circle> circle = handle_dynamic_cast<Circle>(shape);
//   if (circle == nullptr) { /* not a circle */ }
//   shape->area();          // throws std::runtime_error on a null handle
//
// Handles compare and order by the address of the object, so they serve as
// keys of std::map (through std::less) and std::unordered_map (std::hash).
// make_handle<T>(args...) builds the object and its handle in one step, so no
// raw pointer is ever in the caller's hands; a std::unique_ptr hands its
// object over with std::move:
//
//   THandle<Shape> adopted(std::move(unique_shape));    // unique_shape is empty
//
// The raw-pointer constructor stays for code that already holds a fresh
// object. Never make two handles from the same raw pointer: that gives two
// counter blocks and a double delete; share ownership by copying a handle.
//
// Counts are plain integers: a handle and its copies belong to one thread.
#ifndef VORN_FOUNDATION_THANDLE_H_
#define VORN_FOUNDATION_THANDLE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "vorn/foundation/HandleCommon.h"

namespace vorn {

template <class T>
class THandle {
 public:
  using element_type = T;

  THandle() noexcept = default;

  // Takes ownership of `object`; a null pointer gives a null handle that
  // allocates nothing.
  explicit THandle(T* object) : object_(object) {
    if (object_ != nullptr) {
      count_ = new HandleCommon::UseCount;
      count_->up_strong();
    }
  }

  // Takes the object over from `owned`, which is left empty. Only the default
  // deleter is accepted, since the handle deletes with `delete`. If the
  // counter block cannot be allocated, `owned` keeps the object.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  /*implicit*/ THandle(std::unique_ptr<U>&& owned)  // NOLINT(google-explicit-constructor)
  {
    if (owned != nullptr) {
      count_ = new HandleCommon::UseCount;
      count_->up_strong();
      object_ = owned.release();
    }
  }

  // Joins an existing counter block, as the casts do. Raises the strong count
  // when `object` is not null.
  THandle(T* object, HandleCommon::UseCount* count) : object_(object), count_(count) {
    if (object_ != nullptr) {
      if (count_ == nullptr) HandleCommon::null_handle_error();
      count_->up_strong();
    }
  }

  THandle(const THandle& other) noexcept : object_(other.object_), count_(other.count_) { acquire(); }

  THandle(THandle&& other) noexcept : object_(other.object_), count_(other.count_) {
    other.object_ = nullptr;
    other.count_ = nullptr;
  }

  // Converting copy from a handle of a derived class: shares the counter block.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  /*implicit*/ THandle(const THandle<U>& other) noexcept  // NOLINT(google-explicit-constructor)
      : object_(other.unhand()), count_(other.count_block()) {
    acquire();
  }

  // Converting move from a handle of a derived class: takes its share over.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  /*implicit*/ THandle(THandle<U>&& other) noexcept  // NOLINT(google-explicit-constructor)
      : object_(other.object_), count_(other.count_) {
    other.object_ = nullptr;
    other.count_ = nullptr;
  }

  ~THandle() { release(); }

  // Assigning a handle that designates the same object changes no count.
  THandle& operator=(const THandle& other) {
    if (other.object_ == object_) return *this;
    release();
    object_ = other.object_;
    count_ = other.count_;
    acquire();
    return *this;
  }

  THandle& operator=(THandle&& other) noexcept {
    if (other.object_ == object_) return *this;
    release();
    object_ = other.object_;
    count_ = other.count_;
    other.object_ = nullptr;
    other.count_ = nullptr;
    return *this;
  }

  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  THandle& operator=(const THandle<U>& other) {
    return *this = THandle(other);
  }

  T* operator->() const {
    if (object_ == nullptr) HandleCommon::null_handle_error();
    return object_;
  }

  T& operator*() const {
    if (object_ == nullptr) HandleCommon::null_handle_error();
    return *object_;
  }

  // The raw object pointer, null for a null handle. The handle keeps ownership.
  T* unhand() const noexcept { return object_; }

  // The counter block, null for a null handle.
  HandleCommon::UseCount* count_block() const noexcept { return count_; }

  explicit operator bool() const noexcept { return object_ != nullptr; }

  bool operator==(const T* object) const noexcept { return object_ == object; }
  bool operator!=(const T* object) const noexcept { return object_ != object; }

  void swap(THandle& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(count_, other.count_);
  }

 private:
  template <class U>
  friend class THandle;

  void acquire() noexcept {
    if (object_ != nullptr) count_->up_strong();
  }

  // The last handle deletes the object through HandleCommon::destroy, which
  // unwinds chains of handles iteratively.
  void release() noexcept {
    if (object_ != nullptr && count_->down_strong()) HandleCommon::destroy(const_cast<std::remove_cv_t<T>*>(object_), &delete_object);
  }

  static void delete_object(void* object) noexcept { delete static_cast<T*>(object); }

  T* object_ = nullptr;
  HandleCommon::UseCount* count_ = nullptr;
};

template <class T, class U>
bool operator==(const THandle<T>& a, const THandle<U>& b) noexcept {
  return a.unhand() == b.unhand();
}

template <class T, class U>
bool operator!=(const THandle<T>& a, const THandle<U>& b) noexcept {
  return a.unhand() != b.unhand();
}

// Builds a T from `args` and returns the handle that owns it. Arguments go to
// a constructor of T when it has a matching one, else T is brace-initialised,
// so aggregates work too:
//
//   auto entry = make_handle<Entry>(id, make_handle<std::string>("text"));
//   auto point = make_handle<Point>(1.0, 2.0);   // struct Point { double x, y; };
//
// Throws what T's constructor throws and std::bad_alloc; nothing leaks.
template <class T, class... Args>
THandle<T> make_handle(Args&&... args) {
  if constexpr (std::is_constructible_v<T, Args&&...>) {
    return THandle<T>(std::make_unique<T>(std::forward<Args>(args)...));
  } else {
    return THandle<T>(std::unique_ptr<T>(new T{std::forward<Args>(args)...}));
  }
}

template <class T>
void swap(THandle<T>& a, THandle<T>& b) noexcept {
  a.swap(b);
}

// Converts the object pointer with static_cast and shares the counter block.
// A null source gives a null handle.
template <class To, class From>
THandle<To> handle_static_cast(THandle<From> source) {
  if (source.unhand() == nullptr) return THandle<To>();
  return THandle<To>(static_cast<To*>(source.unhand()), source.count_block());
}

// Converts the object pointer with dynamic_cast. A null source or a failed
// cast gives a null handle and touches no count; a successful cast shares the
// counter block.
template <class To, class From>
THandle<To> handle_dynamic_cast(THandle<From> source) {
  if (source.unhand() == nullptr) return THandle<To>();
  To* object = dynamic_cast<To*>(source.unhand());
  if (object == nullptr) return THandle<To>();
  return THandle<To>(object, source.count_block());
}

}  // namespace vorn

// Handles order by object address compared as unsigned integers; the null
// handle sorts first and two handles to one object are equivalent keys.
template <class T>
struct std::less<vorn::THandle<T>> {
  bool operator()(const vorn::THandle<T>& a, const vorn::THandle<T>& b) const noexcept {
    return reinterpret_cast<std::uintptr_t>(a.unhand()) < reinterpret_cast<std::uintptr_t>(b.unhand());
  }
};

template <class T>
struct std::hash<vorn::THandle<T>> {
  std::size_t operator()(const vorn::THandle<T>& h) const noexcept { return std::hash<const T*>()(h.unhand()); }
};

#endif  // VORN_FOUNDATION_THANDLE_H_
