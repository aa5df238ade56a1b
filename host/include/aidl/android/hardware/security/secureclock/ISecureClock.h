// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.secureclock,
// version 1. android_host/aidl_types.h says what is left out.
#pragma once

#include <aidl/android/hardware/security/secureclock/TimeStampToken.h>
#include <android_host/aidl_types.h>

#define ANDROID_HOST_SECURE_CLOCK_METHODS(M)                                  \
  M(generateTimeStamp, (int64_t in_challenge, TimeStampToken * _aidl_return), \
    (in_challenge, _aidl_return))

namespace aidl::android::hardware::security::secureclock {

class ISecureClock : public ::ndk::ICInterface {
 public:
  static inline const char* TIME_STAMP_MAC_LABEL = "Auth Verification";
  ANDROID_HOST_AIDL_INTERFACE(SecureClock, 1, "cd55ca9963c6a57fa5f2f120a45c6e0c4fafb423",
                              ANDROID_HOST_SECURE_CLOCK_METHODS)
};

ANDROID_HOST_AIDL_DEFAULT(SecureClock, ANDROID_HOST_SECURE_CLOCK_METHODS)

}  // namespace aidl::android::hardware::security::secureclock
