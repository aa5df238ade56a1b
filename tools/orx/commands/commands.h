// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/orx/cli/command.h"

namespace orx_tool {

// CommandGroup is the commands of one subject, under the title that the help gives it.
struct CommandGroup {
  const char* title;
  std::vector<Command> commands;
};

// Every command, in the order of the help.
const std::vector<CommandGroup>& CommandGroups();
const std::vector<Command>& Commands();

}  // namespace orx_tool
