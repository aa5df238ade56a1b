// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.sharedsecret,
// version 1. android_host/aidl_types.h says what is left out.
#pragma once

#include <aidl/android/hardware/security/sharedsecret/SharedSecretParameters.h>
#include <android_host/aidl_types.h>

#define ANDROID_HOST_SHARED_SECRET_METHODS(M)                                                   \
  M(getSharedSecretParameters, (SharedSecretParameters * _aidl_return), (_aidl_return))         \
  M(computeSharedSecret,                                                                        \
    (const std::vector<SharedSecretParameters>& in_params, std::vector<uint8_t>* _aidl_return), \
    (in_params, _aidl_return))

namespace aidl::android::hardware::security::sharedsecret {

class ISharedSecret : public ::ndk::ICInterface {
 public:
  static inline const char* KEY_AGREEMENT_LABEL = "KeymasterSharedMac";
  static inline const char* KEY_CHECK_LABEL = "Keymaster HMAC Verification";
  ANDROID_HOST_AIDL_INTERFACE(SharedSecret, 1, "aea3745b559d2977f0676952e510fb0547a52140",
                              ANDROID_HOST_SHARED_SECRET_METHODS)
};

ANDROID_HOST_AIDL_DEFAULT(SharedSecret, ANDROID_HOST_SHARED_SECRET_METHODS)

}  // namespace aidl::android::hardware::security::sharedsecret
