// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.secureclock,
// version 1.
#pragma once

#include <aidl/android/hardware/security/secureclock/ISecureClock.h>

namespace aidl::android::hardware::security::secureclock {

ANDROID_HOST_AIDL_LOCAL(SecureClock, ANDROID_HOST_SECURE_CLOCK_METHODS)

}  // namespace aidl::android::hardware::security::secureclock
