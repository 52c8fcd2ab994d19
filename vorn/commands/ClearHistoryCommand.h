// ClearHistoryCommand: when submitted to a CommandProcessor, empties its undo
// and redo history, exactly as CommandProcessor::clear_history() does. It is
// not itself recorded. Useful at the end of a command sequence after which
// nothing should be undone (loading a new document, say):
//
//   processor.submit(make_handle<LoadDocument>(path));
//   processor.submit(make_handle<ClearHistoryCommand>());
//   processor.can_undo();   // false
#ifndef VORN_COMMANDS_CLEARHISTORYCOMMAND_H_
#define VORN_COMMANDS_CLEARHISTORYCOMMAND_H_

#include "vorn/commands/StoredNameCommand.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API ClearHistoryCommand : public StoredNameCommand {
 public:
  ClearHistoryCommand();
  ~ClearHistoryCommand() override;

  bool execute() override;
  bool undo() override;
  bool can_undo() const override;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_CLEARHISTORYCOMMAND_H_
