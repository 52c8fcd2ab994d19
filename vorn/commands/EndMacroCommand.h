// EndMacroCommand: closes the innermost open macro when submitted to a
// CommandProcessor (see BeginMacroCommand). Submitting it with no macro open
// is refused with std::logic_error:
//
//   processor.submit(make_handle<BeginMacroCommand>("Normalise"));
//   processor.submit(scale);
//   processor.submit(make_handle<EndMacroCommand>());   // one step
#ifndef VORN_COMMANDS_ENDMACROCOMMAND_H_
#define VORN_COMMANDS_ENDMACROCOMMAND_H_

#include "vorn/commands/StoredNameCommand.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API EndMacroCommand : public StoredNameCommand {
 public:
  EndMacroCommand();
  ~EndMacroCommand() override;

  // A marker: executing and undoing it change nothing.
  bool execute() override;
  bool undo() override;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_ENDMACROCOMMAND_H_
