#include "vorn/notification/Subject.h"

#include <typeinfo>

#include "vorn/foundation/VornLog.h"

namespace vorn {

void Subject::trace(const char* operation) const {
  VORN_DEBUG_TRACE(3, operation << typeid(*this).name() << " at " << static_cast<const void*>(this));
}

void Subject::set_changed() {
  changed_ = true;
  trace("Subject::set_changed ");
}

void Subject::set_changed(int flag) {
  flags_.set(flag);
  changed_ = true;
  trace("Subject::set_changed ");
}

void Subject::clear_changed() {
  changed_ = false;
  flags_.clear();
  trace("Subject::clear_changed ");
}

void Subject::clear_flag(int flag) {
  trace("Subject::clear_flag ");
  flags_.reset(flag);
}

Subject::~Subject() = default;

void Subject::connect(Observer& observer) {
  observers_.insert(&observer);
  VORN_DEBUG_TRACE(3, "Subject::connect "
                          << typeid(*this).name() << " at " << static_cast<const void*>(this) << " to "
                          << typeid(observer).name() << " at " << static_cast<const void*>(&observer));
}

void Subject::disconnect(Observer& observer) {
  observers_.erase(&observer);
  VORN_DEBUG_TRACE(3, "Subject::disconnect "
                          << typeid(*this).name() << " at " << static_cast<const void*>(this) << " to "
                          << typeid(observer).name() << " at " << static_cast<const void*>(&observer));
}

bool Subject::changed() const { return changed_; }

bool Subject::is_connected(const Observer& observer) const { return observers_.count(&observer) != 0; }

void Subject::notify() {
  if (!changed()) {
    VORN_DEBUG_TRACE(3, "Subject::notify " << typeid(*this).name() << " at "
                                           << static_cast<const void*>(this)
                                           << " - changed was false - nothing to notify");
    return;
  }
  trace("Subject::notify ");
  const Observer::UpdateFlags flags = flags_;
  clear_changed();
  // Each step looks up the successor of the observer just called instead of
  // keeping an iterator, so an observer that disconnects itself (or others)
  // during its update cannot leave the walk on an erased element.
  auto next = observers_.begin();
  while (next != observers_.end()) {
    Observer* const observer = *next;
    VORN_DEBUG_TRACE(3, "Subject::notify to " << typeid(*observer).name() << " at "
                                              << static_cast<const void*>(observer));
    observer->update(this, flags);
    next = observers_.upper_bound(observer);
  }
}

}  // namespace vorn
