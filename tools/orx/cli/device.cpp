// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/device.h"

#include <orx/orx.h>
#include <stdlib.h>
#include <unistd.h>

namespace orx_tool {

bool IsDevice() {
#ifdef __ANDROID__
  return true;
#else
  // The variable through which the host's platform finds its device.
  const char* device = getenv("ANDROID_HOST_DEVICE");
  return device != nullptr && *device != 0;
#endif
}

bool IsModemAwaited() {
  return IsDevice() || access(kModemSocket, F_OK) == 0;
}

std::string DeviceModel() {
  const char* model = ORX_get_model_name();
  return model != nullptr ? model : "";
}

}  // namespace orx_tool
