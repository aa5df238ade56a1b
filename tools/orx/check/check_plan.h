// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tools/orx/check/check.h"

namespace orx_tool {

// The self-tests. `instance` is "default" or "strongbox".
Check AttestationCheck(const std::string& instance, uint32_t id_mask, bool relaxed);
Check ModelCheck(const std::string& instance, const std::string& model, bool relaxed);
Check RkpIdsCheck(const std::string& instance, uint32_t id_mask);
Check RootOfTrustCheck();
Check SharedSecretCheck();
Check KeyMintCheck(const std::string& instance);

// MakePlan lists every self-test for both instances in the order in which one builds on the other.
std::vector<Check> MakePlan(uint32_t id_mask, bool relaxed);

// SplitByIdentifier gives the check once for each identifier that it asks for.
std::vector<Check> SplitByIdentifier(const Check& check);

}  // namespace orx_tool
