// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.secureclock,
// version 1. Left out: ISecureClock, as nothing here has a clock to be asked.
#pragma once

#include <aidl/android/hardware/security/secureclock/Timestamp.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::secureclock {

class TimeStampToken {
 public:
#define FIELDS(F)           \
  F(int64_t, challenge, 0)  \
  F(Timestamp, timestamp, ) \
  F(std::vector<uint8_t>, mac, )
  ANDROID_HOST_AIDL_PARCELABLE(secureclock, TimeStampToken, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::secureclock
