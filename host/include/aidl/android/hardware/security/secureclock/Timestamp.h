// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.secureclock,
// version 1.
#pragma once

#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::secureclock {

class Timestamp {
 public:
#define FIELDS(F) F(int64_t, milliSeconds, 0)
  ANDROID_HOST_AIDL_PARCELABLE(secureclock, Timestamp, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::secureclock
