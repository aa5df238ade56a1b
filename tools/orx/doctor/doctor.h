// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/orx/cli/command.h"

namespace orx_tool {

std::vector<Command> DoctorCommands();

}  // namespace orx_tool
