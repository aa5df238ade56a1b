// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/shared_secret.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <openssl/cmac.h>
#include <openssl/digest.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <string_view>

namespace orx_sim {
namespace {

using Parameters = std::vector<ss::SharedSecretParameters>;

constexpr size_t kNonceLength = 32;
constexpr size_t kCmacLength = 16;

void AppendBigEndian32(uint32_t value, Bytes* out) {
  for (int shift = 24; shift >= 0; shift -= 8) out->push_back(static_cast<uint8_t>(value >> shift));
}

// One block of input to the key derivation: counter, label, zero, context, length of the result.
Bytes KdfInput(uint32_t counter, const Parameters& parameters) {
  const std::string_view label = ss::ISharedSecret::KEY_AGREEMENT_LABEL;
  Bytes input;
  AppendBigEndian32(counter, &input);
  input.insert(input.end(), label.begin(), label.end());
  input.push_back(0);
  for (const ss::SharedSecretParameters& party : parameters) {
    input.insert(input.end(), party.seed.begin(), party.seed.end());
    input.insert(input.end(), party.nonce.begin(), party.nonce.end());
  }
  AppendBigEndian32(8 * std::tuple_size_v<HmacKey>, &input);
  return input;
}

ss::SharedSecretParameters MakeParameters(Bytes seed) {
  ss::SharedSecretParameters parameters;
  parameters.seed = std::move(seed);
  parameters.nonce.resize(kNonceLength);
  RAND_bytes(parameters.nonce.data(), parameters.nonce.size());
  return parameters;
}

}  // namespace

HmacKey DeriveSharedSecret(const SecretBytes& preshared_key, const Parameters& parameters) {
  HmacKey secret{};
  for (uint32_t i = 0; i < secret.size() / kCmacLength; ++i) {
    const Bytes input = KdfInput(i + 1, parameters);
    AES_CMAC(secret.data() + i * kCmacLength, preshared_key.data(), preshared_key.size(),
             input.data(), input.size());
  }
  return secret;
}

Bytes SharedSecretCheckValue(const HmacKey& shared_secret) {
  const std::string_view label = ss::ISharedSecret::KEY_CHECK_LABEL;
  Bytes value(EVP_MD_size(EVP_sha256()));
  HMAC(EVP_sha256(), shared_secret.data(), shared_secret.size(),
       reinterpret_cast<const uint8_t*>(label.data()), label.size(), value.data(), nullptr);
  return value;
}

SharedSecretParty::SharedSecretParty(SecretBytes preshared_key, Bytes seed)
    : preshared_key_(std::move(preshared_key)), parameters_(MakeParameters(std::move(seed))) {}

std::optional<Bytes> SharedSecretParty::Negotiate(const Parameters& parameters) {
  if (std::find(parameters.begin(), parameters.end(), parameters_) == parameters.end()) {
    return std::nullopt;
  }
  const HmacKey secret = DeriveSharedSecret(preshared_key_, parameters);
  const std::lock_guard<std::mutex> lock(mutex_);
  secret_ = secret;
  return SharedSecretCheckValue(secret);
}

std::optional<HmacKey> SharedSecretParty::secret() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return secret_;
}

ndk::ScopedAStatus SharedSecretService::getSharedSecretParameters(
    ss::SharedSecretParameters* parameters) {
  *parameters = party_->parameters();
  return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus SharedSecretService::computeSharedSecret(const Parameters& parameters,
                                                            Bytes* check_value) {
  using ::aidl::android::hardware::security::keymint::ErrorCode;
  std::optional<Bytes> value = party_->Negotiate(parameters);
  if (!value) {
    return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(
        static_cast<int32_t>(ErrorCode::INVALID_ARGUMENT),
        "the list lacks this instance's own parameters");
  }
  *check_value = std::move(*value);
  return ndk::ScopedAStatus::ok();
}

}  // namespace orx_sim
