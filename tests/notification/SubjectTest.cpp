#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"
#include "vorn/notification/Subject.h"

namespace vorn {
namespace {

using testing::error_of;

// "0100" for a vector of four flags with only flag 1 raised.
std::string bits(const Observer::UpdateFlags& flags) {
  std::string result;
  for (std::size_t i = 0; i < flags.size(); ++i) result += flags.test(static_cast<int>(i)) ? '1' : '0';
  return result;
}

// Appends its name and the flags it receives to a log; optionally disconnects
// itself, or changes the subject again, from within the update.
class Recorder : public Observer {
 public:
  enum Action { none, disconnect_self, raise_7 };
  Recorder(std::string* log, char name, Action action = none) : log_(log), name_(name), action_(action) {}
  void update(Subject* subject, const UpdateFlags& flags) override {
    *log_ += name_ + bits(flags) + " ";
    if (action_ == disconnect_self) subject->disconnect(*this);
    if (action_ == raise_7) subject->set_changed(7);
  }

 private:
  std::string* log_;
  char name_;
  Action action_;
};

TEST(UpdateFlags, GrowOnDemandAndRefuseNegativeNumbers) {
  Observer::UpdateFlags flags;
  flags.set(5);
  EXPECT_EQ(bits(flags), "000001");
  EXPECT_FALSE(flags.test(-1) || flags.test(6) || flags.test(100));
  flags.reset(8);  // lowering beyond the end grows too
  flags.update_flag(5, false);
  flags.update_flag(2, true);
  EXPECT_EQ(error_of([&] { flags.set(-2); }), "Observer::UpdateFlags::update_flag: negative flag number -2");
  EXPECT_EQ(bits(flags), "001000000");
  flags.clear();
  EXPECT_EQ(flags.size(), 0u);
}

// Reports itself unchanged whatever was set: notify() must ask changed().
class NeverChanged : public Subject {
 public:
  bool changed() const override { return false; }
};

TEST(Subject, NotifiesInAddressOrderWithTheFlagsRaisedSinceTheLastTime) {
  std::string log;
  Recorder observers[3] = {{&log, 'a'}, {&log, 'b', Recorder::disconnect_self}, {&log, 'c', Recorder::raise_7}};
  Recorder stranger(&log, 's');
  Subject subject;
  NeverChanged never;
  never.connect(stranger);
  never.set_changed(3);
  never.notify();
  EXPECT_EQ(log + bits(never.flags()), "0001");  // nobody called, the flags are kept for later
  never.clear_changed();
  EXPECT_EQ(never.flags().size(), 0u);

  for (int i : {2, 0, 1, 2}) subject.connect(observers[i]);  // connecting twice keeps one connection
  subject.disconnect(stranger);
  subject.notify();  // never changed: nobody is called
  subject.set_changed(1);
  subject.set_changed(4);
  subject.set_changed(6);
  subject.clear_flag(6);  // lowers the flag, the subject stays changed
  // b disconnects itself and the walk goes on with c, whose change during
  // its update waits for the next notification.
  subject.notify();
  EXPECT_EQ(log + std::to_string(subject.observer_count()) + " " + bits(subject.flags()),
            "a0100100 b0100100 c0100100 2 00000001");
  subject.clear_changed();
  subject.notify();
  subject.set_changed();
  subject.notify();
  EXPECT_EQ(log + (subject.is_connected(observers[1]) ? "b" : "") + (subject.changed() ? " changed" : ""),
            "a0100100 b0100100 c0100100 a c  changed");
}

// Traces name types as they are written in source, not in the compiler's
// encoding.
std::string where(const void* object, const char* type) {
  std::ostringstream out;
  out << type << " at " << object;
  return out.str();
}

TEST(Subject, TracesEveryOperationAtLevelThree) {
  NeverChanged quiet;
  Subject subject;
  std::string log;
  Recorder observer(&log, 'a');
  const auto run = [&] {
    quiet.notify();
    subject.connect(observer);
    subject.set_changed();
    subject.set_changed(2);
    subject.clear_flag(2);
    subject.notify();
    subject.disconnect(observer);
  };
  const int saved_level = VornLog::level();
  testing::ScopedStreamCapture capture(std::cout);
  VornLog::set_level(2);
  run();
  EXPECT_EQ(capture.text(), "");
  VornLog::set_level(3);
  run();
  VornLog::set_level(saved_level);
  const std::string d = "DEBUG 3: Subject::", s = where(&subject, "vorn::Subject") + "\n",
                    o = " to " + where(&observer, "vorn::(anonymous namespace)::Recorder") + "\n", s_o = s.substr(0, s.size() - 1) + o;
  EXPECT_EQ(capture.text(), d + "notify " + where(static_cast<Subject*>(&quiet), "vorn::(anonymous namespace)::NeverChanged") +
                                " - changed was false - nothing to notify\n" + d + "connect " + s_o + d +
                                "set_changed " + s + d + "set_changed " + s + d + "clear_flag " + s + d + "notify " +
                                s + d + "clear_changed " + s + d + "notify" + o + d + "disconnect " + s_o);
}

}  // namespace
}  // namespace vorn
