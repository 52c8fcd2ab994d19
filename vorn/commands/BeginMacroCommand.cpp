#include "vorn/commands/BeginMacroCommand.h"

#include <utility>

namespace vorn {

BeginMacroCommand::BeginMacroCommand(std::string name) : StoredNameCommand(std::move(name)) {}

BeginMacroCommand::~BeginMacroCommand() = default;

bool BeginMacroCommand::execute() { return true; }

bool BeginMacroCommand::undo() { return true; }

}  // namespace vorn
