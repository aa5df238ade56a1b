// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.sharedsecret,
// version 1.
#pragma once

#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::sharedsecret {

class SharedSecretParameters {
 public:
#define FIELDS(F)                 \
  F(std::vector<uint8_t>, seed, ) \
  F(std::vector<uint8_t>, nonce, )
  ANDROID_HOST_AIDL_PARCELABLE(sharedsecret, SharedSecretParameters, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::sharedsecret
