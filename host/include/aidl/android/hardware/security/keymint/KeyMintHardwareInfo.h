// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/SecurityLevel.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class KeyMintHardwareInfo {
 public:
#define FIELDS(F)                                          \
  F(int32_t, versionNumber, 0)                             \
  F(SecurityLevel, securityLevel, SecurityLevel::SOFTWARE) \
  F(std::string, keyMintName, )                            \
  F(std::string, keyMintAuthorName, )                      \
  F(bool, timestampTokenRequired, false)
  ANDROID_HOST_AIDL_PARCELABLE(keymint, KeyMintHardwareInfo, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
