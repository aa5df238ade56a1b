// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/IKeyMintOperation.h>
#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class BeginResult {
 public:
#define FIELDS(F)                        \
  F(int64_t, challenge, 0)               \
  F(std::vector<KeyParameter>, params, ) \
  F(std::shared_ptr<IKeyMintOperation>, operation, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, BeginResult, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
