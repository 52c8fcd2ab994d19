#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/ScopedStreamCapture.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"
#include "vorn/notification/Subject.h"

namespace vorn {
namespace {

using Flags = Observer::UpdateFlags;
class Recorder;
using Log = std::vector<std::pair<const Recorder*, Flags>>;

Flags flags_of(std::initializer_list<int> raised) {
  Flags flags;
  for (int flag : raised) flags.set(flag);
  return flags;
}

// Logs each update it receives; optionally disconnects itself, or changes
// the subject again, from within the update.
class Recorder : public Observer {
 public:
  enum Action { none, disconnect_self, raise_7 };
  explicit Recorder(Log* log, Action action = none) : log_(log), action_(action) {}
  void update(Subject* subject, const Flags& flags) override {
    log_->emplace_back(this, flags);
    if (action_ == disconnect_self) subject->disconnect(*this);
    if (action_ == raise_7) subject->set_changed(7);
  }

 private:
  Log* log_;
  Action action_;
};

TEST(UpdateFlags, GrowOnDemandAndRefuseNegativeNumbers) {
  Flags flags;
  flags.set(5);
  EXPECT_EQ(flags.size(), 6u);
  for (int i = -1; i < 8; ++i) EXPECT_EQ(flags.test(i), i == 5) << i;
  flags.reset(8);  // lowering beyond the end grows too
  flags.update_flag(5, false);
  EXPECT_EQ(flags.size(), 9u);
  EXPECT_FALSE(flags.test(5));
  try {
    flags.set(-2);
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "Observer::UpdateFlags::update_flag: negative flag number -2");
  }
  flags.clear();
  EXPECT_EQ(flags.size(), 0u);
}

// Reports itself unchanged whatever was set: notify() must ask changed().
class NeverChanged : public Subject {
 public:
  bool changed() const override { return false; }
};

TEST(Subject, NotifyHandsOverTheFlagsAfterClearingThem) {
  Log log;
  Recorder observer(&log);
  Subject subject;
  subject.connect(observer);
  subject.notify();  // never changed: nobody is called
  NeverChanged never;
  never.connect(observer);
  never.set_changed(3);
  never.notify();
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(never.flags(), flags_of({3}));  // kept for later

  subject.set_changed(1);
  subject.set_changed(4);
  subject.set_changed(6);
  subject.clear_flag(6);
  EXPECT_TRUE(subject.changed());
  subject.notify();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].first, &observer);
  Flags expected = flags_of({1, 4, 6});
  expected.reset(6);
  EXPECT_EQ(log[0].second, expected);
  EXPECT_FALSE(subject.changed());
  EXPECT_EQ(subject.flags().size(), 0u);
  subject.notify();
  EXPECT_EQ(log.size(), 1u);

  // A change made during an update waits for the next notification.
  Recorder rechanger(&log, Recorder::raise_7);
  subject.disconnect(observer);
  subject.connect(rechanger);
  subject.set_changed();
  subject.notify();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[1].second.size(), 0u);
  EXPECT_TRUE(subject.changed());
  EXPECT_EQ(subject.flags(), flags_of({7}));
}

TEST(Subject, CallsEachObserverOnceInAddressOrder) {
  for (Recorder::Action action : {Recorder::none, Recorder::disconnect_self}) {
    for (const std::vector<int>& order : {std::vector<int>{0, 1, 2}, {2, 1, 0}, {1, 2, 1, 0, 2}}) {
      SCOPED_TRACE(::testing::Message() << "action " << action << ", first connected " << order.front());
      Log log;
      Recorder observers[3] = {Recorder(&log, action), Recorder(&log, action), Recorder(&log, action)};
      Recorder stranger(&log);
      Subject subject;
      for (int i : order) subject.connect(observers[i]);
      subject.disconnect(stranger);
      subject.set_changed();
      subject.notify();
      ASSERT_EQ(log.size(), 3u);
      for (int i = 0; i < 3; ++i) EXPECT_EQ(log[i].first, &observers[i]);
      EXPECT_EQ(subject.observer_count(), action == Recorder::none ? 3u : 0u);
    }
  }
}

std::string where(const void* object, const std::type_info& type) {
  std::ostringstream out;
  out << type.name() << " at " << object;
  return out.str();
}

TEST(Subject, TracesEveryOperationAtLevelThree) {
  NeverChanged quiet;
  Subject subject;
  Log log;
  Recorder observer(&log);
  const std::string q = where(static_cast<Subject*>(&quiet), typeid(NeverChanged));
  const std::string s = where(&subject, typeid(Subject));
  const std::string o = where(&observer, typeid(Recorder));
  const auto run = [&] {
    quiet.notify();
    subject.connect(observer);
    subject.set_changed();
    subject.set_changed(2);
    subject.clear_flag(2);
    subject.notify();
    subject.disconnect(observer);
  };

  testing::ScopedStreamCapture capture(std::cout);
  VornLog::set_level(2);
  run();
  EXPECT_EQ(capture.text(), "");
  VornLog::set_level(3);
  run();
  VornLog::set_level(0);
  const std::string d = "DEBUG 3: Subject::";
  EXPECT_EQ(capture.text(), d + "notify " + q + " - changed was false - nothing to notify\n" + d + "connect " + s +
                                " to " + o + "\n" + d + "set_changed " + s + "\n" + d + "set_changed " + s + "\n" + d +
                                "clear_flag " + s + "\n" + d + "notify " + s + "\n" + d + "clear_changed " + s + "\n" +
                                d + "notify to " + o + "\n" + d + "disconnect " + s + " to " + o + "\n");
}

}  // namespace
}  // namespace vorn
