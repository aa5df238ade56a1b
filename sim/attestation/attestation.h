// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/AttestationKey.h>
#include <aidl/android/hardware/security/keymint/Certificate.h>
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <openssl/evp.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "sim/base/device_folder.h"
#include "sim/base/instance.h"
#include "sim/keys/key_params.h"
#include "sim/keys/key_vault.h"

namespace orx_sim {

// NewKey is an asymmetric key that lacks only its certificates.
struct NewKey {
  const KeyParams& request;   // what the caller gave
  const KeyParams& enforced;  // the key's characteristics
  EVP_PKEY* pair;
  bool imported;
};

// Attestation makes the certificates that come with the asymmetric keys of one instance: attested
// by a given attestation key or by the factory's, or not attested at all.
class Attestation {
 public:
  // How the device opens a key blob for use, with the parameters that its owner presents.
  using OpenKey =
      std::function<km::ErrorCode(const Bytes& blob, const KeyParams& params, Key* key)>;

  Attestation(std::shared_ptr<DeviceFolder> folder, const Instance& instance, OpenKey open_key);

  // Certify assigns the chain of a new key to `*chain`, only on OK. Errors are those of KeyMint, in
  // this order: of the request, of the attestation key, of the device's identifiers, of the
  // certificate (certificates.h).
  km::ErrorCode Certify(const NewKey& key, const std::optional<km::AttestationKey>& attestation_key,
                        std::vector<km::Certificate>* chain) const;

 private:
  struct Signer;

  km::ErrorCode CheckRequest(const NewKey& key, bool has_attestation_key) const;
  km::ErrorCode OpenSigner(const std::optional<km::AttestationKey>& attestation_key,
                           Signer* signer) const;
  km::ErrorCode OpenAttestationKey(const km::AttestationKey& attestation_key, Signer* signer) const;
  km::ErrorCode OpenFactoryKey(Signer* signer) const;
  km::ErrorCode Describe(const NewKey& key, Bytes* key_description) const;
  Bytes UniqueId(const KeyParams& request) const;

  const std::shared_ptr<DeviceFolder> folder_;
  const Instance instance_;
  const OpenKey open_key_;
};

}  // namespace orx_sim
