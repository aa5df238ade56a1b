// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/certificates.h"

#include <openssl/bytestring.h>
#include <openssl/sha.h>
#include <openssl/x509v3.h>

#include <limits>
#include <optional>

#include "sim/base/bytes.h"
#include "sim/keys/key_parameters.h"

namespace orx_sim {
namespace {

using km::ErrorCode;
using km::KeyParameter;
using km::KeyPurpose;
using km::Tag;
using Params = std::vector<KeyParameter>;

constexpr char kDefaultSubject[] = "Android Keystore Key";
constexpr char kAttestationExtensionOid[] = "1.3.6.1.4.1.11129.2.1.17";
constexpr uint64_t kLastMillisecond = 253402300799999;  // 9999-12-31T23:59:59.999Z
constexpr bool kCritical = true;

// Bits of Key Usage (RFC 5280, 4.2.1.3), numbered as there.
struct UsageBit {
  KeyPurpose purpose;
  int bit;
};
constexpr int kKeyCertSign = 5;
constexpr UsageBit kUsageBits[] = {{KeyPurpose::SIGN, 0},
                                   {KeyPurpose::WRAP_KEY, 2},
                                   {KeyPurpose::DECRYPT, 3},
                                   {KeyPurpose::AGREE_KEY, 4},
                                   {KeyPurpose::ATTEST_KEY, kKeyCertSign}};

bssl::UniquePtr<X509_NAME> ParseName(const Bytes& der) {
  const uint8_t* cursor = der.data();
  bssl::UniquePtr<X509_NAME> name(d2i_X509_NAME(nullptr, &cursor, static_cast<long>(der.size())));
  if (!name || cursor != der.data() + der.size()) return nullptr;
  return name;
}

bssl::UniquePtr<X509_NAME> DefaultSubject() {
  bssl::UniquePtr<X509_NAME> name(X509_NAME_new());
  if (!name ||
      !X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_UTF8,
                                  reinterpret_cast<const uint8_t*>(kDefaultSubject), -1, -1, 0)) {
    return nullptr;
  }
  return name;
}

bool SetSubject(X509* certificate, const Params& params) {
  const Bytes* der = FindBlob(params, Tag::CERTIFICATE_SUBJECT);
  bssl::UniquePtr<X509_NAME> name = der != nullptr ? ParseName(*der) : DefaultSubject();
  return name && X509_set_subject_name(certificate, name.get());
}

// The octets of a BIGNUM parameter are those of a DER INTEGER.
bool SetSerial(X509* certificate, const Params& params) {
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

bool AddKeyUsage(X509* certificate, const Params& params) {
  bssl::UniquePtr<ASN1_BIT_STRING> bits(ASN1_BIT_STRING_new());
  if (!bits) return false;
  bool any = false;
  for (const UsageBit& usage : kUsageBits) {
    if (!HasPurpose(params, usage.purpose)) continue;
    if (!ASN1_BIT_STRING_set_bit(bits.get(), usage.bit, 1)) return false;
    any = true;
  }
  // RFC 5280 wants at least one bit where the extension appears.
  return !any || X509_add1_ext_i2d(certificate, NID_key_usage, bits.get(), kCritical, 0);
}

bssl::UniquePtr<ASN1_OCTET_STRING> KeyIdentifier(EVP_PKEY* key) {
  X509_PUBKEY* raw = nullptr;
  if (!X509_PUBKEY_set(&raw, key)) return nullptr;
  bssl::UniquePtr<X509_PUBKEY> public_key(raw);
  const uint8_t* bits = nullptr;
  int length = 0;
  uint8_t digest[SHA_DIGEST_LENGTH];
  bssl::UniquePtr<ASN1_OCTET_STRING> id(ASN1_OCTET_STRING_new());
  if (!id || !X509_PUBKEY_get0_param(nullptr, &bits, &length, nullptr, raw)) return nullptr;
  SHA1(bits, static_cast<size_t>(length), digest);
  if (!ASN1_OCTET_STRING_set(id.get(), digest, sizeof(digest))) return nullptr;
  return id;
}

bool AddBasicConstraints(X509* certificate) {
  bssl::UniquePtr<BASIC_CONSTRAINTS> constraints(BASIC_CONSTRAINTS_new());
  if (!constraints) return false;
  constraints->ca = 0xff;
  return X509_add1_ext_i2d(certificate, NID_basic_constraints, constraints.get(), kCritical, 0);
}

bool AddSubjectKeyIdentifier(X509* certificate, EVP_PKEY* key) {
  bssl::UniquePtr<ASN1_OCTET_STRING> id = KeyIdentifier(key);
  return id && X509_add1_ext_i2d(certificate, NID_subject_key_identifier, id.get(), !kCritical, 0);
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
ErrorCode StartCertificate(const Params& params, EVP_PKEY* key, X509* certificate) {
  const std::optional<uint64_t> not_before = FindDate(params, Tag::CERTIFICATE_NOT_BEFORE);
  if (!not_before) return ErrorCode::MISSING_NOT_BEFORE;
  const std::optional<uint64_t> not_after = FindDate(params, Tag::CERTIFICATE_NOT_AFTER);
  if (!not_after) return ErrorCode::MISSING_NOT_AFTER;
  if (!SetValidity(certificate, *not_before, *not_after) || !SetSubject(certificate, params) ||
      !SetSerial(certificate, params)) {
    return ErrorCode::INVALID_ARGUMENT;
  }
  if (!X509_set_version(certificate, X509_VERSION_3) || !X509_set_pubkey(certificate, key) ||
      !AddKeyUsage(certificate, params) || !AddSubjectKeyIdentifier(certificate, key)) {
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

bool SetValidity(X509* certificate, uint64_t not_before_ms, uint64_t not_after_ms) {
  if (not_before_ms > kLastMillisecond || not_after_ms > kLastMillisecond) return false;
  bssl::UniquePtr<ASN1_TIME> before(
      ASN1_TIME_set(nullptr, static_cast<time_t>(not_before_ms / 1000)));
  bssl::UniquePtr<ASN1_TIME> after(
      ASN1_TIME_set(nullptr, static_cast<time_t>(not_after_ms / 1000)));
  return before && after && X509_set1_notBefore(certificate, before.get()) &&
         X509_set1_notAfter(certificate, after.get());
}

bool AddCaExtensions(X509* certificate, EVP_PKEY* key) {
  bssl::UniquePtr<ASN1_BIT_STRING> usage(ASN1_BIT_STRING_new());
  return usage && ASN1_BIT_STRING_set_bit(usage.get(), kKeyCertSign, 1) &&
         X509_add1_ext_i2d(certificate, NID_key_usage, usage.get(), kCritical, 0) &&
         AddBasicConstraints(certificate) && AddSubjectKeyIdentifier(certificate, key);
}

bool AddAuthorityKeyIdentifier(X509* certificate, EVP_PKEY* signing_key) {
  bssl::UniquePtr<AUTHORITY_KEYID> authority(AUTHORITY_KEYID_new());
  if (!authority) return false;
  authority->keyid = KeyIdentifier(signing_key).release();
  return authority->keyid != nullptr && X509_add1_ext_i2d(certificate, NID_authority_key_identifier,
                                                          authority.get(), !kCritical, 0);
}

Bytes EncodeCertificate(X509* certificate) {
  const int length = i2d_X509(certificate, nullptr);
  Bytes der(length > 0 ? static_cast<size_t>(length) : 0);
  uint8_t* cursor = der.data();
  if (der.empty() || i2d_X509(certificate, &cursor) != length) return {};
  return der;
}

ErrorCode CertifyOwnKey(const Params& params, EVP_PKEY* key, Bytes* der) {
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

ErrorCode CertifyAttestedKey(const Params& params, EVP_PKEY* key, const CertificateSigner& signer,
                             const Bytes& key_description, Bytes* der) {
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
