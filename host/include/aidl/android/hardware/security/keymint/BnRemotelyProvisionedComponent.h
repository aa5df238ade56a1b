// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.rkp, version 3
// (package keymint).
#pragma once

#include <aidl/android/hardware/security/keymint/IRemotelyProvisionedComponent.h>

namespace aidl::android::hardware::security::keymint {

ANDROID_HOST_AIDL_LOCAL(RemotelyProvisionedComponent)

}  // namespace aidl::android::hardware::security::keymint
