// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "sim/negotiation/cose_mac.h"

namespace orx_sim {

enum class VerifiedBootState { kVerified = 0, kSelfSigned = 1, kUnverified = 2, kFailed = 3 };

// RootOfTrust is what verified boot told the secure environment. The defaults are those of every
// simulated device: an unlocked bootloader and an unverified system, so that no verifier takes a
// simulated attestation for one of a locked device.
struct RootOfTrust {
  std::array<uint8_t, 32> verified_boot_key{};
  bool device_locked = false;
  VerifiedBootState verified_boot_state = VerifiedBootState::kUnverified;
  std::array<uint8_t, 32> verified_boot_hash{};
  int32_t boot_patch_level = 0;  // YYYYMMDD
};

using RootOfTrustChallenge = std::array<uint8_t, 16>;

// EncodeRootOfTrust returns `root` as the TEE sends it to the StrongBox: a tagged COSE_Mac0 (RFC
// 9052) whose payload is the CBOR root of trust and whose external data is the challenge, under the
// HMAC key that the two environments negotiated.
std::vector<uint8_t> EncodeRootOfTrust(const RootOfTrust& root,
                                       const RootOfTrustChallenge& challenge,
                                       const HmacKey& hmac_key);

// RootOfTrustReceiver is the StrongBox side. It accepts a root of trust that is authenticated for
// the challenge it gave out last, once. Thread safe.
class RootOfTrustReceiver {
 public:
  // A fresh random challenge, which replaces an outstanding one.
  RootOfTrustChallenge NewChallenge();

  // True if `message` authenticates under `hmac_key` for the outstanding challenge, which is spent
  // then. After a false answer the challenge still stands.
  bool Accept(const std::vector<uint8_t>& message, const HmacKey& hmac_key);

 private:
  std::mutex mutex_;
  std::optional<RootOfTrustChallenge> challenge_;
};

}  // namespace orx_sim
