// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>

#include <memory>
#include <string>

#include "sim/attestation/attestation.h"
#include "sim/base/device_folder.h"
#include "sim/base/instance.h"
#include "sim/keymint/algorithm.h"
#include "sim/keymint/operation.h"
#include "sim/keys/key_params.h"
#include "sim/keys/key_vault.h"
#include "sim/negotiation/root_of_trust.h"
#include "sim/negotiation/shared_secret.h"

namespace orx_sim {

// KeyMintDevice is a correct KeyMint of one instance. Faults, the transaction limit and the version
// that the interface answers are not here but in the channel before it (channel.h), which also sees
// to it that outputs are assigned only on success.
//
// What the library and its tool can ask for is offered, see algorithm.h; else nothing: no 3DES,
// HMAC, key agreement, lifetimes of keys, user authentication, unique ids, wrapped import, storage
// keys. Requests for these are refused, or the parameter is ignored, as the standard says.
class KeyMintDevice : public km::BnKeyMintDevice {
 public:
  // `shared_secret` is the instance's part in the negotiation of the key that authenticates the
  // root of trust.
  KeyMintDevice(std::shared_ptr<DeviceFolder> folder, const Instance& instance,
                std::shared_ptr<SharedSecretParty> shared_secret);

  ndk::ScopedAStatus getHardwareInfo(km::KeyMintHardwareInfo* info) override;
  ndk::ScopedAStatus addRngEntropy(const Bytes& data) override;
  ndk::ScopedAStatus generateKey(const KeyParams& params,
                                 const std::optional<km::AttestationKey>& attestation_key,
                                 km::KeyCreationResult* result) override;
  ndk::ScopedAStatus importKey(const KeyParams& params, km::KeyFormat format, const Bytes& data,
                               const std::optional<km::AttestationKey>& attestation_key,
                               km::KeyCreationResult* result) override;
  ndk::ScopedAStatus importWrappedKey(const Bytes& wrapped_key, const Bytes& wrapping_key_blob,
                                      const Bytes& masking_key, const KeyParams& params,
                                      int64_t password_sid, int64_t biometric_sid,
                                      km::KeyCreationResult* result) override;
  ndk::ScopedAStatus upgradeKey(const Bytes& blob, const KeyParams& params,
                                Bytes* upgraded) override;
  ndk::ScopedAStatus deleteKey(const Bytes& blob) override;
  ndk::ScopedAStatus deleteAllKeys() override;
  ndk::ScopedAStatus destroyAttestationIds() override;
  ndk::ScopedAStatus begin(km::KeyPurpose purpose, const Bytes& blob, const KeyParams& params,
                           const std::optional<km::HardwareAuthToken>& token,
                           km::BeginResult* result) override;
  ndk::ScopedAStatus deviceLocked(
      bool password_only,
      const std::optional<::aidl::android::hardware::security::secureclock::TimeStampToken>& token)
      override;
  ndk::ScopedAStatus earlyBootEnded() override;
  ndk::ScopedAStatus convertStorageKeyToEphemeral(const Bytes& blob, Bytes* ephemeral) override;
  ndk::ScopedAStatus getKeyCharacteristics(
      const Bytes& blob, const Bytes& application_id, const Bytes& application_data,
      std::vector<km::KeyCharacteristics>* characteristics) override;
  ndk::ScopedAStatus getRootOfTrustChallenge(std::array<uint8_t, 16>* challenge) override;
  ndk::ScopedAStatus getRootOfTrust(const std::array<uint8_t, 16>& challenge,
                                    Bytes* root_of_trust) override;
  ndk::ScopedAStatus sendRootOfTrust(const Bytes& root_of_trust) override;

 private:
  // OpenCurrent opens a blob for use: INVALID_KEY_BLOB, or KEY_REQUIRES_UPGRADE when the key is of
  // another patch level than the device.
  ErrorCode OpenCurrent(const Bytes& blob, const HiddenDigest& hidden, Key* key) const;

  // OpenAttestationKey opens a blob for signing certificates, as OpenCurrent does for any use.
  ErrorCode OpenAttestationKey(const Bytes& blob, const KeyParams& params, Key* key) const;

  // Prepare begins a new key as the request's parameters say, and finds its algorithm.
  ErrorCode Prepare(const KeyParams& params, km::KeyOrigin origin, Key* key,
                    const Algorithm** algorithm) const;

  // Complete makes a key with its material into what is handed out: characteristics, certificates,
  // blob.
  ErrorCode Complete(const KeyParams& params,
                     const std::optional<km::AttestationKey>& attestation_key, Key* key,
                     km::KeyCreationResult* result) const;

  KeyParams VersionParams() const;
  km::KeyCharacteristics Characteristics(const Key& key) const;

  const std::shared_ptr<DeviceFolder> folder_;
  const Instance instance_;
  const KeyVault vault_;
  const std::shared_ptr<OperationSlots> slots_;
  const Attestation attestation_;
  const std::shared_ptr<SharedSecretParty> shared_secret_;
  RootOfTrustReceiver root_of_trust_;
};

}  // namespace orx_sim
