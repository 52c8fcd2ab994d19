#include "vorn/commands/EndMacroCommand.h"

namespace vorn {

EndMacroCommand::EndMacroCommand() : StoredNameCommand("End macro") {}

EndMacroCommand::~EndMacroCommand() = default;

bool EndMacroCommand::execute() { return true; }

bool EndMacroCommand::undo() { return true; }

}  // namespace vorn
