// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/orx/cli/command.h"

namespace orx_tool {

// The commands of this room, one table a source file.
std::vector<Command> KeyCommands();
std::vector<Command> KeyShowCommands();
std::vector<Command> CipherCommands();
std::vector<Command> RsaCommands();
std::vector<Command> HashCommands();
std::vector<Command> DeriveCommands();
std::vector<Command> StoreCommands();
std::vector<Command> IdentityCommands();
std::vector<Command> ExplainCommands();

}  // namespace orx_tool
