// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/attestation.h"

#include <openssl/x509.h>
#include <stdio.h>

#include <algorithm>

#include "common/certificate.h"
#include "sim/attestation/attestation_extension.h"
#include "sim/attestation/certificates.h"
#include "sim/attestation/device_ids.h"
#include "sim/attestation/factory_chain.h"

namespace orx_sim {
namespace {

constexpr size_t kMaxChallengeLength = 128;
constexpr size_t kMaxApplicationIdLength = 1024;

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

ErrorCode Attestation::Certify(const KeyParams& request, const Key& key,
                               const std::optional<km::AttestationKey>& attestation_key,
                               std::vector<km::Certificate>* chain) const {
  ErrorCode code = CheckRequest(request, key, attestation_key.has_value());
  if (code != ErrorCode::OK) return code;
  km::Certificate own;
  if (!Has(request, Tag::ATTESTATION_CHALLENGE)) {
    code = CertifyOwnKey(request, key.pair.get(), &own.encodedCertificate);
    if (code == ErrorCode::OK) *chain = {std::move(own)};
    return code;
  }
  Signer signer;
  Bytes key_description;
  code = attestation_key ? OpenAttestationKey(*attestation_key, &signer) : OpenFactoryKey(&signer);
  if (code == ErrorCode::OK) code = Describe(request, key, &key_description);
  if (code == ErrorCode::OK) {
    code = CertifyAttestedKey(request, key.pair.get(), {signer.key.get(), signer.name},
                              key_description, &own.encodedCertificate);
  }
  if (code != ErrorCode::OK) return code;
  *chain = {std::move(own)};
  for (Bytes& certificate : signer.chain) chain->push_back({std::move(certificate)});
  return ErrorCode::OK;
}

ErrorCode Attestation::CheckRequest(const KeyParams& request, const Key& key,
                                    bool has_attestation_key) const {
  if (Has(request, Tag::DEVICE_UNIQUE_ATTESTATION)) {
    return instance_.IsStrongBox() ? ErrorCode::CANNOT_ATTEST_IDS : ErrorCode::INVALID_ARGUMENT;
  }
  const Bytes* const challenge = FindBlob(request, Tag::ATTESTATION_CHALLENGE);
  if (challenge == nullptr) {
    if (!has_attestation_key) return ErrorCode::OK;
    return Contains(key.authorizations, Tag::ORIGIN, km::KeyOrigin::IMPORTED)
               ? ErrorCode::INVALID_ARGUMENT
               : ErrorCode::ATTESTATION_CHALLENGE_MISSING;
  }
  if (challenge->size() > kMaxChallengeLength) return ErrorCode::INVALID_INPUT_LENGTH;
  const Bytes* const application = FindBlob(request, Tag::ATTESTATION_APPLICATION_ID);
  if (application == nullptr) return ErrorCode::ATTESTATION_APPLICATION_ID_MISSING;
  if (application->size() > kMaxApplicationIdLength) return ErrorCode::INVALID_INPUT_LENGTH;
  return ErrorCode::OK;
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
  signer->key = std::move(key.pair);
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
  FactoryChain factory = OpenFactoryChain(folder_->path(), instance_, settings, &error);
  if (!factory.key) {
    fprintf(stderr, "simulated device: %s\n", error.c_str());
    return ErrorCode::UNKNOWN_ERROR;
  }
  signer->key = std::move(factory.key);
  signer->name = SubjectOf(factory.certificates.front());
  signer->chain = std::move(factory.certificates);
  return ErrorCode::OK;
}

ErrorCode Attestation::Describe(const KeyParams& request, const Key& key,
                                Bytes* key_description) const {
  AttestationRecord record;
  record.interface_version =
      static_cast<int32_t>(folder_->GetNumber(instance_.Setting("keymint-version")));
  record.security_level = instance_.level;
  record.challenge = BlobOrEmpty(request, Tag::ATTESTATION_CHALLENGE);
  // Which application asked is what the system says, not what the device knows.
  record.software_enforced = {BlobParam(Tag::ATTESTATION_APPLICATION_ID,
                                        BlobOrEmpty(request, Tag::ATTESTATION_APPLICATION_ID))};
  record.hardware_enforced = key.authorizations;
  if (!SelectDeviceIds(request, ProvisionedIds(*folder_->conf()), record.interface_version,
                       &record.hardware_enforced)) {
    return ErrorCode::CANNOT_ATTEST_IDS;
  }
  *key_description = EncodeKeyDescription(record);
  return key_description->empty() ? ErrorCode::UNKNOWN_ERROR : ErrorCode::OK;
}

}  // namespace orx_sim
