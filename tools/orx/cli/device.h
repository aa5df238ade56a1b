// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orx_tool {

// IsDevice says whether there is an Android device around this process, a real or a simulated one.
bool IsDevice();

// DeviceModel is the device's model name, empty when it tells none.
std::string DeviceModel();

}  // namespace orx_tool
