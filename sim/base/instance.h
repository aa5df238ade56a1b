// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/SecurityLevel.h>

#include <string>

namespace orx_sim {

namespace km = ::aidl::android::hardware::security::keymint;

// Instance is one of the two secure environments of a device, as its services name it: "default" is
// the TEE's.
struct Instance {
  const char* name;
  km::SecurityLevel level;

  bool IsStrongBox() const { return level == km::SecurityLevel::STRONGBOX; }

  // Setting returns the name of the setting that says of this instance what `name_for_tee` says of
  // the TEE.
  std::string Setting(const char* name_for_tee) const {
    return (IsStrongBox() ? "strongbox-" : "") + std::string(name_for_tee);
  }
};
inline constexpr Instance kTee{"default", km::SecurityLevel::TRUSTED_ENVIRONMENT};
inline constexpr Instance kStrongBox{"strongbox", km::SecurityLevel::STRONGBOX};

}  // namespace orx_sim
