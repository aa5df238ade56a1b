// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orx_sim {

// PrintFaults prints all faults that a device can have, each with what it does.
void PrintFaults();

}  // namespace orx_sim
