// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_tool {

// RunTool is the tool: it takes this process over, does what the words of a command line say, and
// returns the exit code.
int RunTool(const std::vector<std::string>& words);

}  // namespace orx_tool
