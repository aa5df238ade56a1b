// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/SecurityLevel.h>

namespace orx_sim {

namespace km = ::aidl::android::hardware::security::keymint;

// Instance is one of the two secure environments of a device.
struct Instance {
  const char* name;  // "default" or "strongbox"
  km::SecurityLevel level;

  bool IsStrongBox() const { return level == km::SecurityLevel::STRONGBOX; }
};
inline constexpr Instance kTee{"default", km::SecurityLevel::TRUSTED_ENVIRONMENT};
inline constexpr Instance kStrongBox{"strongbox", km::SecurityLevel::STRONGBOX};

}  // namespace orx_sim
