// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.rkp, version 3
// (package keymint). android_host/aidl_types.h says what is left out.
#pragma once

#include <aidl/android/hardware/security/keymint/DeviceInfo.h>
#include <aidl/android/hardware/security/keymint/MacedPublicKey.h>
#include <aidl/android/hardware/security/keymint/ProtectedData.h>
#include <aidl/android/hardware/security/keymint/RpcHardwareInfo.h>
#include <android_host/aidl_types.h>

#define ANDROID_HOST_REMOTELY_PROVISIONED_COMPONENT_METHODS(M)                                   \
  M(getHardwareInfo, (RpcHardwareInfo * _aidl_return), (_aidl_return))                           \
  M(generateEcdsaP256KeyPair,                                                                    \
    (bool in_testMode, MacedPublicKey* out_macedPublicKey, std::vector<uint8_t>* _aidl_return),  \
    (in_testMode, out_macedPublicKey, _aidl_return))                                             \
  M(generateCertificateRequest,                                                                  \
    (bool in_testMode, const std::vector<MacedPublicKey>& in_keysToSign,                         \
     const std::vector<uint8_t>& in_endpointEncryptionCertChain,                                 \
     const std::vector<uint8_t>& in_challenge, DeviceInfo* out_deviceInfo,                       \
     ProtectedData* out_protectedData, std::vector<uint8_t>* _aidl_return),                      \
    (in_testMode, in_keysToSign, in_endpointEncryptionCertChain, in_challenge, out_deviceInfo,   \
     out_protectedData, _aidl_return))                                                           \
  M(generateCertificateRequestV2,                                                                \
    (const std::vector<MacedPublicKey>& in_keysToSign, const std::vector<uint8_t>& in_challenge, \
     std::vector<uint8_t>* _aidl_return),                                                        \
    (in_keysToSign, in_challenge, _aidl_return))

namespace aidl::android::hardware::security::keymint {

class IRemotelyProvisionedComponent : public ::ndk::ICInterface {
 public:
  enum : int32_t { STATUS_FAILED = 1 };
  enum : int32_t { STATUS_INVALID_MAC = 2 };
  enum : int32_t { STATUS_PRODUCTION_KEY_IN_TEST_REQUEST = 3 };
  enum : int32_t { STATUS_TEST_KEY_IN_PRODUCTION_REQUEST = 4 };
  enum : int32_t { STATUS_INVALID_EEK = 5 };
  enum : int32_t { STATUS_REMOVED = 6 };
  ANDROID_HOST_AIDL_INTERFACE(RemotelyProvisionedComponent, 3,
                              "7d14edbfab5c490efa407ba55fa80614bb48ae8e",
                              ANDROID_HOST_REMOTELY_PROVISIONED_COMPONENT_METHODS)
};

ANDROID_HOST_AIDL_DEFAULT(RemotelyProvisionedComponent,
                          ANDROID_HOST_REMOTELY_PROVISIONED_COMPONENT_METHODS)

}  // namespace aidl::android::hardware::security::keymint
