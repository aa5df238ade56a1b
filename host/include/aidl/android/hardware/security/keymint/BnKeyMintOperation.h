// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/IKeyMintOperation.h>

namespace aidl::android::hardware::security::keymint {

ANDROID_HOST_AIDL_LOCAL(KeyMintOperation)

}  // namespace aidl::android::hardware::security::keymint
