// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
// android_host/aidl_types.h says what is left out.
#pragma once

#include <aidl/android/hardware/security/keymint/HardwareAuthToken.h>
#include <aidl/android/hardware/security/secureclock/TimeStampToken.h>
#include <android_host/aidl_types.h>

#define ANDROID_HOST_KEYMINT_OPERATION_METHODS(M)                                                  \
  M(updateAad,                                                                                     \
    (const std::vector<uint8_t>& in_input, const std::optional<HardwareAuthToken>& in_authToken,   \
     const std::optional<secureclock::TimeStampToken>& in_timeStampToken),                         \
    (in_input, in_authToken, in_timeStampToken))                                                   \
  M(update,                                                                                        \
    (const std::vector<uint8_t>& in_input, const std::optional<HardwareAuthToken>& in_authToken,   \
     const std::optional<secureclock::TimeStampToken>& in_timeStampToken,                          \
     std::vector<uint8_t>* _aidl_return),                                                          \
    (in_input, in_authToken, in_timeStampToken, _aidl_return))                                     \
  M(finish,                                                                                        \
    (const std::optional<std::vector<uint8_t>>& in_input,                                          \
     const std::optional<std::vector<uint8_t>>& in_signature,                                      \
     const std::optional<HardwareAuthToken>& in_authToken,                                         \
     const std::optional<secureclock::TimeStampToken>& in_timestampToken,                          \
     const std::optional<std::vector<uint8_t>>& in_confirmationToken,                              \
     std::vector<uint8_t>* _aidl_return),                                                          \
    (in_input, in_signature, in_authToken, in_timestampToken, in_confirmationToken, _aidl_return)) \
  M(abort, (), ())

namespace aidl::android::hardware::security::keymint {

class IKeyMintOperation : public ::ndk::ICInterface {
 public:
  ANDROID_HOST_AIDL_INTERFACE(KeyMintOperation, 3, ::android_host::kKeyMintHash,
                              ANDROID_HOST_KEYMINT_OPERATION_METHODS)
};

ANDROID_HOST_AIDL_DEFAULT(KeyMintOperation, ANDROID_HOST_KEYMINT_OPERATION_METHODS)

}  // namespace aidl::android::hardware::security::keymint
