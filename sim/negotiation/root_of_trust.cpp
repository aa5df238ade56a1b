// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/root_of_trust.h"

#include <openssl/rand.h>

#include "sim/negotiation/cbor_writer.h"

namespace orx_sim {
namespace {

constexpr uint64_t kTagMac0 = 17;  // RFC 9052, 2
constexpr uint64_t kTagRootOfTrust = 40001;

std::vector<uint8_t> EncodePayload(const RootOfTrust& root) {
  return CborWriter()
      .Tag(kTagRootOfTrust)
      .Array(5)
      .Bytes(root.verified_boot_key)
      .Bool(root.device_locked)
      .Unsigned(static_cast<uint64_t>(root.verified_boot_state))
      .Bytes(root.verified_boot_hash)
      .Integer(root.boot_patch_level)
      .Take();
}

std::vector<uint8_t> ToBytes(const RootOfTrustChallenge& challenge) {
  return std::vector<uint8_t>(challenge.begin(), challenge.end());
}

}  // namespace

std::vector<uint8_t> EncodeRootOfTrust(const RootOfTrust& root,
                                       const RootOfTrustChallenge& challenge,
                                       const HmacKey& hmac_key) {
  return EncodeMac0(CborWriter().Tag(kTagMac0), EncodePayload(root), ToBytes(challenge), hmac_key);
}

RootOfTrustChallenge RootOfTrustReceiver::NewChallenge() {
  RootOfTrustChallenge challenge;
  RAND_bytes(challenge.data(), challenge.size());
  const std::lock_guard<std::mutex> lock(mutex_);
  challenge_ = challenge;
  return challenge;
}

bool RootOfTrustReceiver::Accept(const std::vector<uint8_t>& message, const HmacKey& hmac_key) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!challenge_ ||
      !OpenMac0(CborWriter().Tag(kTagMac0), message, ToBytes(*challenge_), hmac_key)) {
    return false;
  }
  challenge_.reset();
  return true;
}

}  // namespace orx_sim
