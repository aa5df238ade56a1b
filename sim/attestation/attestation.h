// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/AttestationKey.h>
#include <aidl/android/hardware/security/keymint/Certificate.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "sim/base/device_folder.h"
#include "sim/base/instance.h"
#include "sim/keys/key_params.h"

namespace orx_sim {

// Attestation makes the certificates that come with the asymmetric keys of one instance: attested
// by a given attestation key or by the factory's, or not attested at all.
class Attestation {
 public:
  // How the device opens a key blob for use, with the parameters that its owner presents.
  using OpenKey = std::function<ErrorCode(const Bytes& blob, const KeyParams& params, Key* key)>;

  Attestation(std::shared_ptr<DeviceFolder> folder, const Instance& instance, OpenKey open_key);

  // Certify assigns the chain of a new key, which lacks nothing else, to `*chain`, only on OK.
  // `request` are the parameters that the caller gave. Errors are those of KeyMint, in this order:
  // of the request, of the attestation key, of the device's identifiers, of the certificate
  // (certificates.h).
  ErrorCode Certify(const KeyParams& request, const Key& key,
                    const std::optional<km::AttestationKey>& attestation_key,
                    std::vector<km::Certificate>* chain) const;

 private:
  struct Signer;

  ErrorCode CheckRequest(const KeyParams& request, const Key& key, bool has_attestation_key) const;
  ErrorCode OpenAttestationKey(const km::AttestationKey& attestation_key, Signer* signer) const;
  ErrorCode OpenFactoryKey(Signer* signer) const;
  ErrorCode Describe(const KeyParams& request, const Key& key, Bytes* key_description) const;

  const std::shared_ptr<DeviceFolder> folder_;
  const Instance instance_;
  const OpenKey open_key_;
};

}  // namespace orx_sim
