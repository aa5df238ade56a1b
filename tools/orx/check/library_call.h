// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/orx/check/check.h"
#include "tools/orx/check/keymint_exercise.h"

namespace orx_tool {

// CallResult is what came of a check's library call.
struct CallResult {
  int status = 0;                 // 0 is a pass
  std::vector<Refusal> refusals;  // of the exercise of KeyMint
};

// CallLibrary makes the check's library call, or its calls.
//
// A StrongBox whose keys are provisioned remotely certifies its attestation key itself, so that its
// chain can only be checked relaxed; that is done whether it was asked for or not.
CallResult CallLibrary(const Check& check);

}  // namespace orx_tool
