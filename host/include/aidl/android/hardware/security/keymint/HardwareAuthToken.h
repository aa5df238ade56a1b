// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/HardwareAuthenticatorType.h>
#include <aidl/android/hardware/security/secureclock/Timestamp.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class HardwareAuthToken {
 public:
#define FIELDS(F)                                                                  \
  F(int64_t, challenge, 0)                                                         \
  F(int64_t, userId, 0)                                                            \
  F(int64_t, authenticatorId, 0)                                                   \
  F(HardwareAuthenticatorType, authenticatorType, HardwareAuthenticatorType::NONE) \
  F(secureclock::Timestamp, timestamp, )                                           \
  F(std::vector<uint8_t>, mac, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, HardwareAuthToken, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
