// Subject: the watched side of the library's change notification.
//
// A Subject remembers whether it changed since its last notification and
// which numbered update flags were raised meanwhile. notify() hands those
// flags to every connected Observer, in ascending order of the observers'
// addresses, after clearing the subject's own state, so that an observer that
// changes the subject again during its update raises fresh flags for the next
// notification:
//
//   class Spectrum : public vorn::Subject { ... };
//   enum { kPointsChanged = 0, kPeaksChanged = 1 };
//
//   spectrum.connect(view);                 // view is a vorn::Observer
//   spectrum.set_changed(kPeaksChanged);
//   spectrum.set_changed(kPointsChanged);   // flags accumulate
//   spectrum.notify();                      // view.update(&spectrum, {0, 1})
//   spectrum.changed();                     // false; flags() is empty again
//   spectrum.notify();                      // nothing changed: nobody called
//
// Subjects do not own their observers and tell none of them when destroyed;
// connecting the same observer twice keeps one connection. Clients disconnect
// an observer before destroying it. During an update an observer may
// disconnect itself; the walk then continues with the observer that follows
// it in address order.
//
// Every operation writes a debug trace line of level 3 through VornLog (the
// operation, the dynamic type name decoded to source form, such as
// "vorn::ProgressMonitor", then " at " and the address), formatted only when
// that level is enabled.
//
// Nothing here throws except std::bad_alloc and what observers' update()
// throws; an exception from an observer ends the walk, the remaining
// observers are not called and the flags already cleared stay cleared.
#ifndef VORN_NOTIFICATION_SUBJECT_H_
#define VORN_NOTIFICATION_SUBJECT_H_

#include <functional>
#include <set>

#include "vorn/foundation/Export.h"
#include "vorn/notification/Observer.h"

namespace vorn {

class VORN_API Subject {
 public:
  Subject() = default;
  // A copy would silently duplicate the connections, which are the client's
  // bookkeeping; subjects are therefore neither copied nor moved.
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  // Marks the subject changed.
  virtual void set_changed();
  // Marks the subject changed and raises `flag` (std::invalid_argument when
  // negative).
  virtual void set_changed(int flag);
  // Marks the subject unchanged and lowers every flag.
  virtual void clear_changed();
  // Lowers one flag; the changed state stays as it is.
  virtual void clear_flag(int flag);

  virtual ~Subject();

  virtual void connect(Observer& observer);
  // Disconnecting an observer that is not connected does nothing.
  virtual void disconnect(Observer& observer);

  virtual bool changed() const;

  // When changed(): clears the changed state and the flags, then calls
  // update(this, flags as they were) on every connected observer in ascending
  // address order. When not changed: calls nobody and keeps the flags.
  virtual void notify();

  // The flags raised since the last notification or clear_changed().
  const Observer::UpdateFlags& flags() const noexcept { return flags_; }

  // True when `observer` is connected to this subject.
  bool is_connected(const Observer& observer) const;

  // The number of connected observers.
  std::size_t observer_count() const noexcept { return observers_.size(); }

 private:
  void trace(const char* operation) const;

  bool changed_ = false;
  std::set<Observer*, std::less<>> observers_;
  Observer::UpdateFlags flags_;
};

}  // namespace vorn

#endif  // VORN_NOTIFICATION_SUBJECT_H_
