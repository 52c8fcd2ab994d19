#include "vorn/commands/CommandProcessor.h"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "AppendCommand.h"
#include "support/TestSupport.h"
#include "vorn/commands/BeginMacroCommand.h"
#include "vorn/commands/ClearHistoryCommand.h"
#include "vorn/commands/CommandMacroBlock.h"
#include "vorn/commands/EndMacroCommand.h"
#include "vorn/commands/ReentrancyGuard.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"

namespace vorn {
namespace {

using test::Append;

// A document, its processor and shorthands for driving them.
struct Desk {
  THandle<Append> make(const std::string& text, int id = -1) { return make_handle<Append>(doc, text, id); }
  bool submit(const THandle<Append>& command, CommandProcessor& p) { return p.submit(command); }
  bool submit(const std::string& text, int id = -1) { return submit(make(text, id), processor); }
  void begin(const std::string& name) { processor.submit(make_handle<BeginMacroCommand>(name)); }
  void end() { processor.submit(make_handle<EndMacroCommand>()); }
  // Runs a script of words: "(name" opens a macro, ")" closes one, "!x" submits a failing x, anything else
  // is submitted as text.
  void run(const std::string& script) {
    std::istringstream words(script);
    for (std::string w; words >> w;) {
      if (w[0] == '(') begin(w.substr(1));
      if (w == ")") end();
      if (w[0] == '!') {
        const THandle<Append> failing = make(w.substr(1));
        failing->fail = true;
        submit(failing, processor);
      }
      if (w[0] != '(' && w != ")" && w[0] != '!') submit(w);
    }
  }
  void expect_logic_error(const std::function<void()>& f, const char* message) {
    try {
      f();
      ADD_FAILURE() << "no exception, expected " << message;
    } catch (const std::logic_error& e) {
      EXPECT_STREQ(e.what(), message);
    }
  }

  std::string doc;
  CommandProcessor processor{0};
};

// Counts notifications and notes what an Edit menu would show at each.
struct MenuWatcher : Observer {
  explicit MenuWatcher(CommandProcessor& p) : processor(p) { processor.connect(*this); }
  ~MenuWatcher() override { processor.disconnect(*this); }
  void update(Subject*, const Observer::UpdateFlags& flags) override {
    ++updates;
    clean_flips += flags.test(CommandProcessor::clean_state_changed) ? 1 : 0;
    names += "[" + processor.undo_name() + "]";
    if (on_update) on_update();
  }
  CommandProcessor& processor;
  int updates = 0;
  int clean_flips = 0;
  std::string names;
  std::function<void()> on_update;
};

class CommandProcessorTest : public ::testing::Test, protected Desk {};

TEST_F(CommandProcessorTest, UndoRedoAndFailures) {
  EXPECT_FALSE(processor.undo());
  EXPECT_FALSE(processor.redo());
  run("a b c");
  EXPECT_EQ(processor.undo_name(), "Append c");
  processor.undo();
  processor.undo();
  EXPECT_EQ(doc, "a");
  EXPECT_EQ(processor.redo_name(), "Append b");
  EXPECT_EQ(processor.position(), 1);

  // Failed commands are not recorded and keep the redo side.
  const THandle<Append> failing = make("f");
  failing->fail = true;
  EXPECT_FALSE(submit(failing, processor));
  const THandle<Append> throwing = make("t");
  throwing->before = [] { throw std::runtime_error("disk full"); };
  EXPECT_THROW(submit(throwing, processor), std::runtime_error);
  EXPECT_THROW(processor.submit(THandle<Command>()), std::runtime_error);
  EXPECT_EQ(processor.history_size(), 3);
  processor.redo();
  submit("x");  // discards the redo side
  EXPECT_EQ(doc, "abx");
  EXPECT_EQ(processor.history_size(), 3);
  EXPECT_FALSE(processor.can_redo());

  // A step whose undo throws stays where it was.
  const THandle<Append> fragile = make("y");
  fragile->undo_hook = [] { throw std::runtime_error("cannot"); };
  submit(fragile, processor);
  EXPECT_THROW(processor.undo(), std::runtime_error);
  EXPECT_EQ(processor.position(), 4);
  EXPECT_EQ(doc, "abxy");
}

TEST_F(CommandProcessorTest, MergingTheBoundAndClearing) {
  CommandProcessor bounded(3);
  for (const char* t : {"h", "e", "y"}) submit(make(t, 1), bounded);
  EXPECT_EQ(bounded.history_size(), 1) << "same id merges";
  submit(make(" "), bounded);
  submit(make("y", 2), bounded);
  submit(make("o", 2), bounded);
  submit(make("!"), bounded);
  EXPECT_EQ(bounded.history_size(), 3) << "the oldest step is dropped";
  while (bounded.undo()) {
  }
  EXPECT_EQ(doc, "hey");

  submit("a");
  processor.mark_clean();
  processor.submit(make_handle<ClearHistoryCommand>());
  EXPECT_EQ(processor.history_size(), 0);
  EXPECT_TRUE(processor.is_clean()) << "clearing the history changes no data";
  submit("b");
  const THandle<Append> irreversible = make("c");
  irreversible->undoable = false;
  submit(irreversible, processor);
  EXPECT_EQ(processor.history_size(), 0);
  EXPECT_FALSE(processor.is_clean());
}

TEST_F(CommandProcessorTest, MacrosNestAndUndoAsOneStep) {
  run("a (Outer b (Inner c )");
  EXPECT_FALSE(processor.can_undo());
  expect_logic_error([&] { processor.undo(); }, "CommandProcessor::undo: a macro is open");
  expect_logic_error([&] { processor.redo(); }, "CommandProcessor::redo: a macro is open");
  expect_logic_error([&] { processor.mark_clean(); }, "CommandProcessor::mark_clean: a macro is open");
  run("d )");
  EXPECT_EQ(processor.history_size(), 2);
  EXPECT_EQ(processor.undo_name(), "Outer");
  processor.undo();
  EXPECT_EQ(doc, "a");
  processor.redo();
  EXPECT_EQ(doc, "abcd");
  expect_logic_error([&] { end(); }, "CommandProcessor::submit: no macro is open");
  run("(Empty )");
  EXPECT_EQ(processor.history_size(), 2) << "an empty macro records nothing";

  // A macro whose undo fails half way is restored whole.
  {
    CommandMacroBlock macro(processor, "Three");
    submit("x");
    const THandle<Append> fragile = make("y");
    fragile->undo_hook = [] { throw std::runtime_error("stuck"); };
    submit(fragile, processor);
    submit("z");
  }
  EXPECT_THROW(processor.undo(), std::runtime_error);
  EXPECT_EQ(doc, "abcdxyz");
  EXPECT_EQ(processor.position(), 3);

  try {
    CommandMacroBlock macro(processor, "Broken");
    submit("q");
    throw std::runtime_error("abandon");
  } catch (const std::runtime_error&) {
  }
  EXPECT_FALSE(processor.macro_open()) << "the block closes the macro as the exception passes";
  EXPECT_EQ(processor.undo_name(), "Broken");
}

TEST_F(CommandProcessorTest, CleanStateFollowsThePosition) {
  EXPECT_TRUE(processor.is_clean());
  submit("a");
  processor.mark_clean();
  submit("b");
  processor.undo();
  EXPECT_TRUE(processor.is_clean());
  processor.undo();
  EXPECT_FALSE(processor.is_clean());
  processor.redo();
  submit("x", 7);
  processor.mark_clean();
  submit("y", 7);  // merged into the clean step: it changed
  processor.undo();
  processor.redo();
  EXPECT_FALSE(processor.is_clean());
  processor.mark_clean();
  processor.undo();
  submit("z");  // discards the clean step
  processor.undo();
  processor.redo();
  EXPECT_FALSE(processor.is_clean());

  CommandProcessor bounded(2);
  for (const char* t : {"1", "2", "3"}) submit(make(t), bounded);  // drops the clean step
  bounded.undo();
  bounded.undo();
  EXPECT_FALSE(bounded.is_clean());
}

TEST_F(CommandProcessorTest, ObserversFollowAndNobodyReenters) {
  auto recorder = std::make_unique<MenuWatcher>(processor);
  submit("a");
  processor.undo();
  processor.redo();
  processor.mark_clean();
  EXPECT_EQ(recorder->updates, 4);
  EXPECT_EQ(recorder->clean_flips, 4);

  recorder->on_update = [&] {
    expect_logic_error([&] { processor.undo(); }, "CommandProcessor::undo: another operation is in progress");
  };
  submit("b");
  recorder->on_update = nullptr;
  const THandle<Append> reentrant = make("c");
  reentrant->before = [&] { submit("nested"); };
  expect_logic_error([&] { submit(reentrant, processor); },
                     "CommandProcessor::submit: another operation is in progress");
  EXPECT_TRUE(submit("d")) << "the guard is released after a refusal";
  EXPECT_EQ(doc, "abd");
  recorder.reset();

  bool busy = false;
  try {
    ReentrancyGuard guard(busy, "Op::run");
    throw 1;
  } catch (int) {
  }
  EXPECT_FALSE(busy);
}

TEST_F(CommandProcessorTest, TracesEveryStepAtLevelTwo) {
  testing::ScopedStreamCapture captured(std::cout);
  VornLog::set_level(2);
  CommandProcessor bounded(1);
  submit(make("a", 3), bounded);
  submit(make("b", 3), bounded);
  submit(make("c"), bounded);
  bounded.undo();
  bounded.redo();
  VornLog::set_level(0);
  EXPECT_EQ(captured.text(),
            "DEBUG 2: CommandProcessor::submit 'Append a'\n"
            "DEBUG 2: CommandProcessor::submit 'Append b'\n"
            "DEBUG 2: CommandProcessor::merge 'Append b' into 'Append a'\n"
            "DEBUG 2: CommandProcessor::submit 'Append c'\n"
            "DEBUG 2: CommandProcessor::drop 'Append a'\n"
            "DEBUG 2: CommandProcessor::undo 'Append c'\n"
            "DEBUG 2: CommandProcessor::redo 'Append c'\n");
}

TEST_F(CommandProcessorTest, ObserversHearOfAMacroOnceWhenItCloses) {
  const struct {
    const char* name;
    const char* script;
    int updates;
    int clean_flips;
    std::string names;
  } cases[] = {
      {"three commands", "(Outer a b c )", 1, 1, "[Outer]"},
      {"nested macros", "(Outer a (Inner b ) c )", 1, 1, "[Outer]"},
      {"a failing member", "(Outer !f a )", 1, 1, "[Outer]"},
      {"an empty macro", "(Empty )", 1, 0, "[]"},
      {"a macro after a step", "a (M b )", 2, 1, "[Append a][M]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Desk fresh;
    MenuWatcher watcher(fresh.processor);
    fresh.run(c.script);
    EXPECT_EQ(watcher.updates, c.updates);
    EXPECT_EQ(watcher.clean_flips, c.clean_flips);
    EXPECT_EQ(watcher.names, c.names);
  }
}

TEST_F(CommandProcessorTest, ObsoleteStepsAreDroppedFromTheHistory) {
  const struct {
    const char* name;
    std::function<void(Desk&, const THandle<Append>& b)> run;  // after "a", with b unsubmitted
    std::string doc;
    int history_size;
    int position;
    bool clean;
  } cases[] = {
      {"obsolete before undo: dropped without undoing",
       [](Desk& t, const THandle<Append>& b) {
         t.submit(b, t.processor);
         b->set_obsolete(true);
         EXPECT_TRUE(t.processor.undo());
       },
       "ab", 1, 1, false},
      {"obsolete while undoing: undone, then dropped",
       [](Desk& t, const THandle<Append>& b) {
         b->undo_hook = [raw = b.unhand()] { raw->set_obsolete(true); };
         t.submit(b, t.processor);
         t.processor.undo();
       },
       "a", 1, 1, false},
      {"obsolete at redo: dropped without redoing",
       [](Desk& t, const THandle<Append>& b) {
         t.submit(b, t.processor);
         t.processor.undo();
         b->set_obsolete(true);
         EXPECT_TRUE(t.processor.redo());
       },
       "a", 1, 1, false},
      {"obsolete after execute: never recorded",
       [](Desk& t, const THandle<Append>& b) {
         b->before = [raw = b.unhand()] { raw->set_obsolete(true); };
         EXPECT_TRUE(t.submit(b, t.processor));
       },
       "ab", 1, 1, false},
      {"a merge that cancels out: the clean state before it holds",
       [](Desk& t, const THandle<Append>& b) {
         t.processor.mark_clean();
         b->on_merge = [](Append& self) { self.set_obsolete(true); };
         t.submit(b, t.processor);
         t.submit("c", 5);
       },
       "abc", 1, 1, true},
      {"dropping a step the clean state included",
       [](Desk& t, const THandle<Append>& b) {
         t.submit(b, t.processor);
         t.processor.mark_clean();
         t.processor.undo();
         b->set_obsolete(true);
         t.processor.redo();
       },
       "a", 1, 1, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Desk fresh;
    fresh.submit("a");
    c.run(fresh, fresh.make("b", 5));
    EXPECT_EQ(fresh.doc, c.doc);
    EXPECT_EQ(fresh.processor.history_size(), c.history_size);
    EXPECT_EQ(fresh.processor.position(), c.position);
    EXPECT_EQ(fresh.processor.is_clean(), c.clean);
  }
}

}  // namespace
}  // namespace vorn
