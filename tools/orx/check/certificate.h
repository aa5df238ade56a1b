// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>
#include <openssl/x509.h>

#include <optional>
#include <string>
#include <vector>

#include "common/certificate.h"
#include "tools/orx/check/attest_key.h"
#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// ReadCertificates reads a file of certificates, PEM or one in DER.
std::optional<CertificateChain> ReadCertificates(const std::string& path,
                                                 std::optional<Problem>* problem);

// WritePem gives the chain in PEM, the leaf first.
std::string WritePem(const CertificateChain& chain);

// NameText is the one-line form in which the library compares names ("/CN=Android Keystore Key").
std::string NameText(const X509_NAME* name);

// KeyText describes a public key: "EC P-256", "RSA 4096".
std::string KeyText(const EVP_PKEY* key);

// KeyDigest is the SHA-256 of the SubjectPublicKeyInfo, in hexadecimal.
std::string KeyDigest(const X509* certificate);

// DescribeCertificate gives what an engineer looks at: subject, issuer, serial number, validity,
// key, and the attestation record where there is one.
Json::Value DescribeCertificate(const X509* certificate);

// CertificateLines is the same as text, one line each.
std::vector<std::string> CertificateLines(const X509* certificate);

// ChainAdvice names what is odd about an attestation chain without being wrong by the self-tests'
// rules, or explains why they refuse it: certificates out of their time, a root with the expected
// subject but another key than the published one, the newer attestation root.
std::vector<std::string> ChainAdvice(const CertificateChain& chain);

}  // namespace orx_tool
