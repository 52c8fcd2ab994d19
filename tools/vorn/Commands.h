// The subcommand groups of the vorn tool. Each runs one action and returns
// the exit status; failures are thrown (UsageError for command-line mistakes).
#ifndef VORN_TOOLS_VORN_COMMANDS_H_
#define VORN_TOOLS_VORN_COMMANDS_H_

#include <string>

#include "Cli.h"

namespace vorn::cli {

int run_db(const std::string& action, Arguments& args);
int run_ids(const std::string& action, Arguments& args);
int run_pairs(const std::string& action, Arguments& args);

}  // namespace vorn::cli

#endif  // VORN_TOOLS_VORN_COMMANDS_H_
