// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tools/orx/cli/output.h"
#include "tools/orx/cli/progress.h"

namespace orx_tool {

// ModemProgress shows on a terminal what a call that talks to the modem is waiting for.
class ModemProgress {
 public:
  explicit ModemProgress(const Output& output);
  ~ModemProgress();

 private:
  void OnMessage(const std::string& message);

  StatusLine line_;
};

// ModemProgressText is the text for one message of the library; empty when it changes nothing.
std::string ModemProgressText(const std::string& message);

}  // namespace orx_tool
