// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/root_of_trust.h"

#include <cppbor_parse.h>
#include <keymaster/cppcose/cppcose.h>
#include <openssl/rand.h>

namespace orx_sim {
namespace {

constexpr uint64_t kTagRootOfTrust = 40001;  // as KeyMint names it

template <typename Array>
Bytes ToBytes(const Array& bytes) {
  return Bytes(bytes.begin(), bytes.end());
}

Bytes EncodePayload(const RootOfTrust& root) {
  return cppbor::SemanticTag(kTagRootOfTrust,
                             cppbor::Array(ToBytes(root.verified_boot_key), root.device_locked,
                                           root.verified_boot_state,
                                           ToBytes(root.verified_boot_hash), root.boot_patch_level))
      .encode();
}

// Whether `message` is nothing but a tagged COSE_Mac0 for the challenge.
bool IsAuthentic(const Bytes& message, const RootOfTrustChallenge& challenge,
                 const HmacKey& hmac_key) {
  const auto [item, end, error] = cppbor::parse(message);
  if (item == nullptr || end != message.data() + message.size()) return false;
  const cppbor::Array* const mac0 = item->asArray();
  return mac0 != nullptr && item->semanticTagCount() == 1 &&
         item->semanticTag() == cppcose::kCoseMac0SemanticTag &&
         OpenMac0(*mac0, ToBytes(challenge), hmac_key).has_value();
}

}  // namespace

Bytes EncodeRootOfTrust(const RootOfTrust& root, const RootOfTrustChallenge& challenge,
                        const HmacKey& hmac_key) {
  return cppbor::SemanticTag(cppcose::kCoseMac0SemanticTag,
                             NewMac0(EncodePayload(root), ToBytes(challenge), hmac_key))
      .encode();
}

RootOfTrustChallenge RootOfTrustReceiver::NewChallenge() {
  RootOfTrustChallenge challenge;
  RAND_bytes(challenge.data(), challenge.size());
  const std::lock_guard<std::mutex> lock(mutex_);
  challenge_ = challenge;
  return challenge;
}

bool RootOfTrustReceiver::Accept(const Bytes& message, const HmacKey& hmac_key) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!challenge_ || !IsAuthentic(message, *challenge_, hmac_key)) return false;
  challenge_.reset();
  return true;
}

}  // namespace orx_sim
