// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "tools/orx/cli/args.h"
#include "tools/orx/cli/output.h"

namespace orx_tool {

constexpr size_t kAnyNumber = SIZE_MAX;

constexpr bool kHandlesTimeout = true;

// Command is one row of the command table. `name` may be two words ("key import"); a name that is
// the first word of others is never a command itself.
struct Command {
  const char* name;
  const char* operands;  // as the usage line shows them
  size_t min_operands;
  size_t max_operands;
  const char* summary;
  const char* details;  // further help text, may be empty
  std::vector<Option> options;
  int (*run)(const Args& args, Output& output);
  bool handles_timeout = false;        // the command bounds its library calls itself
  double default_timeout_seconds = 0;  // without --timeout; 0: none
};

}  // namespace orx_tool
