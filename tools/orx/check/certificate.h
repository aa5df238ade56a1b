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

// CertificateFile is what a file holds: its certificates, and what in it is none.
struct CertificateFile {
  CertificateChain chain;
  std::vector<std::string> damage;  // one line each
};

// ReadCertificates reads a file of certificates, in PEM or one after the other in DER. Nothing, and
// *problem, when it holds none that can be read.
std::optional<CertificateFile> ReadCertificates(const std::string& path,
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

// RootFinding says what a root is, by its subject and the digest of its key, if it is not the one
// that the self-tests expect; else it is empty.
std::string RootFinding(const std::string& subject, const std::string& key_digest);

// ChainAdvice names what is wrong or odd about an attestation chain, in the order in which the
// self-tests look: of each certificate its signature, the names and, of the first, its subject;
// then the root. They do not look at validity or at the root's key; that comes last.
std::vector<std::string> ChainAdvice(const CertificateChain& chain);

}  // namespace orx_tool
