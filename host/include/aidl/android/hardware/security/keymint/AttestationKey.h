// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class AttestationKey {
 public:
#define FIELDS(F)                                 \
  F(std::vector<uint8_t>, keyBlob, )              \
  F(std::vector<KeyParameter>, attestKeyParams, ) \
  F(std::vector<uint8_t>, issuerSubjectName, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, AttestationKey, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
