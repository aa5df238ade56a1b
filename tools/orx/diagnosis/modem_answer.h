// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {

// ModemAnswer returns what the modem daemon sent in the exchange that `lines` tell of, if it did.
std::optional<std::string> ModemAnswer(const std::vector<LogLine>& lines);

// ExplainModemAnswer says in words what is odd about an answer that should be an identifier of
// `digits` digits alone: an echo, quotes, a final OK, letters, another length. Empty when nothing.
std::string ExplainModemAnswer(const std::string& answer, size_t digits);

}  // namespace orx_tool
