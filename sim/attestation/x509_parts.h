// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdint>
#include <vector>

#include "sim/base/bytes.h"

// What certificates (X.509 version 3, RFC 5280) are made of. The functions that set or add
// something return false where X.509 has no such thing or memory ends.
namespace orx_sim {

// The bit keyCertSign of Key Usage (RFC 5280, 4.2.1.3).
inline constexpr int kKeyCertSignBit = 5;

// ParseName returns the Name of which `der` is the whole encoding, or null.
bssl::UniquePtr<X509_NAME> ParseName(const Bytes& der);

// SetValidity sets both dates, in milliseconds since 1970-01-01 UTC.
bool SetValidity(X509* certificate, uint64_t not_before_ms, uint64_t not_after_ms);

// AddKeyUsage adds Key Usage with these bits.
bool AddKeyUsage(X509* certificate, const std::vector<int>& bits);

// AddBasicConstraints marks a certificate as an authority's.
bool AddBasicConstraints(X509* certificate);

// AddSubjectKeyIdentifier names the certificate's own key, AddAuthorityKeyIdentifier the signing
// one, each by the SHA-1 of the public key.
bool AddSubjectKeyIdentifier(X509* certificate, EVP_PKEY* key);
bool AddAuthorityKeyIdentifier(X509* certificate, EVP_PKEY* signing_key);

// AddCaExtensions marks a certificate as one that signs others: Basic Constraints, Key Usage
// keyCertSign, Subject Key Identifier.
bool AddCaExtensions(X509* certificate, EVP_PKEY* key);

// EncodeCertificate returns the DER of `certificate`, empty on failure.
Bytes EncodeCertificate(X509* certificate);

}  // namespace orx_sim
