// CommandMacroBlock: a scoped macro. The constructor submits a
// BeginMacroCommand, the destructor the matching EndMacroCommand, also when
// an exception leaves the scope, so the commands submitted in between always
// form one undo step:
//
//   {
//     vorn::CommandMacroBlock macro(processor, "Replace all");
//     for (auto& hit : hits) processor.submit(make_replace(hit));
//   }   // one step "Replace all"
//
// If the end cannot be submitted (the processor is busy with another
// operation), the destructor writes an error line to the log instead of
// throwing.
#ifndef VORN_COMMANDS_COMMANDMACROBLOCK_H_
#define VORN_COMMANDS_COMMANDMACROBLOCK_H_

#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class CommandProcessor;

class VORN_API CommandMacroBlock {
 public:
  CommandMacroBlock(CommandProcessor& processor, const std::string& name);
  CommandMacroBlock(const CommandMacroBlock&) = delete;
  CommandMacroBlock& operator=(const CommandMacroBlock&) = delete;
  ~CommandMacroBlock();

 private:
  CommandProcessor& processor_;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_COMMANDMACROBLOCK_H_
