// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameterValue.h>
#include <aidl/android/hardware/security/keymint/Tag.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class KeyParameter {
 public:
#define FIELDS(F)           \
  F(Tag, tag, Tag::INVALID) \
  F(KeyParameterValue, value, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, KeyParameter, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
