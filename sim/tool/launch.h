// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/channel/faults.h"
#include "sim/tool/sandbox.h"

namespace orx_sim {

// The exit codes of orx-sim run when the command did not run or did not exit by itself: as env(1),
// timeout(1) and the shell have them, so that none is taken for the command's own. A command that a
// signal ended gives 128 and the signal's number.
inline constexpr int kExitRunFailed = 125;
inline constexpr int kExitNotExecutable = 126;
inline constexpr int kExitNotFound = 127;
inline constexpr int kExitSignal = 128;

struct Launch {
  std::vector<std::string> command;
  std::vector<Placement> placements;
  FaultTable* faults;
  std::vector<std::string> faulty_folders;  // where faults of file calls show
  // Gets called when the command is about to run, with why a better sandbox could not be used, or
  // an empty text.
  std::function<void(const Sandbox& sandbox, const std::string& why_not_better)> announce;
};

// HoldSignals keeps the signals that end a program, and those of children, waiting until the
// command can have them. To be called before there are other threads.
void HoldSignals();

// RunInSandbox runs a command in the first sandbox that works and returns the exit code. What ends
// a program is the command's to decide on: this process passes it on and lives until the command
// has ended.
int RunInSandbox(const Launch& launch);

// The name under which orx-sim calls itself inside the sandbox, and what it does there: it reports
// to RunInSandbox, restores standard error and the signal handling, and becomes the command.
// Returns an exit code when it cannot.
inline constexpr char kBecomeCommand[] = "become-command";
int BecomeCommand(int argc, char** argv);

}  // namespace orx_sim
