// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/channel/faults.h"
#include "sim/tool/enter.h"
#include "sim/tool/sandbox.h"

namespace orx_sim {

struct Launch {
  std::vector<std::string> command;
  std::vector<Placement> placements;
  FaultTable* faults;
  std::vector<std::string> faulty_folders;  // where faults of file calls show
  // Gets called when the command is about to run, with why a better sandbox could not be used, or
  // an empty text.
  std::function<void(const Sandbox& sandbox, const std::string& why_not_better)> announce;
};

// FailToRun says why the command cannot be run and returns the exit code of that.
int FailToRun(const std::string& reason);

// HoldSignals keeps the signals that end a program, and those of children, waiting until the
// command can have them. To be called before there are other threads.
void HoldSignals();

// RunInSandbox runs a command in the first sandbox that works and returns the exit code. What ends
// a program is the command's to decide on: this process passes it on and lives until the command
// has ended.
int RunInSandbox(const Launch& launch);

}  // namespace orx_sim
