#include "vorn/commands/CommandProcessor.h"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/commands/BeginMacroCommand.h"
#include "vorn/commands/ClearHistoryCommand.h"
#include "vorn/commands/CommandMacroBlock.h"
#include "vorn/commands/EndMacroCommand.h"
#include "vorn/commands/ReentrancyGuard.h"
#include "vorn/commands/StoredNameCommand.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"

namespace vorn {
namespace {

// Appends text to a shared document. Typing (id 1) merges consecutive
// appends into one step. `fail` makes execute report failure; `hook` runs
// inside execute (to throw or to re-enter the processor).
class Append : public StoredNameCommand {
 public:
  Append(std::string& doc, std::string text, int id = -1)
      : StoredNameCommand("Append " + text), doc_(doc), text_(std::move(text)), id_(id) {}

  bool execute() override {
    if (hook) hook();
    if (fail) return false;
    doc_ += text_;
    return true;
  }
  bool undo() override {
    if (undo_hook) undo_hook();
    doc_.erase(doc_.size() - text_.size());
    return true;
  }
  int id() const override { return id_; }
  bool merge_with(const Command& next) override {
    text_ += static_cast<const Append&>(next).text_;
    return true;
  }

  bool fail = false;
  std::function<void()> hook;
  std::function<void()> undo_hook;

 private:
  std::string& doc_;
  std::string text_;
  int id_;
};

class Irreversible : public StoredNameCommand {
 public:
  explicit Irreversible(std::string& doc) : StoredNameCommand("Irreversible"), doc_(doc) {}
  bool execute() override {
    doc_ = "reset";
    return true;
  }
  bool undo() override { return false; }
  bool can_undo() const override { return false; }

 private:
  std::string& doc_;
};

class Recorder : public Observer {
 public:
  void update(Subject*, const Observer::UpdateFlags& flags) override {
    ++updates;
    if (flags.test(CommandProcessor::clean_state_changed)) ++clean_flips;
    if (on_update) on_update();
  }
  int updates = 0;
  int clean_flips = 0;
  std::function<void()> on_update;
};

class CommandProcessorTest : public ::testing::Test {
 protected:
  THandle<Command> append(const std::string& text, int id = -1) { return THandle<Command>(new Append(doc, text, id)); }
  bool submit(const std::string& text, int id = -1) { return processor.submit(append(text, id)); }
  void begin(const std::string& name) { processor.submit(THandle<Command>(new BeginMacroCommand(name))); }
  void end() { processor.submit(THandle<Command>(new EndMacroCommand)); }

  std::string doc;
  CommandProcessor processor{0};
};

TEST_F(CommandProcessorTest, UndoRedoTour) {
  EXPECT_FALSE(processor.undo());
  EXPECT_FALSE(processor.redo());
  EXPECT_TRUE(submit("a"));
  EXPECT_TRUE(submit("b"));
  EXPECT_TRUE(submit("c"));
  EXPECT_EQ(doc, "abc");
  EXPECT_EQ(processor.undo_name(), "Append c");
  EXPECT_EQ(processor.redo_name(), "");
  EXPECT_TRUE(processor.undo());
  EXPECT_TRUE(processor.undo());
  EXPECT_EQ(doc, "a");
  EXPECT_EQ(processor.position(), 1);
  EXPECT_EQ(processor.history_size(), 3);
  EXPECT_EQ(processor.redo_name(), "Append b");
  EXPECT_TRUE(processor.redo());
  EXPECT_EQ(doc, "ab");
  // A new command discards the redo side.
  EXPECT_TRUE(submit("x"));
  EXPECT_EQ(doc, "abx");
  EXPECT_EQ(processor.history_size(), 3);
  EXPECT_FALSE(processor.can_redo());
  while (processor.undo()) {
  }
  EXPECT_EQ(doc, "");
  EXPECT_EQ(processor.position(), 0);
}

TEST_F(CommandProcessorTest, FailingCommandsLeaveTheHistoryAlone) {
  submit("a");
  processor.undo();
  auto* failing = new Append(doc, "f");
  failing->fail = true;
  EXPECT_FALSE(processor.submit(THandle<Command>(failing)));
  auto* throwing = new Append(doc, "t");
  throwing->hook = [] { throw std::runtime_error("disk full"); };
  EXPECT_THROW(processor.submit(THandle<Command>(throwing)), std::runtime_error);
  EXPECT_EQ(doc, "");
  EXPECT_EQ(processor.history_size(), 1) << "the redo side survives a failed submit";
  EXPECT_TRUE(processor.redo());
  EXPECT_EQ(doc, "a");

  // A step whose undo throws stays where it was.
  auto* fragile = new Append(doc, "b");
  fragile->undo_hook = [] { throw std::runtime_error("cannot"); };
  processor.submit(THandle<Command>(fragile));
  EXPECT_THROW(processor.undo(), std::runtime_error);
  EXPECT_EQ(processor.position(), 2);
  EXPECT_EQ(doc, "ab");
  EXPECT_THROW(processor.submit(THandle<Command>()), std::runtime_error);
}

TEST_F(CommandProcessorTest, MergingAndTheBound) {
  CommandProcessor bounded(3);
  auto typed = [&](const std::string& t, int id) { return bounded.submit(append(t, id)); };
  typed("h", 1);
  typed("e", 1);
  typed("y", 1);
  EXPECT_EQ(bounded.history_size(), 1) << "same id merges";
  typed(" ", -1);
  typed("y", 2);
  typed("o", 2);
  EXPECT_EQ(bounded.history_size(), 3);
  typed("!", -1);
  EXPECT_EQ(bounded.history_size(), 3) << "the oldest step is dropped";
  while (bounded.undo()) {
  }
  EXPECT_EQ(doc, "hey") << "the dropped step can no longer be undone";

  CommandProcessor unbounded(-5);
  for (int i = 0; i < 50; ++i) unbounded.submit(append("z"));
  EXPECT_EQ(unbounded.history_size(), 50);
}

TEST_F(CommandProcessorTest, MacrosFormOneStepAndNest) {
  submit("a");
  begin("Outer");
  submit("b");
  begin("Inner");
  submit("c");
  end();
  EXPECT_TRUE(processor.macro_open());
  EXPECT_FALSE(processor.can_undo());
  EXPECT_THROW(processor.undo(), std::logic_error);
  try {
    processor.redo();
    FAIL();
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "CommandProcessor::redo: a macro is open");
  }
  EXPECT_THROW(processor.mark_clean(), std::logic_error);
  submit("d");
  end();
  EXPECT_EQ(doc, "abcd");
  EXPECT_EQ(processor.history_size(), 2);
  EXPECT_EQ(processor.undo_name(), "Outer");
  EXPECT_TRUE(processor.undo());
  EXPECT_EQ(doc, "a");
  EXPECT_TRUE(processor.redo());
  EXPECT_EQ(doc, "abcd");

  try {
    end();
    FAIL();
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "CommandProcessor::submit: no macro is open");
  }
  begin("Empty");
  end();
  EXPECT_EQ(processor.history_size(), 2) << "an empty macro records nothing";
}

TEST_F(CommandProcessorTest, MacroUndoThatFailsHalfWayIsRolledBack) {
  {
    CommandMacroBlock macro(processor, "Three");
    submit("a");
    auto* fragile = new Append(doc, "b");
    fragile->undo_hook = [] { throw std::runtime_error("stuck"); };
    processor.submit(THandle<Command>(fragile));
    submit("c");
  }
  EXPECT_THROW(processor.undo(), std::runtime_error);
  EXPECT_EQ(doc, "abc") << "the undone tail was redone";
  EXPECT_EQ(processor.position(), 1);
}

TEST_F(CommandProcessorTest, MacroBlockClosesWhenAnExceptionPasses) {
  try {
    CommandMacroBlock macro(processor, "Broken");
    submit("a");
    throw std::runtime_error("abandon");
  } catch (const std::runtime_error&) {
  }
  EXPECT_FALSE(processor.macro_open());
  EXPECT_EQ(processor.undo_name(), "Broken");
}

TEST_F(CommandProcessorTest, IrreversibleCommandsAndClearHistory) {
  submit("a");
  submit("b");
  processor.mark_clean();
  processor.submit(THandle<Command>(new ClearHistoryCommand));
  EXPECT_EQ(processor.history_size(), 0);
  EXPECT_TRUE(processor.is_clean()) << "clearing the history changes no data";
  submit("c");
  processor.submit(THandle<Command>(new Irreversible(doc)));
  EXPECT_EQ(doc, "reset");
  EXPECT_EQ(processor.history_size(), 0);
  EXPECT_FALSE(processor.can_undo());
  EXPECT_FALSE(processor.is_clean());
}

TEST_F(CommandProcessorTest, CleanStateFollowsThePosition) {
  EXPECT_TRUE(processor.is_clean());
  submit("a");
  EXPECT_FALSE(processor.is_clean());
  processor.mark_clean();
  submit("b");
  processor.undo();
  EXPECT_TRUE(processor.is_clean());
  processor.undo();
  EXPECT_FALSE(processor.is_clean());
  processor.redo();
  EXPECT_TRUE(processor.is_clean());
  // Typing merged into the clean step changes it: not clean any more, also
  // after undo and redo.
  submit("x", 7);
  processor.mark_clean();
  submit("y", 7);
  EXPECT_FALSE(processor.is_clean());
  processor.undo();
  processor.redo();
  EXPECT_FALSE(processor.is_clean());

  // Discarding the clean step (it was on the redo side) is permanent.
  processor.mark_clean();
  processor.undo();
  submit("z");
  EXPECT_FALSE(processor.is_clean());
  processor.undo();
  processor.redo();
  EXPECT_FALSE(processor.is_clean());

  // Dropping the clean step off a bounded history is permanent too.
  CommandProcessor bounded(2);
  EXPECT_TRUE(bounded.is_clean());
  bounded.submit(append("1"));
  bounded.submit(append("2"));
  bounded.submit(append("3"));
  bounded.undo();
  bounded.undo();
  EXPECT_FALSE(bounded.is_clean());
}

TEST_F(CommandProcessorTest, ObserversFollowAndCannotReenter) {
  Recorder recorder;
  processor.connect(recorder);
  submit("a");
  processor.undo();
  processor.redo();
  processor.mark_clean();
  EXPECT_EQ(recorder.updates, 4);
  EXPECT_EQ(recorder.clean_flips, 4) << "clean -> dirty -> clean -> dirty -> clean";

  std::string refused;
  recorder.on_update = [&] {
    try {
      processor.undo();
    } catch (const std::logic_error& e) {
      refused = e.what();
    }
  };
  submit("b");
  EXPECT_EQ(refused, "CommandProcessor::undo: another operation is in progress");
  EXPECT_EQ(doc, "ab");
  recorder.on_update = nullptr;

  auto* reentrant = new Append(doc, "c");
  reentrant->hook = [&] { submit("nested"); };
  try {
    processor.submit(THandle<Command>(reentrant));
    FAIL();
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "CommandProcessor::submit: another operation is in progress");
  }
  EXPECT_EQ(doc, "ab");
  EXPECT_TRUE(submit("d")) << "the guard is released after the refusal";
  processor.disconnect(recorder);
}

TEST_F(CommandProcessorTest, TracesEveryStepAtLevelTwo) {
  std::ostringstream captured;
  std::streambuf* old = std::cout.rdbuf(captured.rdbuf());
  VornLog::set_level(2);
  CommandProcessor bounded(1);
  bounded.submit(append("a", 3));
  bounded.submit(append("b", 3));
  bounded.submit(append("c"));
  bounded.undo();
  bounded.redo();
  VornLog::set_level(0);
  std::cout.rdbuf(old);
  EXPECT_EQ(captured.str(),
            "DEBUG 2: CommandProcessor::submit 'Append a'\n"
            "DEBUG 2: CommandProcessor::submit 'Append b'\n"
            "DEBUG 2: CommandProcessor::merge 'Append b' into 'Append a'\n"
            "DEBUG 2: CommandProcessor::submit 'Append c'\n"
            "DEBUG 2: CommandProcessor::drop 'Append a'\n"
            "DEBUG 2: CommandProcessor::undo 'Append c'\n"
            "DEBUG 2: CommandProcessor::redo 'Append c'\n");
}

TEST(ReentrancyGuardTest, ReleasesOnException) {
  bool busy = false;
  try {
    ReentrancyGuard guard(busy, "Op::run");
    EXPECT_THROW(ReentrancyGuard(busy, "Op::run"), std::logic_error);
    throw 1;
  } catch (int) {
  }
  EXPECT_FALSE(busy);
}

}  // namespace
}  // namespace vorn
