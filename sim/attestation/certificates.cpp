// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/certificates.h"

#include <openssl/bytestring.h>

#include <optional>
#include <utility>
#include <vector>

#include "sim/attestation/x509_parts.h"

namespace orx_sim {
namespace {

using km::KeyPurpose;

constexpr char kDefaultSubject[] = "Android Keystore Key";
constexpr char kAttestationExtensionOid[] = "1.3.6.1.4.1.11129.2.1.17";

// Bits of Key Usage (RFC 5280, 4.2.1.3), numbered as there.
struct UsageBit {
  KeyPurpose purpose;
  int bit;
};
constexpr UsageBit kUsageBits[] = {{KeyPurpose::SIGN, 0},
                                   {KeyPurpose::WRAP_KEY, 2},
                                   {KeyPurpose::DECRYPT, 3},
                                   {KeyPurpose::AGREE_KEY, 4},
                                   {KeyPurpose::ATTEST_KEY, kKeyCertSignBit}};

bssl::UniquePtr<X509_NAME> DefaultSubject() {
  bssl::UniquePtr<X509_NAME> name(X509_NAME_new());
  if (!name ||
      !X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_UTF8,
                                  reinterpret_cast<const uint8_t*>(kDefaultSubject), -1, -1, 0)) {
    return nullptr;
  }
  return name;
}

bool SetSubject(X509* certificate, const KeyParams& params) {
  const Bytes* der = FindBlob(params, Tag::CERTIFICATE_SUBJECT);
  bssl::UniquePtr<X509_NAME> name = der != nullptr ? ParseName(*der) : DefaultSubject();
  return name && X509_set_subject_name(certificate, name.get());
}

// The octets of a BIGNUM parameter are those of a DER INTEGER.
bool SetSerial(X509* certificate, const KeyParams& params) {
  static const Bytes kOne = {1};
  const Bytes* octets = FindBlob(params, Tag::CERTIFICATE_SERIAL);
  if (octets == nullptr) octets = &kOne;
  bssl::ScopedCBB cbb;
  CBB child;
  if (!CBB_init(cbb.get(), octets->size() + 8) ||
      !CBB_add_asn1(cbb.get(), &child, CBS_ASN1_INTEGER) ||
      !CBB_add_bytes(&child, octets->data(), octets->size()) || !CBB_flush(cbb.get())) {
    return false;
  }
  const uint8_t* cursor = CBB_data(cbb.get());
  bssl::UniquePtr<ASN1_INTEGER> serial(
      d2i_ASN1_INTEGER(nullptr, &cursor, static_cast<long>(CBB_len(cbb.get()))));
  return serial && X509_set_serialNumber(certificate, serial.get());
}

bool AddUsageOf(X509* certificate, const KeyParams& params) {
  std::vector<int> bits;
  for (const UsageBit& usage : kUsageBits) {
    if (HasPurpose(params, usage.purpose)) bits.push_back(usage.bit);
  }
  // RFC 5280 wants at least one bit where the extension appears.
  return bits.empty() || AddKeyUsage(certificate, bits);
}

bool AddAttestationExtension(X509* certificate, const Bytes& key_description) {
  bssl::UniquePtr<ASN1_OBJECT> oid(OBJ_txt2obj(kAttestationExtensionOid, 1));
  bssl::UniquePtr<ASN1_OCTET_STRING> value(ASN1_OCTET_STRING_new());
  if (!oid || !value ||
      !ASN1_OCTET_STRING_set(value.get(), key_description.data(),
                             static_cast<int>(key_description.size()))) {
    return false;
  }
  bssl::UniquePtr<X509_EXTENSION> extension(
      X509_EXTENSION_create_by_OBJ(nullptr, oid.get(), 0, value.get()));
  return extension && X509_add_ext(certificate, extension.get(), -1);
}

// Everything that does not depend on who signs.
ErrorCode StartCertificate(const KeyParams& params, EVP_PKEY* key, X509* certificate) {
  const std::optional<int64_t> not_before = FindNumber(params, Tag::CERTIFICATE_NOT_BEFORE);
  if (!not_before) return ErrorCode::MISSING_NOT_BEFORE;
  const std::optional<int64_t> not_after = FindNumber(params, Tag::CERTIFICATE_NOT_AFTER);
  if (!not_after) return ErrorCode::MISSING_NOT_AFTER;
  if (!SetValidity(certificate, static_cast<uint64_t>(*not_before),
                   static_cast<uint64_t>(*not_after)) ||
      !SetSubject(certificate, params) || !SetSerial(certificate, params)) {
    return ErrorCode::INVALID_ARGUMENT;
  }
  if (!X509_set_version(certificate, X509_VERSION_3) || !X509_set_pubkey(certificate, key) ||
      !AddUsageOf(certificate, params) || !AddSubjectKeyIdentifier(certificate, key)) {
    return ErrorCode::UNKNOWN_ERROR;
  }
  // RFC 5280 lets a key sign certificates only as an authority's.
  if (HasPurpose(params, KeyPurpose::ATTEST_KEY) && !AddBasicConstraints(certificate)) {
    return ErrorCode::UNKNOWN_ERROR;
  }
  return ErrorCode::OK;
}

ErrorCode Encode(X509* certificate, Bytes* der) {
  Bytes encoded = EncodeCertificate(certificate);
  if (encoded.empty()) return ErrorCode::UNKNOWN_ERROR;
  *der = std::move(encoded);
  return ErrorCode::OK;
}

// A key that may not sign cannot sign its own certificate either; the signature is left empty,
// under the algorithm that the key's type would use.
bool SetEmptySignature(X509* certificate, EVP_PKEY* key) {
  const bool rsa = EVP_PKEY_id(key) == EVP_PKEY_RSA;
  bssl::UniquePtr<X509_ALGOR> algorithm(X509_ALGOR_new());
  return algorithm &&
         X509_ALGOR_set0(algorithm.get(),
                         OBJ_nid2obj(rsa ? NID_sha256WithRSAEncryption : NID_ecdsa_with_SHA256),
                         rsa ? V_ASN1_NULL : V_ASN1_UNDEF, nullptr) &&
         X509_set1_signature_algo(certificate, algorithm.get()) &&
         X509_set1_signature_value(certificate, nullptr, 0);
}

}  // namespace

ErrorCode CertifyOwnKey(const KeyParams& params, EVP_PKEY* key, Bytes* der) {
  bssl::UniquePtr<X509> certificate(X509_new());
  if (!certificate) return ErrorCode::MEMORY_ALLOCATION_FAILED;
  const ErrorCode started = StartCertificate(params, key, certificate.get());
  if (started != ErrorCode::OK) return started;
  X509_NAME* subject = X509_get_subject_name(certificate.get());
  if (!X509_set_issuer_name(certificate.get(), subject)) return ErrorCode::UNKNOWN_ERROR;
  const bool may_sign =
      HasPurpose(params, KeyPurpose::SIGN) || HasPurpose(params, KeyPurpose::ATTEST_KEY);
  const bool done = may_sign ? X509_sign(certificate.get(), key, EVP_sha256()) > 0
                             : SetEmptySignature(certificate.get(), key);
  return done ? Encode(certificate.get(), der) : ErrorCode::UNKNOWN_ERROR;
}

ErrorCode CertifyAttestedKey(const KeyParams& params, EVP_PKEY* key,
                             const CertificateSigner& signer, const Bytes& key_description,
                             Bytes* der) {
  bssl::UniquePtr<X509> certificate(X509_new());
  if (!certificate) return ErrorCode::MEMORY_ALLOCATION_FAILED;
  const ErrorCode started = StartCertificate(params, key, certificate.get());
  if (started != ErrorCode::OK) return started;
  bssl::UniquePtr<X509_NAME> issuer = ParseName(signer.name);
  if (!issuer) return ErrorCode::INVALID_ISSUER_SUBJECT;
  // Signer and attested key usually bear the same name, so a verifier that builds paths needs both
  // key identifiers to see that the certificate is not self-signed.
  if (!X509_set_issuer_name(certificate.get(), issuer.get()) ||
      !AddAuthorityKeyIdentifier(certificate.get(), signer.key) ||
      !AddAttestationExtension(certificate.get(), key_description) ||
      X509_sign(certificate.get(), signer.key, EVP_sha256()) <= 0) {
    return ErrorCode::UNKNOWN_ERROR;
  }
  return Encode(certificate.get(), der);
}

}  // namespace orx_sim
