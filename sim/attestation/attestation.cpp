// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/attestation.h"

#include <openssl/digest.h>
#include <openssl/hmac.h>
#include <openssl/x509.h>
#include <stdio.h>

#include <algorithm>

#include "common/certificate.h"
#include "sim/attestation/attestation_extension.h"
#include "sim/attestation/certificates.h"
#include "sim/attestation/device_ids.h"
#include "sim/attestation/factory_chain.h"
#include "sim/keymint/key_import.h"

namespace orx_sim {
namespace {

constexpr size_t kMaxChallengeLength = 128;
constexpr size_t kMaxApplicationIdLength = 1024;
constexpr size_t kUniqueIdLength = 16;
constexpr int64_t kUniqueIdPeriodMs = 30LL * 24 * 60 * 60 * 1000;

// Authorizations that the system enforces or merely records, not the secure environment.
constexpr Tag kSoftwareEnforced[] = {Tag::ACTIVE_DATETIME,       Tag::ORIGINATION_EXPIRE_DATETIME,
                                     Tag::USAGE_EXPIRE_DATETIME, Tag::USAGE_COUNT_LIMIT,
                                     Tag::ALLOW_WHILE_ON_BODY,   Tag::UNLOCKED_DEVICE_REQUIRED,
                                     Tag::CREATION_DATETIME,     Tag::ATTESTATION_APPLICATION_ID};

KeyParams SoftwareEnforced(const NewKey& key) {
  KeyParams list;
  for (const km::KeyParameter& param : key.request) {
    const bool recorded = std::find(std::begin(kSoftwareEnforced), std::end(kSoftwareEnforced),
                                    param.tag) != std::end(kSoftwareEnforced);
    if (recorded && !Has(key.enforced, param.tag)) list.push_back(param);
  }
  return list;
}

Bytes SubjectOf(const Bytes& der) {
  const bssl::UniquePtr<X509> certificate = orx_common::ParseCertificate(der);
  if (!certificate) return {};
  X509_NAME* const subject = X509_get_subject_name(certificate.get());
  Bytes name(static_cast<size_t>(std::max(0, i2d_X509_NAME(subject, nullptr))));
  uint8_t* out = name.data();
  i2d_X509_NAME(subject, &out);
  return name;
}

}  // namespace

// Who signs, and the certificates that follow the new one.
struct Attestation::Signer {
  bssl::UniquePtr<EVP_PKEY> key;
  Bytes name;
  std::vector<Bytes> chain;
};

Attestation::Attestation(std::shared_ptr<DeviceFolder> folder, const Instance& instance,
                         OpenKey open_key)
    : folder_(std::move(folder)), instance_(instance), open_key_(std::move(open_key)) {}

ErrorCode Attestation::Certify(const NewKey& key,
                               const std::optional<km::AttestationKey>& attestation_key,
                               std::vector<km::Certificate>* chain) const {
  ErrorCode code = CheckRequest(key, attestation_key.has_value());
  if (code != ErrorCode::OK) return code;
  km::Certificate own;
  if (!Has(key.request, Tag::ATTESTATION_CHALLENGE)) {
    code = CertifyOwnKey(key.request, key.pair, &own.encodedCertificate);
    if (code == ErrorCode::OK) *chain = {std::move(own)};
    return code;
  }
  Signer signer;
  code = OpenSigner(attestation_key, &signer);
  if (code != ErrorCode::OK) return code;
  Bytes key_description;
  code = Describe(key, &key_description);
  if (code != ErrorCode::OK) return code;
  code = CertifyAttestedKey(key.request, key.pair, {signer.key.get(), signer.name}, key_description,
                            &own.encodedCertificate);
  if (code != ErrorCode::OK) return code;
  *chain = {std::move(own)};
  for (Bytes& certificate : signer.chain) chain->push_back({std::move(certificate)});
  return ErrorCode::OK;
}

ErrorCode Attestation::CheckRequest(const NewKey& key, bool has_attestation_key) const {
  if (Has(key.request, Tag::DEVICE_UNIQUE_ATTESTATION)) {
    return instance_.IsStrongBox() ? ErrorCode::CANNOT_ATTEST_IDS : ErrorCode::INVALID_ARGUMENT;
  }
  const Bytes* const challenge = FindBlob(key.request, Tag::ATTESTATION_CHALLENGE);
  if (challenge == nullptr) {
    if (!has_attestation_key) return ErrorCode::OK;
    return key.imported ? ErrorCode::INVALID_ARGUMENT : ErrorCode::ATTESTATION_CHALLENGE_MISSING;
  }
  if (challenge->size() > kMaxChallengeLength) return ErrorCode::INVALID_INPUT_LENGTH;
  const Bytes* const application = FindBlob(key.request, Tag::ATTESTATION_APPLICATION_ID);
  if (application == nullptr) return ErrorCode::ATTESTATION_APPLICATION_ID_MISSING;
  if (application->size() > kMaxApplicationIdLength) return ErrorCode::INVALID_INPUT_LENGTH;
  return ErrorCode::OK;
}

ErrorCode Attestation::OpenSigner(const std::optional<km::AttestationKey>& attestation_key,
                                  Signer* signer) const {
  return attestation_key ? OpenAttestationKey(*attestation_key, signer) : OpenFactoryKey(signer);
}

ErrorCode Attestation::OpenAttestationKey(const km::AttestationKey& attestation_key,
                                          Signer* signer) const {
  if (attestation_key.issuerSubjectName.empty()) return ErrorCode::INVALID_ARGUMENT;
  Key key;
  const ErrorCode code = open_key_(attestation_key.keyBlob, attestation_key.attestKeyParams, &key);
  if (code != ErrorCode::OK) return code;
  if (!HasPurpose(key.authorizations, km::KeyPurpose::ATTEST_KEY)) {
    return ErrorCode::INCOMPATIBLE_PURPOSE;
  }
  signer->key = ParsePrivateKey(key.material.data(), key.material.size());
  signer->name = attestation_key.issuerSubjectName;
  // A symmetric key may have been given the purpose, but it cannot sign.
  return signer->key ? ErrorCode::OK : ErrorCode::INCOMPATIBLE_PURPOSE;
}

ErrorCode Attestation::OpenFactoryKey(Signer* signer) const {
  if (folder_->Get(instance_.Setting("attestation")) != "factory") {
    return ErrorCode::ATTESTATION_KEYS_NOT_PROVISIONED;
  }
  FactoryChainSettings settings;
  settings.root_subject = folder_->Get("attestation-root");
  settings.expired = folder_->IsYes("attestation-expired");
  std::string error;
  FactoryChain factory = OpenFactoryChain(folder_->path(), instance_.name, settings, &error);
  if (!factory.key) {
    fprintf(stderr, "simulated device: %s\n", error.c_str());
    return ErrorCode::UNKNOWN_ERROR;
  }
  signer->key = std::move(factory.key);
  signer->name = SubjectOf(factory.certificates.front());
  signer->chain = std::move(factory.certificates);
  return ErrorCode::OK;
}

ErrorCode Attestation::Describe(const NewKey& key, Bytes* key_description) const {
  AttestationRecord record;
  record.interface_version =
      static_cast<int32_t>(folder_->GetNumber(instance_.Setting("keymint-version")));
  record.security_level = instance_.level;
  record.challenge = BlobOrEmpty(key.request, Tag::ATTESTATION_CHALLENGE);
  if (Has(key.request, Tag::INCLUDE_UNIQUE_ID)) record.unique_id = UniqueId(key.request);
  record.software_enforced = SoftwareEnforced(key);
  record.hardware_enforced = key.enforced;
  if (!SelectDeviceIds(key.request, ProvisionedIds(*folder_), &record.hardware_enforced)) {
    return ErrorCode::CANNOT_ATTEST_IDS;
  }
  *key_description = EncodeKeyDescription(record);
  return key_description->empty() ? ErrorCode::UNKNOWN_ERROR : ErrorCode::OK;
}

// HMAC-SHA-256, cut to 128 bits, over the 30-day period of the key's creation, the application and
// whether the identifier was reset, under a key of the device: the same application gets the same
// identifier for as long as the period lasts.
Bytes Attestation::UniqueId(const KeyParams& request) const {
  const int64_t period =
      FindNumber(request, Tag::CREATION_DATETIME).value_or(0) / kUniqueIdPeriodMs;
  const Bytes application = BlobOrEmpty(request, Tag::ATTESTATION_APPLICATION_ID);
  Bytes input;
  for (int shift = 56; shift >= 0; shift -= 8) {
    input.push_back(static_cast<uint8_t>(period >> shift));
  }
  input.insert(input.end(), application.begin(), application.end());
  input.push_back(Has(request, Tag::RESET_SINCE_ID_ROTATION) ? 1 : 0);
  const SecretBytes key = folder_->DeriveKey(std::string("unique ids ") + instance_.name, 32);
  Bytes id(EVP_MD_size(EVP_sha256()));
  HMAC(EVP_sha256(), key.data(), key.size(), input.data(), input.size(), id.data(), nullptr);
  id.resize(kUniqueIdLength);
  return id;
}

}  // namespace orx_sim
