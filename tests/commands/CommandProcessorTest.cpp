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
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"

namespace vorn {
namespace {

using test::Append;

using testing::error_of;

// A document, its processor and shorthands for driving them.
struct Desk {
  explicit Desk(int bound = 0) : processor(bound) {}
  THandle<Append> make(const std::string& text, int id = -1) { return make_handle<Append>(doc, text, id); }
  bool submit(const THandle<Append>& command, CommandProcessor& p) { return p.submit(command); }
  bool submit(const std::string& text, int id = -1) { return submit(make(text, id), processor); }
  void begin(const std::string& name) { processor.submit(make_handle<BeginMacroCommand>(name)); }
  void end() { processor.submit(make_handle<EndMacroCommand>()); }
  // Runs a script of words: "(name" opens a macro, ")" closes one, "<" undoes, ">" redoes, "*" marks the state
  // clean, "~" makes the last command submitted obsolete; "x:7" submits an x of id 7, "!x" one that fails, "^x" one
  // whose undo throws, "#x" one that turns obsolete as it executes, "%x" as it is undone, "@x" when merged into;
  // anything else is plain text.
  void run(const std::string& script) {
    std::istringstream words(script);
    for (std::string w; words >> w;) {
      const std::size_t skip = std::string("!^#%@").find(w[0]) != std::string::npos, colon = w.find(':');
      const THandle<Append> command =
          make(w.substr(skip, colon - skip), colon == std::string::npos ? -1 : std::stoi(w.substr(colon + 1)));
      Append* const raw = command.unhand();
      command->fail = w[0] == '!';
      if (w[0] == '^') command->undo_hook = [] { throw std::runtime_error("stuck"); };
      if (w[0] == '#') command->before = [raw] { raw->set_obsolete(true); };
      if (w[0] == '%') command->undo_hook = [raw] { raw->set_obsolete(true); };
      if (w[0] == '@') command->on_merge = [](Append& self) { self.set_obsolete(true); };
      if (w[0] == '(') begin(w.substr(1));
      if (w == ")") end();
      if (w == "<") processor.undo();
      if (w == ">") processor.redo();
      if (w == "*") processor.mark_clean();
      if (w == "~") last->set_obsolete(true);
      if (std::string("()<>*~").find(w[0]) == std::string::npos) submit(last = command, processor);
    }
  }

  std::string doc;
  CommandProcessor processor;
  THandle<Append> last;
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
  run("< <");
  EXPECT_EQ(doc, "a");
  EXPECT_EQ(processor.redo_name(), "Append b");
  EXPECT_EQ(processor.position(), 1);

  // Failed commands are not recorded and keep the redo side.
  run("!f");
  const THandle<Append> throwing = make("t");
  throwing->before = [] { throw std::runtime_error("disk full"); };
  EXPECT_THROW(submit(throwing, processor), std::runtime_error);
  EXPECT_THROW(processor.submit(THandle<Command>()), std::runtime_error);
  EXPECT_EQ(processor.history_size(), 3);
  run("> x");  // discards the redo side
  EXPECT_EQ(doc, "abx");
  EXPECT_EQ(processor.history_size(), 3);
  EXPECT_FALSE(processor.can_redo());

  // A step whose undo throws stays where it was.
  run("^y");
  EXPECT_THROW(processor.undo(), std::runtime_error);
  EXPECT_EQ(processor.position(), 4);
  EXPECT_EQ(doc, "abxy");
}

TEST_F(CommandProcessorTest, MergingTheBoundAndClearing) {
  Desk bounded(3);
  bounded.run("h:1 e:1 y:1");
  EXPECT_EQ(bounded.processor.history_size(), 1) << "same id merges";
  bounded.run("- y:2 o:2 .");
  EXPECT_EQ(bounded.processor.history_size(), 3) << "the oldest step is dropped";
  while (bounded.processor.undo()) {
  }
  EXPECT_EQ(bounded.doc, "hey");

  run("a *");
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
  EXPECT_EQ(error_of([&] { processor.undo(); }), "CommandProcessor::undo: a macro is open");
  EXPECT_EQ(error_of([&] { processor.redo(); }), "CommandProcessor::redo: a macro is open");
  EXPECT_EQ(error_of([&] { processor.mark_clean(); }), "CommandProcessor::mark_clean: a macro is open");
  EXPECT_THROW(processor.undo(), std::logic_error);
  run("d )");
  EXPECT_EQ(processor.history_size(), 2);
  EXPECT_EQ(processor.undo_name(), "Outer");
  run("<");
  EXPECT_EQ(doc, "a");
  run(">");
  EXPECT_EQ(doc, "abcd");
  EXPECT_EQ(error_of([&] { end(); }), "CommandProcessor::submit: no macro is open");
  run("(Empty )");
  EXPECT_EQ(processor.history_size(), 2) << "an empty macro records nothing";

  // A macro whose undo fails half way is restored whole.
  run("(Three x ^y z )");
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

TEST(CommandProcessor, CleanStateFollowsThePosition) {
  const struct { const char* name; int bound; const char* script; bool clean; } cases[] = {
      {"a new processor", 0, "", true},
      {"undone back to the clean step", 0, "a * b <", true},
      {"undone past it", 0, "a * b < <", false},
      {"a merge into the clean step", 0, "x:7 * y:7 < >", false},
      {"the clean step discarded", 0, "a * < z < >", false},
      {"the clean step dropped by the bound", 2, "1 2 3 < <", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Desk desk(c.bound);
    desk.run(c.script);
    EXPECT_EQ(desk.processor.is_clean(), c.clean);
  }
}

TEST_F(CommandProcessorTest, ObserversFollowAndNobodyReenters) {
  auto recorder = std::make_unique<MenuWatcher>(processor);
  run("a < > *");
  EXPECT_EQ(recorder->updates, 4);
  EXPECT_EQ(recorder->clean_flips, 4);

  std::string refusal;
  recorder->on_update = [&] { refusal = error_of([&] { processor.undo(); }); };
  submit("b");
  EXPECT_EQ(refusal, "CommandProcessor::undo: another operation is in progress");
  recorder->on_update = nullptr;
  const THandle<Append> reentrant = make("c");
  reentrant->before = [&] { submit("nested"); };
  EXPECT_EQ(error_of([&] { submit(reentrant, processor); }),
            "CommandProcessor::submit: another operation is in progress");
  EXPECT_TRUE(submit("d")) << "the guard is released after a refusal";
  EXPECT_EQ(doc, "abd");
}

TEST_F(CommandProcessorTest, TracesEveryStepAtLevelTwo) {
  testing::ScopedStreamCapture captured(std::cout);
  VornLog::set_level(2);
  Desk(1).run("a:3 b:3 c < >");
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
  const struct { const char* name; const char* script; int updates; int clean_flips; std::string names; } cases[] = {
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

TEST(CommandProcessor, ObsoleteStepsAreDroppedFromTheHistory) {
  const struct {
    const char* name;
    const char* script;
    std::string doc;
    int history_size, position;
    bool clean;
  } cases[] = {
      {"obsolete before undo: dropped without undoing", "a b ~ <", "ab", 1, 1, false},
      {"obsolete while undoing: undone, then dropped", "a %b <", "a", 1, 1, false},
      {"obsolete at redo: dropped without redoing", "a b < ~ >", "a", 1, 1, false},
      {"obsolete after execute: never recorded", "a #b", "ab", 1, 1, false},
      {"a merge that cancels out: the clean state before it holds", "a * @b:5 c:5", "abc", 1, 1, true},
      {"dropping a step the clean state included", "a b * < ~ >", "a", 1, 1, false},
      {"a new step where the dropped clean one was", "a b * < ~ > c", "ac", 2, 2, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Desk desk;
    desk.run(c.script);
    EXPECT_EQ(desk.doc, c.doc);
    EXPECT_EQ(desk.processor.history_size(), c.history_size);
    EXPECT_EQ(desk.processor.position(), c.position);
    EXPECT_EQ(desk.processor.is_clean(), c.clean);
  }
}

}  // namespace
}  // namespace vorn
