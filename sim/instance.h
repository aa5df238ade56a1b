// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/SecurityLevel.h>

#include <string>

namespace orx_sim {

// Instance is one of the two secure environments of a device.
struct Instance {
  const char* name;  // "default" or "strongbox"
  ::aidl::android::hardware::security::keymint::SecurityLevel level;

  bool IsStrongBox() const {
    return level == ::aidl::android::hardware::security::keymint::SecurityLevel::STRONGBOX;
  }

  // Setting returns the name of the setting that tells for this environment what `base` tells for
  // the TEE.
  std::string Setting(const char* base) const {
    return (IsStrongBox() ? "strongbox-" : "") + std::string(base);
  }
};

inline constexpr Instance kTee{
    "default", ::aidl::android::hardware::security::keymint::SecurityLevel::TRUSTED_ENVIRONMENT};
inline constexpr Instance kStrongBox{
    "strongbox", ::aidl::android::hardware::security::keymint::SecurityLevel::STRONGBOX};

}  // namespace orx_sim
