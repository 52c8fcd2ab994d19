#include "vorn/commands/CommandProcessor.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "vorn/commands/BeginMacroCommand.h"
#include "vorn/commands/ClearHistoryCommand.h"
#include "vorn/commands/EndMacroCommand.h"
#include "vorn/commands/ReentrancyGuard.h"
#include "vorn/foundation/VornLog.h"

namespace vorn {

// The commands of one outermost macro, undone in reverse and redone in order
// as one step. When a member fails half way, the members already handled are
// brought back so that the step stays wholly done or wholly undone.
class CommandProcessor::Macro : public StoredNameCommand {
 public:
  explicit Macro(std::string name) : StoredNameCommand(std::move(name)) {}

  bool execute() override { return run_forward(0); }
  bool redo() override { return run_forward(0); }
  bool undo() override { return run_backward(commands_.size()); }

  std::vector<THandle<Command>>& commands() { return commands_; }

 private:
  // Redoes commands [from, end). On failure undoes what it redid.
  bool run_forward(std::size_t from) {
    std::size_t i = from;
    try {
      for (; i < commands_.size(); ++i) {
        if (!commands_[i]->redo()) {
          roll_back_forward(from, i);
          return false;
        }
      }
    } catch (...) {
      roll_back_forward(from, i);
      throw;
    }
    return true;
  }

  // Undoes commands [0, to) from the last. On failure redoes what it undid.
  bool run_backward(std::size_t to) {
    std::size_t i = to;
    try {
      for (; i > 0; --i) {
        if (!commands_[i - 1]->undo()) {
          roll_back_backward(i, to);
          return false;
        }
      }
    } catch (...) {
      roll_back_backward(i, to);
      throw;
    }
    return true;
  }

  void roll_back_forward(std::size_t from, std::size_t failed) noexcept {
    for (std::size_t j = failed; j > from; --j) attempt([&] { return commands_[j - 1]->undo(); });
  }

  void roll_back_backward(std::size_t failed, std::size_t to) noexcept {
    for (std::size_t j = failed; j < to; ++j) attempt([&] { return commands_[j]->redo(); });
  }

  // Rollback is best effort: a member that cannot be restored is reported in
  // the log, and the original failure is what the caller sees.
  template <class F>
  static void attempt(F restore) noexcept {
    try {
      if (restore()) return;
      VornLog::start_error_line() << "CommandProcessor: could not restore a macro member";
      VornLog::end_error_line();
    } catch (...) {
      try {
        VornLog::start_error_line() << "CommandProcessor: restoring a macro member threw";
        VornLog::end_error_line();
      } catch (...) {
      }
    }
  }

  std::vector<THandle<Command>> commands_;
};

CommandProcessor::CommandProcessor(int max_commands)
    : max_commands_(max_commands > 0 ? static_cast<std::size_t>(max_commands) : 0) {}

CommandProcessor::~CommandProcessor() = default;

bool CommandProcessor::submit(THandle<Command> command) {
  ReentrancyGuard guard(busy_, "CommandProcessor::submit");
  Command& c = *command;
  if (dynamic_cast<BeginMacroCommand*>(&c) != nullptr) return submit_begin_macro(command);
  if (dynamic_cast<EndMacroCommand*>(&c) != nullptr) return submit_end_macro();

  const bool was_clean = is_clean();
  VORN_DEBUG_TRACE(2, "CommandProcessor::submit '" << c.name() << "'");
  if (!c.execute()) {
    VORN_DEBUG_TRACE(2, "CommandProcessor::submit '" << c.name() << "' failed");
    return false;
  }
  if (dynamic_cast<ClearHistoryCommand*>(&c) != nullptr) {
    forget_history();
    if (was_clean) clean_position_ = 0;
  } else if (!c.can_undo()) {
    forget_history();
  } else if (c.is_obsolete()) {
    VORN_DEBUG_TRACE(2, "CommandProcessor::submit '" << c.name() << "' is obsolete: not recorded");
    return true;
  } else if (macro_open()) {
    std::vector<THandle<Command>>& members = open_macro_->commands();
    if (members.empty() || !merge_into(*members.back(), c)) {
      members.push_back(command);
    } else if (members.back()->is_obsolete()) {
      members.pop_back();
    }
  } else {
    record(command);
  }
  announce(was_clean);
  return true;
}

bool CommandProcessor::submit_begin_macro(const THandle<Command>& command) {
  VORN_DEBUG_TRACE(2, "CommandProcessor::submit begin of macro '" << command->name() << "'");
  const bool was_clean = is_clean();
  if (macro_depth_ == 0) {
    clean_before_macro_ = was_clean;
    open_macro_ = make_handle<Macro>(command->name());
  }
  ++macro_depth_;
  announce(was_clean);
  return true;
}

bool CommandProcessor::submit_end_macro() {
  if (macro_depth_ == 0) throw std::logic_error("CommandProcessor::submit: no macro is open");
  // Observers last heard of the processor before the outermost macro opened.
  const bool was_clean = macro_depth_ == 1 ? clean_before_macro_ : is_clean();
  if (--macro_depth_ == 0) {
    THandle<Macro> macro = std::move(open_macro_);
    VORN_DEBUG_TRACE(2, "CommandProcessor::submit end of macro '" << macro->name() << "' with "
                                                                  << macro->commands().size() << " commands");
    if (!macro->commands().empty()) record(macro);
  }
  announce(was_clean);
  return true;
}

void CommandProcessor::record(const THandle<Command>& step) {
  const std::size_t position = static_cast<std::size_t>(position_);
  if (position < history_.size()) {
    history_.erase(history_.begin() + static_cast<std::ptrdiff_t>(position), history_.end());
    if (clean_position_ > position_) clean_position_ = kNeverClean;
  }
  if (position_ > 0 && merge_into(*history_.back(), *step)) {
    if (history_.back()->is_obsolete()) {
      // The merged step undid itself: the document is as it was before it,
      // so a clean position there still holds.
      drop_obsolete(history_.size() - 1);
    } else if (clean_position_ == position_) {
      clean_position_ = kNeverClean;
    }
    return;
  }
  history_.push_back(step);
  ++position_;
  while (max_commands_ > 0 && history_.size() > max_commands_) drop_oldest();
}

bool CommandProcessor::merge_into(Command& previous, const Command& next) {
  if (next.id() < 0 || previous.id() != next.id()) return false;
  if (!previous.merge_with(next)) return false;
  VORN_DEBUG_TRACE(2, "CommandProcessor::merge '" << next.name() << "' into '" << previous.name() << "'");
  return true;
}

void CommandProcessor::drop_oldest() {
  VORN_DEBUG_TRACE(2, "CommandProcessor::drop '" << history_.front()->name() << "'");
  history_.pop_front();
  --position_;
  if (clean_position_ == 0) {
    clean_position_ = kNeverClean;
  } else if (clean_position_ > 0) {
    --clean_position_;
  }
}

// Removes the step at `index`, which is at or after the current position.
// A clean position beyond it described a state that included the step.
void CommandProcessor::drop_obsolete(std::size_t index) {
  VORN_DEBUG_TRACE(2, "CommandProcessor::drop obsolete '" << history_[index]->name() << "'");
  history_.erase(history_.begin() + static_cast<std::ptrdiff_t>(index));
  if (static_cast<std::size_t>(position_) > index) --position_;
  if (clean_position_ > position_) clean_position_ = kNeverClean;
}

void CommandProcessor::forget_history() {
  history_.clear();
  position_ = 0;
  clean_position_ = kNeverClean;
  if (open_macro_.unhand() != nullptr) open_macro_->commands().clear();
}

bool CommandProcessor::undo() {
  ReentrancyGuard guard(busy_, "CommandProcessor::undo");
  refuse_in_macro("CommandProcessor::undo");
  if (position_ == 0) return false;
  const bool was_clean = is_clean();
  const std::size_t index = static_cast<std::size_t>(position_ - 1);
  Command& step = *history_[index];
  if (!step.is_obsolete()) {
    VORN_DEBUG_TRACE(2, "CommandProcessor::undo '" << step.name() << "'");
    if (!step.undo()) return false;
  }
  --position_;
  if (step.is_obsolete()) drop_obsolete(index);
  announce(was_clean);
  return true;
}

bool CommandProcessor::redo() {
  ReentrancyGuard guard(busy_, "CommandProcessor::redo");
  refuse_in_macro("CommandProcessor::redo");
  if (static_cast<std::size_t>(position_) == history_.size()) return false;
  const bool was_clean = is_clean();
  const std::size_t index = static_cast<std::size_t>(position_);
  Command& step = *history_[index];
  if (!step.is_obsolete()) {
    VORN_DEBUG_TRACE(2, "CommandProcessor::redo '" << step.name() << "'");
    if (!step.redo()) return false;
  }
  if (step.is_obsolete()) {
    drop_obsolete(index);
  } else {
    ++position_;
  }
  announce(was_clean);
  return true;
}

bool CommandProcessor::can_undo() const noexcept { return !macro_open() && position_ > 0; }

bool CommandProcessor::can_redo() const noexcept {
  return !macro_open() && static_cast<std::size_t>(position_) < history_.size();
}

std::string CommandProcessor::undo_name() const {
  return can_undo() ? history_[static_cast<std::size_t>(position_ - 1)]->name() : std::string();
}

std::string CommandProcessor::redo_name() const {
  return can_redo() ? history_[static_cast<std::size_t>(position_)]->name() : std::string();
}

int CommandProcessor::history_size() const noexcept { return static_cast<int>(history_.size()); }

int CommandProcessor::position() const noexcept { return position_; }

void CommandProcessor::clear_history() {
  const bool was_clean = is_clean();
  forget_history();
  if (was_clean) clean_position_ = 0;
  announce(was_clean);
}

void CommandProcessor::mark_clean() {
  refuse_in_macro("CommandProcessor::mark_clean");
  const bool was_clean = is_clean();
  clean_position_ = position_;
  announce(was_clean);
}

bool CommandProcessor::is_clean() const noexcept {
  const bool macro_changed_something = open_macro_.unhand() != nullptr && !open_macro_->commands().empty();
  return clean_position_ == position_ && !macro_changed_something;
}

void CommandProcessor::announce(bool was_clean) {
  // Inside a macro observers are told nothing; submit_end_macro announces
  // the whole macro once it closes.
  if (macro_open()) return;
  set_changed(history_changed);
  if (was_clean != is_clean()) set_changed(clean_state_changed);
  notify();
}

void CommandProcessor::refuse_in_macro(const char* operation) const {
  if (macro_open()) throw std::logic_error(std::string(operation) + ": a macro is open");
}

}  // namespace vorn
