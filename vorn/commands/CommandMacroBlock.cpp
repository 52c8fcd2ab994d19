#include "vorn/commands/CommandMacroBlock.h"

#include <exception>

#include "vorn/commands/BeginMacroCommand.h"
#include "vorn/commands/CommandProcessor.h"
#include "vorn/commands/EndMacroCommand.h"
#include "vorn/foundation/THandle.h"
#include "vorn/foundation/VornLog.h"

namespace vorn {

CommandMacroBlock::CommandMacroBlock(CommandProcessor& processor, const std::string& name) : processor_(processor) {
  processor_.submit(THandle<Command>(new BeginMacroCommand(name)));
}

CommandMacroBlock::~CommandMacroBlock() {
  try {
    processor_.submit(THandle<Command>(new EndMacroCommand));
  } catch (const std::exception& e) {
    VornLog::start_error_line() << "CommandMacroBlock::~CommandMacroBlock: could not close the macro: " << e.what();
    VornLog::end_error_line();
  }
}

}  // namespace vorn
