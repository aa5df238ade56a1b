// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>

#include "sim/base/verified_boot.h"
#include "sim/negotiation/cose_mac.h"

namespace orx_sim {

using RootOfTrustChallenge = std::array<uint8_t, 16>;

// EncodeRootOfTrust returns `root` as the TEE sends it to the StrongBox: a tagged COSE_Mac0 (RFC
// 9052) whose payload is the CBOR root of trust and whose external data is the challenge, under the
// HMAC key that the two instances negotiated.
Bytes EncodeRootOfTrust(const RootOfTrust& root, const RootOfTrustChallenge& challenge,
                        const HmacKey& hmac_key);

// RootOfTrustReceiver is the StrongBox's part. It accepts a root of trust that is authenticated for
// the challenge it gave out last, once. Thread safe.
class RootOfTrustReceiver {
 public:
  // A fresh random challenge, which replaces an outstanding one.
  RootOfTrustChallenge NewChallenge();

  // True if `message` authenticates under `hmac_key` for the outstanding challenge, which is spent
  // then. After a false answer the challenge still stands.
  bool Accept(const Bytes& message, const HmacKey& hmac_key);

 private:
  std::mutex mutex_;
  std::optional<RootOfTrustChallenge> challenge_;
};

}  // namespace orx_sim
