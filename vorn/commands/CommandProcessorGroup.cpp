#include "vorn/commands/CommandProcessorGroup.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace vorn {

CommandProcessorGroup::~CommandProcessorGroup() {
  for (CommandProcessor* member : members_) member->disconnect(*this);
}

void CommandProcessorGroup::add(CommandProcessor& processor) {
  if (contains(processor)) return;
  members_.push_back(&processor);
  processor.connect(*this);
}

void CommandProcessorGroup::remove(CommandProcessor& processor) {
  const auto found = std::find(members_.begin(), members_.end(), &processor);
  if (found == members_.end()) return;
  members_.erase(found);
  processor.disconnect(*this);
  if (active_ == &processor) set_active(nullptr);
}

bool CommandProcessorGroup::contains(const CommandProcessor& processor) const noexcept {
  return std::find(members_.begin(), members_.end(), &processor) != members_.end();
}

void CommandProcessorGroup::set_active(CommandProcessor* processor) {
  if (processor != nullptr && !contains(*processor)) {
    throw std::invalid_argument("CommandProcessorGroup::set_active: the processor is not in the group");
  }
  if (processor == active_) return;
  active_ = processor;
  set_changed(active_changed);
  notify();
}

CommandProcessor& CommandProcessorGroup::checked_active(const char* operation) const {
  if (active_ == nullptr) throw std::logic_error(std::string(operation) + ": no active processor");
  return *active_;
}

bool CommandProcessorGroup::undo() { return checked_active("CommandProcessorGroup::undo").undo(); }
bool CommandProcessorGroup::redo() { return checked_active("CommandProcessorGroup::redo").redo(); }

bool CommandProcessorGroup::can_undo() const noexcept { return active_ != nullptr && active_->can_undo(); }
bool CommandProcessorGroup::can_redo() const noexcept { return active_ != nullptr && active_->can_redo(); }

std::string CommandProcessorGroup::undo_name() const {
  return active_ != nullptr ? active_->undo_name() : std::string();
}

std::string CommandProcessorGroup::redo_name() const {
  return active_ != nullptr ? active_->redo_name() : std::string();
}

void CommandProcessorGroup::update(Subject* subject, const UpdateFlags& flags) {
  if (active_ == nullptr || subject != static_cast<Subject*>(active_)) return;
  set_changed();
  for (const int flag : {CommandProcessor::history_changed, CommandProcessor::clean_state_changed}) {
    if (flags.test(flag)) set_changed(flag);
  }
  notify();
}

}  // namespace vorn
