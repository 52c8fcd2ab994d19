// Command: one undoable change, as recorded by a CommandProcessor.
//
// Derive from Command, make execute() perform the change and remember what
// undo() needs (often in a MementoBase), and submit the command through a
// CommandProcessor, which keeps it in its history:
//
//   class InsertText : public vorn::Command {
//    public:
//     InsertText(std::string& doc, std::size_t at, std::string text) : ... {}
//     bool execute() override { doc_.insert(at_, text_); return true; }
//     bool undo() override { doc_.erase(at_, text_.size()); return true; }
//     std::string name() const override { return "Typing"; }
//     int id() const override { return 1; }          // typing merges
//     bool merge_with(const Command& next) override;  // extend text_
//   };
//   processor.submit(vorn::make_handle<InsertText>(doc, 0, "a"));
//
// execute() and undo() report failure by returning false (nothing changed)
// or by throwing; either way the processor leaves its history as it was.
// Commands are held through THandle<Command>.
#ifndef VORN_COMMANDS_COMMAND_H_
#define VORN_COMMANDS_COMMAND_H_

#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API Command {
 public:
  Command() = default;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command();

  // Performs the change the first time. Returns whether it succeeded.
  virtual bool execute() = 0;
  // Reverses the change. Returns whether it succeeded.
  virtual bool undo() = 0;
  // Repeats the change after an undo; by default execute() again.
  virtual bool redo() { return execute(); }

  // The text shown in menus ("Undo <name>").
  virtual std::string name() const = 0;

  // False for a change that cannot be reversed: the processor executes it
  // and then forgets its whole history.
  virtual bool can_undo() const { return true; }

  // Commands with the same non-negative id may merge: the processor offers
  // each new command to the previous step of the same id through
  // merge_with(), and a step that accepts it (returns true) absorbs it, so
  // that typing several characters undoes as one step.
  virtual int id() const { return -1; }
  virtual bool merge_with(const Command& next) {
    (void)next;
    return false;
  }

  // A command that finds it no longer changes anything (typing merged with
  // its own deletion, a setting put back to its old value) marks itself
  // obsolete, and the processor drops it from the history instead of keeping
  // a step that does nothing: at undo or redo (an obsolete step is removed
  // without being run; one that becomes obsolete while it runs is removed
  // after running), when it absorbs a merged command, and right after
  // execute() when it is obsolete at once.
  void set_obsolete(bool obsolete) noexcept { obsolete_ = obsolete; }
  bool is_obsolete() const noexcept { return obsolete_; }

 private:
  bool obsolete_ = false;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_COMMAND_H_
