// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orx_tool {

// IsDevice says whether there is an Android device around this process, a real or a simulated one.
bool IsDevice();

// The socket at which the modem daemon listens.
inline constexpr char kModemSocket[] = "/dev/socket/rild-oem";

// IsModemAwaited says whether a modem daemon may listen or come to: not on a PC, outside a device,
// with nothing at its socket.
bool IsModemAwaited();

// DeviceModel is the device's model name, empty when it tells none.
std::string DeviceModel();

}  // namespace orx_tool
