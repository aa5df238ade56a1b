// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>
#include <sys/wait.h>

// What orx-sim and the small program orx-sim-enter agree on. The sandbox starts that one; it
// reports to orx-sim, restores standard error and the handling of signals, and becomes the command.
// It needs the C library alone, so that a run loads the simulated device's libraries once.
namespace orx_sim {

// The exit codes of orx-sim run when the command did not run or did not exit by itself: as env(1),
// timeout(1) and the shell have them, so that none is taken for the command's own. A command that a
// signal ended gives 128 and the signal's number.
inline constexpr int kExitRunFailed = 125;
inline constexpr int kExitNotExecutable = 126;
inline constexpr int kExitNotFound = 127;
inline constexpr int kExitSignal = 128;

// ExitCode returns the exit code that tells of a status of waitpid(2).
inline int ExitCode(int status) {
  return WIFSIGNALED(status) ? kExitSignal + WTERMSIG(status) : WEXITSTATUS(status);
}

// The signals that end a program. The command decides what they do; orx-sim and the sandbox live on
// until it has ended, so that nothing is left behind.
inline constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// The arguments of orx-sim-enter, in this order; the command and its own follow.
enum EnterArgument {
  kEnterControl = 1,  // descriptor: gets the command's process id, and that of its file calls
  kEnterError,        // descriptor: the command's standard error, -1 if it has none
  kEnterIgnored,      // the signals that it ignores: 1 shifted left by their numbers, added up
  kEnterFlags,        // letters of those below, or "-"
  kEnterCommand,
};
inline constexpr char kEnterFilter = 'f';  // have its file calls asked for
inline constexpr char kEnterWait = 'w';    // wait for it, to tell which signal ended it

}  // namespace orx_sim
