// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "tools/orx/check/check.h"

namespace orx_tool {

struct CheckSettings {
  double timeout_seconds = 120;
  bool show_ids = false;  // else identifiers are masked in everything that is reported
  bool keeps_evidence = false;
  // Told each message of the library as it comes, and at times how long the check has been running.
  std::function<void(const std::string& message)> on_message;
  std::function<void(double seconds)> on_pulse;
  double pulse_seconds = 5;
};

// RunCheck runs the check in a process of its own: the library's state starts anew, and a call that
// blocks or aborts costs that one check only.
CheckResult RunCheck(const Check& check, const CheckSettings& settings);

}  // namespace orx_tool
