// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <aidl/android/hardware/security/keymint/SecurityLevel.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class KeyCharacteristics {
 public:
#define FIELDS(F)                                          \
  F(SecurityLevel, securityLevel, SecurityLevel::SOFTWARE) \
  F(std::vector<KeyParameter>, authorizations, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, KeyCharacteristics, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
