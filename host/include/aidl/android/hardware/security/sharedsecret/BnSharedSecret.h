// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.sharedsecret,
// version 1.
#pragma once

#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>

namespace aidl::android::hardware::security::sharedsecret {

ANDROID_HOST_AIDL_LOCAL(SharedSecret)

}  // namespace aidl::android::hardware::security::sharedsecret
