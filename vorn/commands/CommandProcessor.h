// CommandProcessor: runs commands and keeps a bounded undo/redo history.
//
//   vorn::CommandProcessor processor(100);      // at most 100 undo steps
//   processor.submit(vorn::make_handle<InsertText>(doc, 0, "abc"));
//   processor.undo_name();                      // "Typing"
//   processor.undo();                           // doc is empty again
//   processor.redo();
//   processor.mark_clean();                     // after saving
//   processor.is_clean();                       // true until the next change
//
// submit() executes the command; one that fails (returns false or throws) is
// not recorded and leaves the history as it was. A recorded command discards
// the redo side. A command whose can_undo() is false is executed and then
// clears the whole history. Commands with the same non-negative id() merge
// into the previous step when it accepts them (Command::merge_with).
// BeginMacroCommand / EndMacroCommand (or CommandMacroBlock) bracket commands
// into one step; macros nest and only the outermost forms a step. While a
// macro is open, undo(), redo() and mark_clean() throw std::logic_error
// ("CommandProcessor::undo: a macro is open", ...).
//
// A command marked obsolete (Command::set_obsolete) is dropped from the
// history when undo() or redo() reaches it, when a merge leaves it obsolete,
// or right after execution; dropping a step after the clean position leaves
// the processor not clean.
//
// The history holds at most max_commands steps (a macro counts as one; 0 or
// less means no bound); the oldest step is dropped first. Dropping or
// discarding the step at which the processor was marked clean leaves it
// permanently not clean until mark_clean() is called again.
//
// submit(), undo() and redo() refuse to run while another of them is in
// progress (from inside a command, or from an observer during a
// notification) with std::logic_error "CommandProcessor::submit: another
// operation is in progress".
//
// The processor is a Subject: after every change of its history or clean
// state it raises history_changed (and clean_state_changed when is_clean()
// flipped) and notifies its observers, so menus and "modified" indicators can
// follow. While a macro is open its observers hear nothing, neither of the
// begin, of the commands inside nor of nested macros; they are told once,
// when the outermost macro closes, with clean_state_changed raised when
// is_clean() differs from what it was as the macro opened. An Edit menu thus
// goes straight from its state before the macro to its state after it.
// Every submit, undo, redo, merge and drop is traced at debug level 2.
#ifndef VORN_COMMANDS_COMMANDPROCESSOR_H_
#define VORN_COMMANDS_COMMANDPROCESSOR_H_

#include <cstddef>
#include <deque>
#include <string>

#include "vorn/commands/Command.h"
#include "vorn/foundation/Export.h"
#include "vorn/foundation/THandle.h"
#include "vorn/notification/Subject.h"

namespace vorn {

class VORN_API CommandProcessor : public Subject {
 public:
  // Update flags raised before each notification.
  enum UpdateFlag { history_changed = 0, clean_state_changed = 1 };

  explicit CommandProcessor(int max_commands);
  ~CommandProcessor() override;

  // Executes `command` and records it. Returns false when the command
  // reported failure. A null handle raises the null-handle error.
  bool submit(THandle<Command> command);

  // Undoes or redoes one step. Return false, changing nothing, when there is
  // nothing to undo or redo or the step reported failure; a step that throws
  // stays where it was and the exception propagates.
  bool undo();
  bool redo();

  bool can_undo() const noexcept;
  bool can_redo() const noexcept;
  // The name of the step undo() or redo() would run; empty when there is none.
  std::string undo_name() const;
  std::string redo_name() const;

  // The number of recorded steps, undone ones included.
  int history_size() const noexcept;
  // The number of steps currently done: undo() moves it down, redo() up.
  int position() const noexcept;

  // Forgets every step (and the commands of an open macro). The processor
  // stays clean if it was.
  void clear_history();

  void mark_clean();
  bool is_clean() const noexcept;

  bool macro_open() const noexcept { return macro_depth_ > 0; }

 private:
  class Macro;

  bool submit_begin_macro(const THandle<Command>& command);
  bool submit_end_macro();
  void record(const THandle<Command>& step);
  bool merge_into(Command& previous, const Command& next);
  void drop_oldest();
  void drop_obsolete(std::size_t index);
  void forget_history();
  void announce(bool was_clean);
  void refuse_in_macro(const char* operation) const;

  static constexpr int kNeverClean = -1;

  std::size_t max_commands_;
  std::deque<THandle<Command>> history_;
  int position_ = 0;
  int clean_position_ = 0;
  int macro_depth_ = 0;
  bool clean_before_macro_ = true;
  THandle<Macro> open_macro_;
  bool busy_ = false;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_COMMANDPROCESSOR_H_
