// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tools/orx/check/judge.h"

namespace orx_tool {

// ReplayLines gives the lines of the evidence's file "replay" by which a simulated device answers
// so that this check comes to the same verdict again; docs/formats.md has the lines. `chain` and
// `leaf` are the names of the files of the attestation key's chain and, empty unless it is kept, of
// that of the first identifier's key whose chain is refused. What cannot be done again has a line
// "left-out". A verdict that needs no more than a healthy device has none.
std::vector<std::string> ReplayLines(const Check& check, const CheckResult& result,
                                     const std::string& chain, const std::string& leaf);

// RefusedLeaf is the captured identifier whose key has a chain that the check refuses while that of
// the attestation key is good; null if there is none.
const Capture::Identifier* RefusedLeaf(const Check& check, const Capture& capture);

}  // namespace orx_tool
