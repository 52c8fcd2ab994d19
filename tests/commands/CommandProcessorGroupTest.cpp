#include "vorn/commands/CommandProcessorGroup.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "AppendCommand.h"
#include "support/TestSupport.h"
#include "vorn/foundation/THandle.h"

namespace vorn {
namespace {

using test::Append;

// Records each notification as the flags it carried: h (history), c (clean
// state), a (active processor).
struct FlagLog : Observer {
  void update(Subject*, const UpdateFlags& flags) override {
    std::string entry;
    if (flags.test(CommandProcessor::history_changed)) entry += 'h';
    if (flags.test(CommandProcessor::clean_state_changed)) entry += 'c';
    if (flags.test(CommandProcessorGroup::active_changed)) entry += 'a';
    seen.push_back(entry);
  }
  std::vector<std::string> seen;
};

class CommandProcessorGroupTest : public ::testing::Test {
 protected:
  CommandProcessorGroupTest() {
    group.add(first);
    group.add(second);
    group.connect(log);
  }
  ~CommandProcessorGroupTest() override { group.disconnect(log); }

  std::string first_doc, second_doc;
  CommandProcessor first{0}, second{0};
  CommandProcessorGroup group;
  FlagLog log;
};

TEST_F(CommandProcessorGroupTest, ForwardsToTheActiveProcessor) {
  first.submit(make_handle<Append>(first_doc, "a"));
  second.submit(make_handle<Append>(second_doc, "b"));
  EXPECT_TRUE(log.seen.empty()) << "with no active processor nothing is passed on";

  group.set_active(&second);
  EXPECT_EQ(group.undo_name(), "Append b");
  EXPECT_TRUE(group.undo());
  EXPECT_EQ(second_doc, "");
  EXPECT_EQ(first_doc, "a") << "the inactive document is untouched";
  EXPECT_EQ(group.redo_name(), "Append b");
  EXPECT_TRUE(group.can_redo());
  EXPECT_FALSE(group.can_undo());

  first.submit(make_handle<Append>(first_doc, "c"));  // not active: not passed on
  group.set_active(&first);
  EXPECT_EQ(group.undo_name(), "Append c");
  EXPECT_FALSE(group.redo()) << "the first document has nothing to redo";
  EXPECT_EQ(log.seen, (std::vector<std::string>{"a", "hc", "a"}));
}

TEST_F(CommandProcessorGroupTest, WithoutAnActiveProcessorTheMenuIsEmpty) {
  group.set_active(&first);
  group.remove(first);
  const struct { const char* name; std::string got; std::string want; } cases[] = {
      {"undo", testing::error_of([&] { group.undo(); }), "CommandProcessorGroup::undo: no active processor"},
      {"redo", testing::error_of([&] { group.redo(); }), "CommandProcessorGroup::redo: no active processor"},
      {"a processor outside the group", testing::error_of([&] { group.set_active(&first); }),
       "CommandProcessorGroup::set_active: the processor is not in the group"},
      {"undo name", group.undo_name(), ""},
      {"redo name", group.redo_name(), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.got, c.want);
  }
  EXPECT_EQ(group.active(), nullptr);
  EXPECT_FALSE(group.can_undo());
  EXPECT_EQ(first.observer_count(), 0u) << "a removed processor is disconnected";
  EXPECT_EQ(log.seen, (std::vector<std::string>{"a", "a"}));
  EXPECT_THROW(group.undo(), std::logic_error);
}

TEST(CommandProcessorGroup, DisconnectsFromItsMembersWhenDestroyed) {
  CommandProcessor processor(0);
  {
    CommandProcessorGroup group;
    group.add(processor);
    group.add(processor);
    EXPECT_EQ(group.size(), 1u);
    EXPECT_EQ(processor.observer_count(), 1u);
  }
  EXPECT_EQ(processor.observer_count(), 0u);
}

}  // namespace
}  // namespace vorn
