// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.rkp, version 3
// (package keymint).
#pragma once

#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class MacedPublicKey {
 public:
#define FIELDS(F) F(std::vector<uint8_t>, macedKey, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, MacedPublicKey, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
