// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace orx_tool {

// How a child process ended.
struct ChildResult {
  enum class End { kExited, kCrashed, kTimedOut, kInterrupted };
  End end = End::kExited;
  int status = 0;  // exit code, or the signal's number
  // What the child wrote to its descriptor, also when it did not end well, lines that were handed
  // on aside.
  std::string payload;
};

// ChildWatch is what the parent does meanwhile.
struct ChildWatch {
  double grace_seconds = 0.5;                            // between SIGTERM and SIGKILL
  double seconds = 0;                                    // the child's time; 0: no limit
  std::function<void(const std::string& line)> on_line;  // each whole line that the child wrote
  double pulse_seconds = 5;                              // on_pulse is called each time so many
  std::function<void(double seconds)> on_pulse;          // have passed, with the whole count
};

// RunInChild runs `work` in a forked process and gives it a descriptor to answer on; its result is
// the exit code. The child is ended by SIGTERM, then by SIGKILL, when its time has
// passed or this process is told to end (see signals.h).
//
// Nothing that talks to binder may have run in this process before: binder does not survive a fork.
ChildResult RunInChild(const std::function<int(int fd)>& work, const ChildWatch& watch);

}  // namespace orx_tool
