// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_test {

struct ProgramOptions {
  std::string input;              // given on standard input
  bool terminal = false;          // standard error is a terminal
  double timeout_seconds = 60;    // then the program's process group is killed
  std::string signal_when_shown;  // send SIGINT once this stands on standard error
};

struct ProgramResult {
  int exit_code = -1;  // 128 plus the signal's number when a signal ended it, -1 after the timeout
  std::string out;
  std::string err;
};

// RunProgram runs a program as a user does, in a process group of its own, and waits for it.
ProgramResult RunProgram(const std::vector<std::string>& argv, const ProgramOptions& options = {});

}  // namespace orx_test
