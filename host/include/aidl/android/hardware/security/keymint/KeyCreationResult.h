// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/Certificate.h>
#include <aidl/android/hardware/security/keymint/KeyCharacteristics.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class KeyCreationResult {
 public:
#define FIELDS(F)                                          \
  F(std::vector<uint8_t>, keyBlob, )                       \
  F(std::vector<KeyCharacteristics>, keyCharacteristics, ) \
  F(std::vector<Certificate>, certificateChain, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, KeyCreationResult, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
