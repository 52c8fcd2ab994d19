#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "support/ScopedStreamCapture.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"
#include "vorn/notification/Subject.h"

namespace vorn {
namespace {

using Flags = Observer::UpdateFlags;

// Records every update in a log shared by all observers of a test, so that
// the order of calls across observers can be checked.
struct Call {
  const Observer* observer;
  Subject* subject;
  Flags flags;
};

class RecordingObserver : public Observer {
 public:
  RecordingObserver() = default;
  explicit RecordingObserver(std::vector<Call>* log) : log_(log) {}
  void set_log(std::vector<Call>* log) { log_ = log; }
  void update(Subject* subject, const Flags& flags) override { log_->push_back({this, subject, flags}); }

 private:
  std::vector<Call>* log_ = nullptr;
};

Flags flags_of(std::initializer_list<int> raised) {
  Flags flags;
  for (int flag : raised) flags.set(flag);
  return flags;
}

TEST(UpdateFlags, GrowsOnDemandAndTestsBeyondTheEndAsFalse) {
  Flags flags;
  EXPECT_EQ(flags.size(), 0u);
  EXPECT_FALSE(flags.test(0));

  flags.set(5);
  EXPECT_EQ(flags.size(), 6u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(flags.test(i), i == 5) << "flag " << i;

  flags.reset(8);  // lowering a flag beyond the end still grows the vector
  EXPECT_EQ(flags.size(), 9u);
  EXPECT_FALSE(flags.test(8));

  flags.update_flag(2, true);
  flags.update_flag(5, false);
  EXPECT_TRUE(flags.test(2));
  EXPECT_FALSE(flags.test(5));
  EXPECT_EQ(flags.size(), 9u);

  flags.clear();
  EXPECT_EQ(flags.size(), 0u);
  EXPECT_FALSE(flags.test(2));
}

TEST(UpdateFlags, RejectsNegativeFlagNumbers) {
  Flags flags;
  flags.set(1);
  EXPECT_FALSE(flags.test(-1));
  for (int bad : {-1, -1000}) {
    SCOPED_TRACE(bad);
    EXPECT_THROW(flags.set(bad), std::invalid_argument);
    EXPECT_THROW(flags.reset(bad), std::invalid_argument);
    try {
      flags.update_flag(bad, true);
      FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
      EXPECT_EQ(std::string(e.what()), "Observer::UpdateFlags::update_flag: negative flag number " + std::to_string(bad));
    }
    EXPECT_EQ(flags, flags_of({1}));
  }
}

TEST(Subject, NotifyPassesRaisedFlagsAndClearsThemFirst) {
  std::vector<Call> log;
  RecordingObserver observer(&log);
  Subject subject;
  EXPECT_FALSE(subject.changed());
  subject.connect(observer);

  subject.set_changed(1);
  subject.set_changed(4);
  EXPECT_TRUE(subject.changed());
  EXPECT_EQ(subject.flags(), flags_of({1, 4}));

  subject.notify();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].subject, &subject);
  EXPECT_EQ(log[0].flags, flags_of({1, 4}));
  EXPECT_FALSE(subject.changed());
  EXPECT_EQ(subject.flags().size(), 0u);

  // Nothing changed since: a second notify calls nobody.
  subject.notify();
  EXPECT_EQ(log.size(), 1u);

  // A plain set_changed notifies with no flags at all.
  subject.set_changed();
  subject.notify();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[1].flags.size(), 0u);
}

TEST(Subject, ClearFlagAndClearChanged) {
  Subject subject;
  subject.set_changed(2);
  subject.set_changed(3);
  subject.clear_flag(2);
  EXPECT_TRUE(subject.changed());
  EXPECT_FALSE(subject.flags().test(2));
  EXPECT_TRUE(subject.flags().test(3));

  subject.clear_flag(9);  // beyond the end: grows, changes nothing visible
  EXPECT_TRUE(subject.changed());
  EXPECT_TRUE(subject.flags().test(3));

  subject.clear_changed();
  EXPECT_FALSE(subject.changed());
  EXPECT_EQ(subject.flags().size(), 0u);

  // A failed set_changed leaves the subject unchanged.
  EXPECT_THROW(subject.set_changed(-3), std::invalid_argument);
  EXPECT_FALSE(subject.changed());
}

TEST(Subject, ObserversAreCalledOnceEachInAscendingAddressOrder) {
  std::vector<Call> log;
  RecordingObserver observers[3];
  for (auto& o : observers) o.set_log(&log);

  struct Case {
    const char* name;
    std::vector<int> connect_order;
  };
  const Case cases[] = {
      {"ascending", {0, 1, 2}},
      {"descending", {2, 1, 0}},
      {"mixed with repeats", {1, 2, 1, 0, 2}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    log.clear();
    Subject subject;
    for (int i : c.connect_order) subject.connect(observers[i]);
    EXPECT_EQ(subject.observer_count(), 3u);
    subject.set_changed(0);
    subject.notify();
    ASSERT_EQ(log.size(), 3u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(log[i].observer, &observers[i]);
  }
}

TEST(Subject, DisconnectStopsUpdatesAndIgnoresStrangers) {
  std::vector<Call> log;
  RecordingObserver a(&log), b(&log), stranger(&log);
  Subject subject;
  subject.connect(a);
  subject.connect(b);
  subject.disconnect(stranger);
  subject.disconnect(a);
  subject.disconnect(a);
  EXPECT_FALSE(subject.is_connected(a));
  EXPECT_TRUE(subject.is_connected(b));

  subject.set_changed();
  subject.notify();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].observer, &b);
}

// Changes the subject again from within its update.
class RechangingObserver : public Observer {
 public:
  void update(Subject* subject, const Flags& flags) override {
    received = flags;
    subject->set_changed(7);
  }
  Flags received;
};

TEST(Subject, ChangesMadeDuringAnUpdateWaitForTheNextNotification) {
  Subject subject;
  RechangingObserver observer;
  subject.connect(observer);
  subject.set_changed(1);
  subject.notify();
  EXPECT_EQ(observer.received, flags_of({1}));
  EXPECT_TRUE(subject.changed());
  EXPECT_EQ(subject.flags(), flags_of({7}));

  subject.notify();
  EXPECT_EQ(observer.received, flags_of({7}));
}

// Disconnects itself on its first update.
class OneShotObserver : public Observer {
 public:
  explicit OneShotObserver(std::vector<const Observer*>* calls) : calls_(calls) {}
  void update(Subject* subject, const Flags&) override {
    calls_->push_back(this);
    subject->disconnect(*this);
  }

 private:
  std::vector<const Observer*>* calls_;
};

TEST(Subject, AnObserverMayDisconnectItselfDuringItsUpdate) {
  std::vector<const Observer*> calls;
  std::vector<OneShotObserver> observers(4, OneShotObserver(&calls));
  Subject subject;
  for (auto& o : observers) subject.connect(o);
  subject.set_changed();
  subject.notify();
  ASSERT_EQ(calls.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(calls[i], &observers[i]);
  EXPECT_EQ(subject.observer_count(), 0u);
}

// Overrides the virtual state so that notify can be seen to go through it.
class NeverChangedSubject : public Subject {
 public:
  bool changed() const override { return false; }
};

class CountingSubject : public Subject {
 public:
  void clear_changed() override {
    ++clears;
    Subject::clear_changed();
  }
  int clears = 0;
};

TEST(Subject, NotifyGoesThroughTheVirtualChangedAndClearChanged) {
  std::vector<Call> log;
  RecordingObserver observer(&log);

  NeverChangedSubject never;
  never.connect(observer);
  never.set_changed(3);
  never.notify();
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(never.flags(), flags_of({3}));  // the flags are kept

  CountingSubject counting;
  counting.connect(observer);
  counting.set_changed();
  counting.notify();
  EXPECT_EQ(counting.clears, 1);
  EXPECT_EQ(log.size(), 1u);
}

// Runs `body` with debug level `level` (minimum `minimum`) and returns what
// the log wrote to standard output.
template <class Body>
std::string traced(int level, int minimum, Body body) {
  const int saved_level = VornLog::level();
  const int saved_minimum = VornLog::minimum_level();
  VornLog::set_level(level);
  VornLog::set_minimum_level(minimum);
  std::string text;
  {
    testing::ScopedStreamCapture capture(std::cout);
    body();
    text = capture.text();
  }
  VornLog::set_level(saved_level);
  VornLog::set_minimum_level(saved_minimum);
  return text;
}

std::string where(const void* object, const std::type_info& type) {
  std::ostringstream out;
  out << type.name() << " at " << object;
  return out.str();
}

TEST(Subject, TracesEveryOperationAtLevelThree) {
  CountingSubject subject;
  RecordingObserver observer;
  std::vector<Call> log;
  observer.set_log(&log);
  const Subject* base = &subject;
  const std::string s = where(base, typeid(CountingSubject));
  const std::string o = where(static_cast<const void*>(&observer), typeid(RecordingObserver));

  const std::string text = traced(3, 0, [&] {
    subject.notify();
    subject.connect(observer);
    subject.set_changed();
    subject.set_changed(2);
    subject.clear_flag(2);
    subject.notify();
    subject.disconnect(observer);
  });
  const std::string expected = "DEBUG 3: Subject::notify " + s + " - changed was false - nothing to notify\n" +
                               "DEBUG 3: Subject::connect " + s + " to " + o + "\n" +
                               "DEBUG 3: Subject::set_changed " + s + "\n" +
                               "DEBUG 3: Subject::set_changed " + s + "\n" +
                               "DEBUG 3: Subject::clear_flag " + s + "\n" +
                               "DEBUG 3: Subject::notify " + s + "\n" +
                               "DEBUG 3: Subject::clear_changed " + s + "\n" +
                               "DEBUG 3: Subject::notify to " + o + "\n" +
                               "DEBUG 3: Subject::disconnect " + s + " to " + o + "\n";
  EXPECT_EQ(text, expected);
}

TEST(Subject, TracesOnlyWhenLevelThreeIsInRange) {
  const struct {
    int level;
    int minimum;
    bool written;
  } cases[] = {{0, 0, false}, {2, 0, false}, {3, 0, true}, {9, 3, true}, {9, 4, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "level " << c.level << " minimum " << c.minimum);
    Subject subject;
    const std::string text = traced(c.level, c.minimum, [&] { subject.set_changed(); });
    EXPECT_EQ(!text.empty(), c.written) << text;
  }
}

}  // namespace
}  // namespace vorn
