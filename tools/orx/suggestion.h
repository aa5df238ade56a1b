// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_tool {

// Suggestion is the one of `words` that a user who typed `word` most likely meant: at most two
// letters left out, added or changed, or swapped, and fewer than half. Empty when there is none.
std::string Suggestion(const std::string& word, const std::vector<std::string>& words);

}  // namespace orx_tool
