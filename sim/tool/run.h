// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_sim {

// The exit codes of orx-sim run when it was called wrongly, and when the command was not run or did
// not exit by itself, as env(1) and the shell have them. A command that a signal ended gives 128
// and the signal's number.
inline constexpr int kExitUsage = 2;
inline constexpr int kExitRunFailed = 125;
inline constexpr int kExitNotExecutable = 126;
inline constexpr int kExitNotFound = 127;
inline constexpr int kExitSignal = 128;

struct RunOptions {
  std::string device;  // folder; empty: a throw-away device
  std::string profile = "dual-sim";
  std::vector<std::string> faults;
  bool log = false;
  bool quiet = false;
  std::vector<std::string> command;
};

// Run runs a command inside a device and returns the exit code.
int Run(const RunOptions& options);

// The name under which orx-sim calls itself inside the sandbox, and what it does there: it tells
// its process id through the descriptor, restores the signal handling and becomes the command.
// Returns an exit code when it cannot.
inline constexpr char kBecomeCommand[] = "become-command";
int BecomeCommand(int argc, char** argv);

}  // namespace orx_sim
