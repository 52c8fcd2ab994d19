// StoredNameCommand: a Command whose menu name is fixed at construction.
//
//   class DeletePeak : public vorn::StoredNameCommand {
//    public:
//     DeletePeak() : StoredNameCommand("Delete peak") {}
//     bool execute() override;
//     bool undo() override;
//   };
#ifndef VORN_COMMANDS_STOREDNAMECOMMAND_H_
#define VORN_COMMANDS_STOREDNAMECOMMAND_H_

#include <string>

#include "vorn/commands/Command.h"
#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API StoredNameCommand : public Command {
 public:
  explicit StoredNameCommand(std::string name);
  ~StoredNameCommand() override;

  std::string name() const override;

 private:
  std::string name_;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_STOREDNAMECOMMAND_H_
