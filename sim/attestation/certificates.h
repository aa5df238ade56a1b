// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orx_sim {

// Who signs a certificate of another's key: the private key, and the DER-encoded Name that becomes
// the issuer, octet for octet. Both are borrowed.
struct CertificateSigner {
  EVP_PKEY* key;
  const std::vector<uint8_t>& name;
};

// The certificate that a device hands out with a new or imported asymmetric key, X.509 version 3 of
// RFC 5280. `params` are the parameters of the request: CERTIFICATE_SUBJECT, CERTIFICATE_SERIAL,
// CERTIFICATE_NOT_BEFORE, CERTIFICATE_NOT_AFTER and PURPOSE are read. `key` is the key pair; `*der`
// is assigned only on OK. Results: OK; MISSING_NOT_BEFORE, MISSING_NOT_AFTER; INVALID_ARGUMENT for
// a subject, serial number or date that X.509 cannot carry; INVALID_ISSUER_SUBJECT for a signer's
// name that is not a DER Name; UNKNOWN_ERROR.

// CertifyOwnKey makes the certificate of a key that is not attested: self-signed if the key may
// sign (purpose SIGN or ATTEST_KEY), else with an empty signature.
::aidl::android::hardware::security::keymint::ErrorCode CertifyOwnKey(
    const std::vector<::aidl::android::hardware::security::keymint::KeyParameter>& params,
    EVP_PKEY* key, std::vector<uint8_t>* der);

// CertifyAttestedKey makes the certificate of an attested key, with `key_description` (the DER of
// KeyDescription) as its attestation extension.
::aidl::android::hardware::security::keymint::ErrorCode CertifyAttestedKey(
    const std::vector<::aidl::android::hardware::security::keymint::KeyParameter>& params,
    EVP_PKEY* key, const CertificateSigner& signer, const std::vector<uint8_t>& key_description,
    std::vector<uint8_t>* der);

// AddCaExtensions marks a certificate as one that signs others: Basic Constraints, Key Usage
// keyCertSign, Subject Key Identifier.
bool AddCaExtensions(X509* certificate, EVP_PKEY* key);

// AddAuthorityKeyIdentifier names the signing key by the SHA-1 of its public key.
bool AddAuthorityKeyIdentifier(X509* certificate, EVP_PKEY* signing_key);

// SetValidity sets both dates, in milliseconds since 1970-01-01 UTC; false if X.509 has no such
// date.
bool SetValidity(X509* certificate, uint64_t not_before_ms, uint64_t not_after_ms);

// EncodeCertificate returns the DER of `certificate`, empty on failure.
std::vector<uint8_t> EncodeCertificate(X509* certificate);

}  // namespace orx_sim
