// SPDX-License-Identifier: Apache-2.0
#include <keymint/authorization_set.h>

#include <algorithm>
#include <iterator>

namespace android::hardware::keymint::ORX {

void AuthorizationSet::Sort() {
  std::sort(parameters_.begin(), parameters_.end());
}

void AuthorizationSet::Deduplicate() {
  if (parameters_.empty()) return;
  Sort();

  std::vector<km::KeyParameter> kept;
  for (size_t i = 0; i + 1 < parameters_.size(); ++i) {
    if (parameters_[i].tag == km::Tag::INVALID) continue;
    if (parameters_[i] != parameters_[i + 1]) kept.push_back(std::move(parameters_[i]));
  }
  kept.push_back(std::move(parameters_.back()));
  parameters_ = std::move(kept);
}

void AuthorizationSet::Union(const AuthorizationSet& other) {
  const std::vector<km::KeyParameter> appended = other.parameters_;  // `other` may be this set
  parameters_.insert(parameters_.end(), appended.begin(), appended.end());
  Deduplicate();
}

void AuthorizationSet::Subtract(const AuthorizationSet& other) {
  std::vector<km::KeyParameter> removed = other.parameters_;  // `other` may be this set
  std::sort(removed.begin(), removed.end());
  Deduplicate();
  // No element is left twice, so that this is what removing one after the other leaves.
  std::vector<km::KeyParameter> kept;
  std::set_difference(std::make_move_iterator(parameters_.begin()),
                      std::make_move_iterator(parameters_.end()), removed.begin(), removed.end(),
                      std::back_inserter(kept));
  parameters_ = std::move(kept);
}

int AuthorizationSet::find(km::Tag tag, int begin) const {
  const int count = static_cast<int>(parameters_.size());
  for (int at = begin + 1; at < count; ++at) {
    if ((*this)[at].tag == tag) return at;
  }
  return -1;
}

size_t AuthorizationSet::GetTagCount(km::Tag tag) const {
  size_t count = 0;
  for (int at = find(tag); at != -1; at = find(tag, at)) ++count;
  return count;
}

bool AuthorizationSet::erase(int index) {
  if (static_cast<size_t>(index) == parameters_.size()) return false;
  parameters_.erase(parameters_.begin() + index);
  return true;
}

std::optional<std::reference_wrapper<const km::KeyParameter>> AuthorizationSet::GetEntry(
    km::Tag tag) const {
  const int at = find(tag);
  if (at == -1) return std::nullopt;
  return std::cref((*this)[at]);
}

AuthorizationSetBuilder& AuthorizationSetBuilder::RsaKey(uint32_t key_size,
                                                         uint64_t public_exponent) {
  push_back(TAG_ALGORITHM, km::Algorithm::RSA);
  push_back(TAG_KEY_SIZE, key_size);
  push_back(TAG_RSA_PUBLIC_EXPONENT, public_exponent);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::EcdsaKey(uint32_t key_size) {
  push_back(TAG_ALGORITHM, km::Algorithm::EC);
  push_back(TAG_KEY_SIZE, key_size);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::EcdsaKey(km::EcCurve curve) {
  push_back(TAG_ALGORITHM, km::Algorithm::EC);
  push_back(TAG_EC_CURVE, curve);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::AesKey(uint32_t key_size) {
  push_back(TAG_ALGORITHM, km::Algorithm::AES);
  push_back(TAG_KEY_SIZE, key_size);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::TripleDesKey(uint32_t key_size) {
  push_back(TAG_ALGORITHM, km::Algorithm::TRIPLE_DES);
  push_back(TAG_KEY_SIZE, key_size);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::HmacKey(uint32_t key_size) {
  push_back(TAG_ALGORITHM, km::Algorithm::HMAC);
  push_back(TAG_KEY_SIZE, key_size);
  return SigningKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::SigningKey() {
  push_back(TAG_PURPOSE, km::KeyPurpose::SIGN);
  push_back(TAG_PURPOSE, km::KeyPurpose::VERIFY);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::EncryptionKey() {
  push_back(TAG_PURPOSE, km::KeyPurpose::ENCRYPT);
  push_back(TAG_PURPOSE, km::KeyPurpose::DECRYPT);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::AttestKey() {
  push_back(TAG_PURPOSE, km::KeyPurpose::ATTEST_KEY);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::RsaSigningKey(uint32_t key_size,
                                                                uint64_t public_exponent) {
  return RsaKey(key_size, public_exponent).SigningKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::RsaEncryptionKey(uint32_t key_size,
                                                                   uint64_t public_exponent) {
  return RsaKey(key_size, public_exponent).EncryptionKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::EcdsaSigningKey(uint32_t key_size) {
  return EcdsaKey(key_size).SigningKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::EcdsaSigningKey(km::EcCurve curve) {
  return EcdsaKey(curve).SigningKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::AesEncryptionKey(uint32_t key_size) {
  return AesKey(key_size).EncryptionKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::TripleDesEncryptionKey(uint32_t key_size) {
  return TripleDesKey(key_size).EncryptionKey();
}

AuthorizationSetBuilder& AuthorizationSetBuilder::NoDigestOrPadding() {
  push_back(TAG_DIGEST, km::Digest::NONE);
  push_back(TAG_PADDING, km::PaddingMode::NONE);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::EcbMode() {
  push_back(TAG_BLOCK_MODE, km::BlockMode::ECB);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::GcmModeMinMacLen(uint32_t min_mac_length) {
  push_back(TAG_BLOCK_MODE, km::BlockMode::GCM);
  push_back(TAG_PADDING, km::PaddingMode::NONE);
  push_back(TAG_MIN_MAC_LENGTH, min_mac_length);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::GcmModeMacLen(uint32_t mac_length) {
  push_back(TAG_BLOCK_MODE, km::BlockMode::GCM);
  push_back(TAG_PADDING, km::PaddingMode::NONE);
  push_back(TAG_MAC_LENGTH, mac_length);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::BlockMode(
    std::initializer_list<km::BlockMode> block_modes) {
  for (km::BlockMode block_mode : block_modes) push_back(TAG_BLOCK_MODE, block_mode);
  return *this;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): taken by value in the interface
AuthorizationSetBuilder& AuthorizationSetBuilder::Digest(std::vector<km::Digest> digests) {
  for (km::Digest digest : digests) push_back(TAG_DIGEST, digest);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::Digest(km::Digest digest) {
  return Digest({digest});
}

AuthorizationSetBuilder& AuthorizationSetBuilder::OaepMGFDigest(
    const std::vector<km::Digest>& digests) {
  for (km::Digest digest : digests) push_back(TAG_RSA_OAEP_MGF_DIGEST, digest);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::Padding(
    std::initializer_list<km::PaddingMode> padding_modes) {
  for (km::PaddingMode padding_mode : padding_modes) push_back(TAG_PADDING, padding_mode);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::SetDefaultValidity() {
  constexpr uint64_t kUndefinedExpirationMs = 253402300799000;
  push_back(TAG_CERTIFICATE_NOT_BEFORE, 0);
  push_back(TAG_CERTIFICATE_NOT_AFTER, kUndefinedExpirationMs);
  return *this;
}

AuthorizationSetBuilder& AuthorizationSetBuilder::AttestationChallenge(
    const std::string& challenge) {
  return Authorization(TAG_ATTESTATION_CHALLENGE, challenge);
}

AuthorizationSetBuilder& AuthorizationSetBuilder::AttestationApplicationId(
    const std::string& application_id) {
  return Authorization(TAG_ATTESTATION_APPLICATION_ID, application_id);
}

}  // namespace android::hardware::keymint::ORX
