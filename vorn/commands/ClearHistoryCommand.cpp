#include "vorn/commands/ClearHistoryCommand.h"

namespace vorn {

ClearHistoryCommand::ClearHistoryCommand() : StoredNameCommand("Clear history") {}

ClearHistoryCommand::~ClearHistoryCommand() = default;

bool ClearHistoryCommand::execute() { return true; }

bool ClearHistoryCommand::undo() { return false; }

bool ClearHistoryCommand::can_undo() const { return false; }

}  // namespace vorn
