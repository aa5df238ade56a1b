// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orx_sim {

// ModulePath is the file of the shared library that this code is in, the simulated device's module.
// What else belongs to the simulator is found from there, so that its tree can be moved.
std::string ModulePath();

}  // namespace orx_sim
