// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/orx/cli/output.h"
#include "tools/orx/cli/progress.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {

// ModemAnswer returns what the modem daemon sent in the exchange that `lines` tell of, if it did.
std::optional<std::string> ModemAnswer(const std::vector<LogLine>& lines);

// ExplainModemAnswer says in words what is odd about an answer that should be an identifier of
// `digits` digits alone: an echo, quotes, a final OK, letters, another length. Empty when nothing.
std::string ExplainModemAnswer(const std::string& answer, size_t digits);

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
