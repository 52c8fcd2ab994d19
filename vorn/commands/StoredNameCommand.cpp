#include "vorn/commands/StoredNameCommand.h"

#include <utility>

namespace vorn {

StoredNameCommand::StoredNameCommand(std::string name) : name_(std::move(name)) {}

StoredNameCommand::~StoredNameCommand() = default;

std::string StoredNameCommand::name() const { return name_; }

}  // namespace vorn
