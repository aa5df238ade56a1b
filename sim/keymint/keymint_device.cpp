// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/keymint_device.h"

#include <openssl/rand.h>

#include <algorithm>
#include <utility>

#include "sim/keymint/key_rules.h"
#include "sim/keymint/status.h"

namespace orx_sim {
namespace {

constexpr size_t kMostEntropyBytes = 2048;
constexpr int32_t kImplementationVersion = 1;

enum class Age { kCurrent, kOlder, kNewer };

// Compares a key with the system that runs. A key that is newer in one thing and older in another
// counts as newer: it cannot be upgraded.
Age CompareVersions(const Key& key, const KeyParams& system) {
  Age age = Age::kCurrent;
  for (const km::KeyParameter& now : system) {
    const int64_t value = FindNumber(key.authorizations, now.tag).value_or(0);
    const int64_t current = NumberOf(now.value).value_or(0);
    if (value == current) continue;
    // A system whose version is not numeric has version 0 and takes every key.
    const bool to_unversioned = now.tag == Tag::OS_VERSION && current == 0;
    if (value > current && !to_unversioned) return Age::kNewer;
    age = Age::kOlder;
  }
  return age;
}

}  // namespace

KeyMintDevice::KeyMintDevice(std::shared_ptr<DeviceFolder> folder, const Instance& instance,
                             std::shared_ptr<SharedSecretParty> shared_secret)
    : folder_(std::move(folder)),
      instance_(instance),
      vault_(folder_, instance_.name),
      slots_(std::make_shared<OperationSlots>(
          static_cast<int>(folder_->GetNumber("operation-slots")))),
      attestation_(folder_, instance_,
                   [this](const Bytes& blob, const KeyParams& params, Key* key) {
                     return OpenAttestationKey(blob, params, key);
                   }),
      shared_secret_(std::move(shared_secret)) {}

ndk::ScopedAStatus KeyMintDevice::getHardwareInfo(km::KeyMintHardwareInfo* info) {
  *info = {kImplementationVersion, instance_.level, "Simulated KeyMint", "orx-sim", false};
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::addRngEntropy(const Bytes& data) {
  if (data.size() > kMostEntropyBytes) return AsStatus(ErrorCode::INVALID_INPUT_LENGTH);
  RAND_seed(data.data(), static_cast<int>(data.size()));
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::generateKey(
    const KeyParams& params, const std::optional<km::AttestationKey>& attestation_key,
    km::KeyCreationResult* result) {
  Key key;
  const Algorithm* algorithm = nullptr;
  ErrorCode code = Prepare(params, km::KeyOrigin::GENERATED, &key, &algorithm);
  if (code == ErrorCode::OK) code = algorithm->generate(instance_, &key);
  if (code == ErrorCode::OK) code = Complete(params, attestation_key, &key, result);
  return AsStatus(code);
}

ndk::ScopedAStatus KeyMintDevice::importKey(
    const KeyParams& params, km::KeyFormat format, const Bytes& data,
    const std::optional<km::AttestationKey>& attestation_key, km::KeyCreationResult* result) {
  Key key;
  const Algorithm* algorithm = nullptr;
  ErrorCode code = Prepare(params, km::KeyOrigin::IMPORTED, &key, &algorithm);
  if (code == ErrorCode::OK) code = algorithm->import_key(instance_, format, data, &key);
  if (code == ErrorCode::OK) code = Complete(params, attestation_key, &key, result);
  return AsStatus(code);
}

ErrorCode KeyMintDevice::Prepare(const KeyParams& params, km::KeyOrigin origin, Key* key,
                                 const Algorithm** algorithm) const {
  const ErrorCode code = CheckCreation(params);
  if (code != ErrorCode::OK) return code;
  *key = vault_.NewKey(params);
  key->authorizations = Enforced(params);
  key->authorizations.push_back({Tag::ORIGIN, origin});
  *algorithm = FindAlgorithm(key->algorithm());
  return ErrorCode::OK;
}

// A key comes with certificates when it has a public key, and without any otherwise.
ErrorCode KeyMintDevice::Complete(const KeyParams& params,
                                  const std::optional<km::AttestationKey>& attestation_key,
                                  Key* key, km::KeyCreationResult* result) const {
  const KeyParams versions = VersionParams();
  key->authorizations.insert(key->authorizations.end(), versions.begin(), versions.end());
  km::KeyCreationResult created;
  if (key->pair != nullptr) {
    const ErrorCode code =
        attestation_.Certify(params, *key, attestation_key, &created.certificateChain);
    if (code != ErrorCode::OK) return code;
  }
  created.keyBlob = vault_.Seal(*key);
  created.keyCharacteristics = {Characteristics(*key)};
  *result = std::move(created);
  return ErrorCode::OK;
}

// Wrapping keys would need OAEP unwrapping under user authentication, which is not offered.
ndk::ScopedAStatus KeyMintDevice::importWrappedKey(const Bytes&, const Bytes&, const Bytes&,
                                                   const KeyParams&, int64_t, int64_t,
                                                   km::KeyCreationResult*) {
  return AsStatus(ErrorCode::UNIMPLEMENTED);
}

KeyParams KeyMintDevice::VersionParams() const {
  return {UintParam(Tag::OS_VERSION, folder_->GetNumber("os-version")),
          UintParam(Tag::OS_PATCHLEVEL, folder_->GetNumber("os-patch-level")),
          UintParam(Tag::VENDOR_PATCHLEVEL, folder_->GetNumber("vendor-patch-level")),
          UintParam(Tag::BOOT_PATCHLEVEL, folder_->GetNumber("boot-patch-level"))};
}

km::KeyCharacteristics KeyMintDevice::Characteristics(const Key& key) const {
  return {instance_.level, key.authorizations};
}

ErrorCode KeyMintDevice::OpenCurrent(const Bytes& blob, const HiddenDigest& hidden,
                                     Key* key) const {
  if (!vault_.Open(blob, hidden, key)) return ErrorCode::INVALID_KEY_BLOB;
  if (CompareVersions(*key, VersionParams()) != Age::kCurrent) {
    return ErrorCode::KEY_REQUIRES_UPGRADE;
  }
  return ErrorCode::OK;
}

// Remotely provisioned keys are bound to no version of the system; all others are.
ErrorCode KeyMintDevice::OpenAttestationKey(const Bytes& blob, const KeyParams& params,
                                            Key* key) const {
  const ErrorCode code = OpenCurrent(blob, DigestHidden(params), key);
  const bool unversioned = !Has(key->authorizations, Tag::OS_PATCHLEVEL);
  return code == ErrorCode::KEY_REQUIRES_UPGRADE && unversioned ? ErrorCode::OK : code;
}

ndk::ScopedAStatus KeyMintDevice::upgradeKey(const Bytes& blob, const KeyParams& params,
                                             Bytes* upgraded) {
  Key key;
  if (!vault_.Open(blob, DigestHidden(params), &key)) {
    return AsStatus(ErrorCode::INVALID_KEY_BLOB);
  }
  const KeyParams system = VersionParams();
  const Age age = CompareVersions(key, system);
  if (age == Age::kNewer) return AsStatus(ErrorCode::INVALID_ARGUMENT);
  if (age == Age::kCurrent) {
    upgraded->clear();
    return AsStatus(ErrorCode::OK);
  }
  for (const km::KeyParameter& now : system) {
    Remove(&key.authorizations, now.tag);
    key.authorizations.push_back(now);
  }
  *upgraded = vault_.Seal(key);
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::deleteKey(const Bytes& blob) {
  Key key;
  if (!vault_.Unseal(blob, &key)) return AsStatus(ErrorCode::INVALID_KEY_BLOB);
  return AsStatus(vault_.Delete(key) ? ErrorCode::OK : ErrorCode::UNKNOWN_ERROR);
}

ndk::ScopedAStatus KeyMintDevice::deleteAllKeys() {
  return AsStatus(vault_.DeleteAll() ? ErrorCode::OK : ErrorCode::UNKNOWN_ERROR);
}

ndk::ScopedAStatus KeyMintDevice::destroyAttestationIds() {
  std::string error;
  if (folder_->Set({"id-attestation=no"}, &error)) return AsStatus(ErrorCode::OK);
  return AsStatus(ErrorCode::UNKNOWN_ERROR);
}

ndk::ScopedAStatus KeyMintDevice::begin(km::KeyPurpose purpose, const Bytes& blob,
                                        const KeyParams& params,
                                        const std::optional<km::HardwareAuthToken>&,
                                        km::BeginResult* result) {
  Key key;
  ErrorCode code = OpenCurrent(blob, DigestHidden(params), &key);
  if (code == ErrorCode::OK) code = CheckUse(key, purpose);
  if (code != ErrorCode::OK) return AsStatus(code);
  Started started;
  code = FindAlgorithm(key.algorithm())
             ->begin({key, purpose, params, folder_->IsYes("public-key-operations")}, &started);
  if (code != ErrorCode::OK) return AsStatus(code);
  std::unique_ptr<OperationSlots::Slot> slot = OperationSlots::Take(slots_);
  if (slot == nullptr) return AsStatus(ErrorCode::TOO_MANY_OPERATIONS);
  result->params = std::move(started.params);
  RAND_bytes(reinterpret_cast<uint8_t*>(&result->challenge), sizeof(result->challenge));
  result->operation =
      ndk::SharedRefBase::make<Operation>(std::move(started.computation), std::move(slot));
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::deviceLocked(
    bool, const std::optional<::aidl::android::hardware::security::secureclock::TimeStampToken>&) {
  return AsStatus(ErrorCode::UNIMPLEMENTED);
}

ndk::ScopedAStatus KeyMintDevice::earlyBootEnded() {
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::convertStorageKeyToEphemeral(const Bytes&, Bytes*) {
  return AsStatus(ErrorCode::UNIMPLEMENTED);
}

ndk::ScopedAStatus KeyMintDevice::getKeyCharacteristics(
    const Bytes& blob, const Bytes& application_id, const Bytes& application_data,
    std::vector<km::KeyCharacteristics>* characteristics) {
  Key key;
  const ErrorCode code = OpenCurrent(blob, DigestHidden(application_id, application_data), &key);
  if (code == ErrorCode::OK) *characteristics = {Characteristics(key)};
  return AsStatus(code);
}

ndk::ScopedAStatus KeyMintDevice::getRootOfTrustChallenge(RootOfTrustChallenge* challenge) {
  if (!instance_.IsStrongBox()) return AsStatus(ErrorCode::UNIMPLEMENTED);
  *challenge = root_of_trust_.NewChallenge();
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::getRootOfTrust(const RootOfTrustChallenge& challenge,
                                                 Bytes* root_of_trust) {
  if (instance_.IsStrongBox()) return AsStatus(ErrorCode::UNIMPLEMENTED);
  const std::optional<HmacKey> key = shared_secret_->secret();
  if (!key) return AsStatus(ErrorCode::HARDWARE_NOT_YET_AVAILABLE);
  RootOfTrust root;
  root.boot_patch_level = static_cast<int32_t>(folder_->GetNumber("boot-patch-level"));
  *root_of_trust = EncodeRootOfTrust(root, challenge, *key);
  return AsStatus(ErrorCode::OK);
}

ndk::ScopedAStatus KeyMintDevice::sendRootOfTrust(const Bytes& root_of_trust) {
  if (!instance_.IsStrongBox()) return AsStatus(ErrorCode::UNIMPLEMENTED);
  const std::optional<HmacKey> key = shared_secret_->secret();
  const bool accepted = key && root_of_trust_.Accept(root_of_trust, *key);
  return AsStatus(accepted ? ErrorCode::OK : ErrorCode::VERIFICATION_FAILED);
}

}  // namespace orx_sim
