// CommandProcessorGroup: one Edit menu over the undo histories of several
// documents.
//
// Each open document keeps its own CommandProcessor; the group knows them all
// and which one is active (the document with the focus). Undo, redo and the
// questions a menu asks go to the active processor, and the group is a
// Subject that tells its observers when the active processor's history
// changes or another processor becomes active:
//
//   vorn::CommandProcessorGroup edit_menu;
//   edit_menu.add(first.processor());
//   edit_menu.add(second.processor());
//   edit_menu.set_active(&second.processor());   // the focus moved
//   edit_menu.undo_name();                       // what "Undo ..." shows
//   edit_menu.undo();                            // undoes in `second`
//   edit_menu.set_active(nullptr);               // no document: menu greyed
//
// Observers receive the active processor's flags unchanged
// (CommandProcessor::history_changed, clean_state_changed) and
// active_changed when the active processor changes. Announcements of the
// other processors are not passed on.
//
// The processors are borrowed: remove a processor (or destroy the group)
// before destroying it. Throws std::invalid_argument
// "CommandProcessorGroup::set_active: the processor is not in the group" and
// std::logic_error "CommandProcessorGroup::undo: no active processor" (and
// ::redo) when there is nothing to forward to; what the active processor
// throws passes through.
#ifndef VORN_COMMANDS_COMMANDPROCESSORGROUP_H_
#define VORN_COMMANDS_COMMANDPROCESSORGROUP_H_

#include <cstddef>
#include <string>
#include <vector>

#include "vorn/commands/CommandProcessor.h"
#include "vorn/foundation/Export.h"
#include "vorn/notification/Observer.h"
#include "vorn/notification/Subject.h"

namespace vorn {

class VORN_API CommandProcessorGroup : public Subject, private Observer {
 public:
  // The processor flags keep their numbers; this one is the group's own.
  enum UpdateFlag { active_changed = 2 };

  CommandProcessorGroup() = default;
  // Disconnects from every member.
  ~CommandProcessorGroup() override;

  // Adds `processor` (a second add changes nothing). The active processor
  // stays as it is.
  void add(CommandProcessor& processor);
  // Removes `processor`; when it was active, no processor is active
  // afterwards. Removing a processor that is not a member does nothing.
  void remove(CommandProcessor& processor);
  bool contains(const CommandProcessor& processor) const noexcept;
  std::size_t size() const noexcept { return members_.size(); }

  // Makes a member (or nobody, for null) the active processor.
  void set_active(CommandProcessor* processor);
  CommandProcessor* active() const noexcept { return active_; }

  // Forwarded to the active processor.
  bool undo();
  bool redo();
  // False, or empty, when no processor is active.
  bool can_undo() const noexcept;
  bool can_redo() const noexcept;
  std::string undo_name() const;
  std::string redo_name() const;

 private:
  void update(Subject* subject, const UpdateFlags& flags) override;
  CommandProcessor& checked_active(const char* operation) const;

  std::vector<CommandProcessor*> members_;
  CommandProcessor* active_ = nullptr;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_COMMANDPROCESSORGROUP_H_
