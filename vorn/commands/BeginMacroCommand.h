// BeginMacroCommand: opens a macro when submitted to a CommandProcessor.
//
// The commands submitted until the matching EndMacroCommand form one history
// step that undoes and redoes as a whole under the macro's name. Macros nest;
// only the outermost forms a step. Prefer the scoped CommandMacroBlock, which
// also closes the macro when an exception passes:
//
//   processor.submit(vorn::make_handle<vorn::BeginMacroCommand>("Normalise"));
//   processor.submit(scale);
//   processor.submit(shift);
//   processor.submit(vorn::make_handle<vorn::EndMacroCommand>());
//   processor.undo_name();   // "Normalise"
#ifndef VORN_COMMANDS_BEGINMACROCOMMAND_H_
#define VORN_COMMANDS_BEGINMACROCOMMAND_H_

#include <string>

#include "vorn/commands/StoredNameCommand.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API BeginMacroCommand : public StoredNameCommand {
 public:
  explicit BeginMacroCommand(std::string name);
  ~BeginMacroCommand() override;

  // A marker: executing and undoing it change nothing.
  bool execute() override;
  bool undo() override;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_BEGINMACROCOMMAND_H_
