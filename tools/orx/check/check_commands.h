// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/orx/cli/command.h"

namespace orx_tool {

// The commands of this room, one table a source file.
std::vector<Command> CheckCommands();
std::vector<Command> ChainCommands();

}  // namespace orx_tool
