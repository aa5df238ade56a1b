// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/x509_parts.h"

#include <openssl/sha.h>
#include <openssl/x509v3.h>
#include <time.h>

namespace orx_sim {
namespace {

constexpr uint64_t kLastMillisecond = 253402300799999;  // 9999-12-31T23:59:59.999Z
constexpr bool kCritical = true;

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

// Not through time_t, which ends in 2038 where it has 32 bits.
bssl::UniquePtr<ASN1_TIME> TimeAt(uint64_t milliseconds) {
  constexpr uint64_t kDaySeconds = uint64_t{24} * 3600;
  const uint64_t seconds = milliseconds / 1000;
  return bssl::UniquePtr<ASN1_TIME>(ASN1_TIME_adj(nullptr, 0,
                                                  static_cast<int>(seconds / kDaySeconds),
                                                  static_cast<long>(seconds % kDaySeconds)));
}

}  // namespace

bssl::UniquePtr<X509_NAME> ParseName(const Bytes& der) {
  const uint8_t* cursor = der.data();
  bssl::UniquePtr<X509_NAME> name(d2i_X509_NAME(nullptr, &cursor, static_cast<long>(der.size())));
  if (!name || cursor != der.data() + der.size()) return nullptr;
  return name;
}

bool SetValidity(X509* certificate, uint64_t not_before_ms, uint64_t not_after_ms) {
  if (not_before_ms > kLastMillisecond || not_after_ms > kLastMillisecond) return false;
  const bssl::UniquePtr<ASN1_TIME> before = TimeAt(not_before_ms);
  const bssl::UniquePtr<ASN1_TIME> after = TimeAt(not_after_ms);
  return before && after && X509_set1_notBefore(certificate, before.get()) &&
         X509_set1_notAfter(certificate, after.get());
}

bool AddKeyUsage(X509* certificate, const std::vector<int>& bits) {
  const bssl::UniquePtr<ASN1_BIT_STRING> usage(ASN1_BIT_STRING_new());
  if (!usage) return false;
  for (const int bit : bits) {
    if (!ASN1_BIT_STRING_set_bit(usage.get(), bit, 1)) return false;
  }
  return X509_add1_ext_i2d(certificate, NID_key_usage, usage.get(), kCritical, 0);
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

bool AddCaExtensions(X509* certificate, EVP_PKEY* key) {
  return AddKeyUsage(certificate, {kKeyCertSignBit}) && AddBasicConstraints(certificate) &&
         AddSubjectKeyIdentifier(certificate, key);
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

}  // namespace orx_sim
