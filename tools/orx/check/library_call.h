// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/orx/check/check.h"

namespace orx_tool {

// CallLibrary makes the check's library call; 0 is a pass.
//
// A StrongBox whose keys are provisioned remotely certifies its attestation key itself, so that its
// chain can only be checked relaxed; that is done whether it was asked for or not.
int CallLibrary(const Check& check);

}  // namespace orx_tool
