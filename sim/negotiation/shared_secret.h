// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/sharedsecret/BnSharedSecret.h>

#include <mutex>
#include <optional>
#include <vector>

#include "sim/base/bytes.h"
#include "sim/negotiation/cose_mac.h"

namespace orx_sim {

namespace ss = ::aidl::android::hardware::security::sharedsecret;

// DeriveSharedSecret derives the HMAC key of a device's instances from their pre-shared
// AES-256 key and everybody's parameters: SP 800-108 in counter mode with AES-CMAC, 32-bit counter
// and length. The order of `parameters` matters.
HmacKey DeriveSharedSecret(const SecretBytes& preshared_key,
                           const std::vector<ss::SharedSecretParameters>& parameters);

// SharedSecretCheckValue returns the 32 bytes by which two instances see that they derived the
// same secret.
Bytes SharedSecretCheckValue(const HmacKey& shared_secret);

// SharedSecretParty is one instance's part in the negotiation, from boot to boot. Thread safe.
class SharedSecretParty {
 public:
  // `seed` is empty or 32 bytes that stay the same for the life of the device. The nonce is new.
  SharedSecretParty(SecretBytes preshared_key, Bytes seed);

  const ss::SharedSecretParameters& parameters() const { return parameters_; }

  // Derives the secret from the parameters of all parties and returns the check value; empty if the
  // party's own parameters are not among them. A secret derived earlier is replaced.
  std::optional<Bytes> Negotiate(const std::vector<ss::SharedSecretParameters>& parameters);

  // The negotiated secret, empty before the first negotiation.
  std::optional<HmacKey> secret() const;

 private:
  const SecretBytes preshared_key_;
  const ss::SharedSecretParameters parameters_;
  mutable std::mutex mutex_;
  std::optional<HmacKey> secret_;
};

// SharedSecretService offers a party to the system as ISharedSecret.
class SharedSecretService : public ss::BnSharedSecret {
 public:
  explicit SharedSecretService(std::shared_ptr<SharedSecretParty> party)
      : party_(std::move(party)) {}

  ndk::ScopedAStatus getSharedSecretParameters(ss::SharedSecretParameters* parameters) override;
  ndk::ScopedAStatus computeSharedSecret(const std::vector<ss::SharedSecretParameters>& parameters,
                                         Bytes* check_value) override;

 private:
  const std::shared_ptr<SharedSecretParty> party_;
};

}  // namespace orx_sim
