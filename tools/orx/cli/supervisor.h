// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace orx_tool {

// How a child process ended.
struct ChildResult {
  enum class End { kExited, kCrashed, kTimedOut, kInterrupted };
  End end = End::kExited;
  int status = 0;       // exit code, or the signal's number
  std::string payload;  // what the child wrote to its descriptor, also when it did not end well
};

// RunInChild runs `work` in a forked process and gives it a descriptor to answer on; its result is
// the exit code. The child ends with SIGTERM, and SIGKILL half a second later, when `seconds` have
// passed (0: never) or this process is told to end by SIGINT, SIGTERM or SIGHUP.
//
// Nothing that talks to binder may have run in this process before: binder does not survive a fork.
ChildResult RunInChild(const std::function<int(int fd)>& work, double seconds);

}  // namespace orx_tool
