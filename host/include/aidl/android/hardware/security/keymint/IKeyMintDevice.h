// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
// android_host/aidl_types.h says what is left out.
#pragma once

#include <aidl/android/hardware/security/keymint/AttestationKey.h>
#include <aidl/android/hardware/security/keymint/BeginResult.h>
#include <aidl/android/hardware/security/keymint/HardwareAuthToken.h>
#include <aidl/android/hardware/security/keymint/KeyCharacteristics.h>
#include <aidl/android/hardware/security/keymint/KeyCreationResult.h>
#include <aidl/android/hardware/security/keymint/KeyFormat.h>
#include <aidl/android/hardware/security/keymint/KeyMintHardwareInfo.h>
#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <aidl/android/hardware/security/secureclock/TimeStampToken.h>
#include <android_host/aidl_types.h>

#define ANDROID_HOST_KEYMINT_DEVICE_METHODS(M)                                                   \
  M(getHardwareInfo, (KeyMintHardwareInfo * _aidl_return), (_aidl_return))                       \
  M(addRngEntropy, (const std::vector<uint8_t>& in_data), (in_data))                             \
  M(generateKey,                                                                                 \
    (const std::vector<KeyParameter>& in_keyParams,                                              \
     const std::optional<AttestationKey>& in_attestationKey, KeyCreationResult* _aidl_return),   \
    (in_keyParams, in_attestationKey, _aidl_return))                                             \
  M(importKey,                                                                                   \
    (const std::vector<KeyParameter>& in_keyParams, KeyFormat in_keyFormat,                      \
     const std::vector<uint8_t>& in_keyData,                                                     \
     const std::optional<AttestationKey>& in_attestationKey, KeyCreationResult* _aidl_return),   \
    (in_keyParams, in_keyFormat, in_keyData, in_attestationKey, _aidl_return))                   \
  M(importWrappedKey,                                                                            \
    (const std::vector<uint8_t>& in_wrappedKeyData,                                              \
     const std::vector<uint8_t>& in_wrappingKeyBlob, const std::vector<uint8_t>& in_maskingKey,  \
     const std::vector<KeyParameter>& in_unwrappingParams, int64_t in_passwordSid,               \
     int64_t in_biometricSid, KeyCreationResult* _aidl_return),                                  \
    (in_wrappedKeyData, in_wrappingKeyBlob, in_maskingKey, in_unwrappingParams, in_passwordSid,  \
     in_biometricSid, _aidl_return))                                                             \
  M(upgradeKey,                                                                                  \
    (const std::vector<uint8_t>& in_keyBlobToUpgrade,                                            \
     const std::vector<KeyParameter>& in_upgradeParams, std::vector<uint8_t>* _aidl_return),     \
    (in_keyBlobToUpgrade, in_upgradeParams, _aidl_return))                                       \
  M(deleteKey, (const std::vector<uint8_t>& in_keyBlob), (in_keyBlob))                           \
  M(deleteAllKeys, (), ())                                                                       \
  M(destroyAttestationIds, (), ())                                                               \
  M(begin,                                                                                       \
    (KeyPurpose in_purpose, const std::vector<uint8_t>& in_keyBlob,                              \
     const std::vector<KeyParameter>& in_params,                                                 \
     const std::optional<HardwareAuthToken>& in_authToken, BeginResult* _aidl_return),           \
    (in_purpose, in_keyBlob, in_params, in_authToken, _aidl_return))                             \
  M(deviceLocked,                                                                                \
    (bool in_passwordOnly, const std::optional<secureclock::TimeStampToken>& in_timestampToken), \
    (in_passwordOnly, in_timestampToken))                                                        \
  M(earlyBootEnded, (), ())                                                                      \
  M(convertStorageKeyToEphemeral,                                                                \
    (const std::vector<uint8_t>& in_storageKeyBlob, std::vector<uint8_t>* _aidl_return),         \
    (in_storageKeyBlob, _aidl_return))                                                           \
  M(getKeyCharacteristics,                                                                       \
    (const std::vector<uint8_t>& in_keyBlob, const std::vector<uint8_t>& in_appId,               \
     const std::vector<uint8_t>& in_appData, std::vector<KeyCharacteristics>* _aidl_return),     \
    (in_keyBlob, in_appId, in_appData, _aidl_return))                                            \
  M(getRootOfTrustChallenge, (std::array<uint8_t, 16> * _aidl_return), (_aidl_return))           \
  M(getRootOfTrust,                                                                              \
    (const std::array<uint8_t, 16>& in_challenge, std::vector<uint8_t>* _aidl_return),           \
    (in_challenge, _aidl_return))                                                                \
  M(sendRootOfTrust, (const std::vector<uint8_t>& in_rootOfTrust), (in_rootOfTrust))

namespace aidl::android::hardware::security::keymint {

class IKeyMintDevice : public ::ndk::ICInterface {
 public:
  enum : int32_t { AUTH_TOKEN_MAC_LENGTH = 32 };
  ANDROID_HOST_AIDL_INTERFACE(KeyMintDevice, 3, ::android_host::kKeyMintHash,
                              ANDROID_HOST_KEYMINT_DEVICE_METHODS)
};

ANDROID_HOST_AIDL_DEFAULT(KeyMintDevice, ANDROID_HOST_KEYMINT_DEVICE_METHODS)

}  // namespace aidl::android::hardware::security::keymint
