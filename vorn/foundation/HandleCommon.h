// HandleCommon: the counter block shared by every THandle and TWeakHandle that
// designates one object, and the error raised when a null handle is used.
//
// Applications rarely touch this class directly. A THandle<T> owns one strong
// reference in a HandleCommon::UseCount; a TWeakHandle<T> owns one weak
// reference. The block lives until both counts are zero, so a weak reference
// can outlive its object and still tell that the object is gone:
//
//   THandle<Foo> h = make_handle<Foo>();
//   h.count_block()->strong_count();        // 1
//   h.count_block()->weak_reference_valid(); // true
//
// The counts are plain integers: handles are single-threaded by design. A
// handle and all its copies must stay within one thread, or be guarded by the
// application's own lock.
#ifndef VORN_FOUNDATION_HANDLECOMMON_H_
#define VORN_FOUNDATION_HANDLECOMMON_H_

#include <cstdint>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API HandleCommon {
 public:
  // The counter block. `strong` counts THandles, `weak` counts weak
  // references. Both start at zero; the handle that creates the block raises
  // `strong` to one at once.
  class UseCount {
   public:
    UseCount() noexcept = default;
    UseCount(const UseCount&) = delete;
    UseCount& operator=(const UseCount&) = delete;

    void up_strong() noexcept { ++strong_; }
    void up_weak() noexcept { ++weak_; }

    // Lowers the strong count. Returns true when it reached zero, which tells
    // the caller to destroy the object. The block frees itself first unless
    // weak references still hold it.
    bool down_strong() noexcept {
      if (--strong_ != 0) return false;
      if (weak_ == 0) free_block();
      return true;
    }

    // Lowers the weak count and frees the block once nothing refers to it.
    // Never destroys the object.
    void down_weak() noexcept {
      if (--weak_ == 0 && strong_ == 0) free_block();
    }

    std::int32_t strong_count() const noexcept { return strong_; }
    std::int32_t weak_count() const noexcept { return weak_; }

    // True while the object is alive.
    bool weak_reference_valid() const noexcept { return strong_ != 0; }

   private:
    ~UseCount() = default;

    // Out of line so that callers never see the block freed in their own
    // code: a block freed on one path and still used on another (kept alive
    // by a weak count) is beyond what a compiler's use-after-free analysis
    // can follow.
    void free_block() noexcept;

    std::int32_t strong_ = 0;
    std::int32_t weak_ = 0;
  };

  // Deletes `object` through `deleter` (which must not throw). A deletion
  // that starts while another one on this thread is under way (a destructor
  // releasing the last handle of another object) is queued and run by the
  // outermost one once the current destructor returns, so a chain of a
  // million handles is released in a loop, not in a million nested
  // destructors. Every object is still deleted before the outermost release
  // returns; only the order within one release changes (owners before what
  // they own).
  static void destroy(void* object, void (*deleter)(void*)) noexcept;

  // Throws std::runtime_error "Internal error: access of null handle".
  [[noreturn]] static void null_handle_error();
};

}  // namespace vorn

#endif  // VORN_FOUNDATION_HANDLECOMMON_H_
