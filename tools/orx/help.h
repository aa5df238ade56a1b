// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tools/orx/cli/command.h"

namespace orx_tool {

// Help texts, written from the command table.
std::string ProgramHelp();
// GroupHelp is the help of a first word shared by several commands ("key").
std::string GroupHelp(const std::string& word);
std::string CommandHelp(const Command& command);

}  // namespace orx_tool
