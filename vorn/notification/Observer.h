// Observer: the watching side of the library's change notification.
//
// An Observer is connected to one or more Subjects and is called back through
// update() when a subject it watches announces a change with notify(). The
// subject passes the numbered update flags that were raised since its previous
// notification, so an observer can tell which aspects changed:
//
//   class SpectrumView : public vorn::Observer {
//    public:
//     void update(vorn::Subject* subject, const UpdateFlags& flags) override {
//       if (flags.test(kPeaksChanged)) redraw_peaks();
//     }
//   };
//
//   SpectrumView view;
//   spectrum.connect(view);       // spectrum is a vorn::Subject
//   spectrum.set_changed(kPeaksChanged);
//   spectrum.notify();            // view.update(&spectrum, {kPeaksChanged})
//   spectrum.disconnect(view);    // before view is destroyed
//
// Neither side owns the other and an observer does not disconnect itself when
// it is destroyed: disconnect it from every subject first.
//
// UpdateFlags::set, reset and update_flag throw std::invalid_argument for a
// negative flag number (and std::bad_alloc when growing fails); nothing else
// here throws.
#ifndef VORN_NOTIFICATION_OBSERVER_H_
#define VORN_NOTIFICATION_OBSERVER_H_

#include <cstddef>
#include <vector>

#include "vorn/foundation/Export.h"

namespace vorn {

class Subject;

class VORN_API Observer {
 public:
  // A growable bit vector indexed by non-negative flag numbers. A flag beyond
  // the current length counts as not set; raising or lowering it first grows
  // the vector to flag + 1 entries, filling with false.
  //
  //   Observer::UpdateFlags flags;
  //   flags.set(5);     // size() == 6, only flag 5 set
  //   flags.test(7);    // false
  class UpdateFlags {
   public:
    UpdateFlags() = default;

    void set(int flag) { update_flag(flag, true); }
    void reset(int flag) { update_flag(flag, false); }
    void update_flag(int flag, bool value);

    // False for a flag beyond the current length and for a negative flag.
    bool test(int flag) const noexcept {
      return flag >= 0 && static_cast<std::size_t>(flag) < bits_.size() && bits_[static_cast<std::size_t>(flag)];
    }

    // Empties the vector: size() becomes 0.
    void clear() noexcept { bits_.clear(); }

    std::size_t size() const noexcept { return bits_.size(); }

    // True when both have the same length and the same values.
    bool operator==(const UpdateFlags& other) const noexcept { return bits_ == other.bits_; }
    bool operator!=(const UpdateFlags& other) const noexcept { return bits_ != other.bits_; }

   private:
    std::vector<bool> bits_;
  };

  Observer() noexcept = default;
  Observer(const Observer&) noexcept = default;
  Observer& operator=(const Observer&) noexcept = default;
  virtual ~Observer() = default;

  // Called by `subject` from its notify(), with the flags that were raised
  // since its previous notification. By the time this runs, the subject's own
  // changed state and flags are already cleared.
  virtual void update(Subject* subject, const UpdateFlags& flags) = 0;
};

}  // namespace vorn

#endif  // VORN_NOTIFICATION_OBSERVER_H_
