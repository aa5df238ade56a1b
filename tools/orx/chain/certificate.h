// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>
#include <openssl/x509.h>

#include <optional>
#include <string>
#include <vector>

#include "common/certificate.h"
#include "tools/orx/chain/attest_key.h"
#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// CertificateFile is what a file holds: its certificates, and what in it is none.
struct CertificateFile {
  CertificateChain chain;
  std::vector<std::string> damage;  // one line each
  // The same with the blocks of PEM that are whole but no certificate, as a device sends them.
  CertificateChain as_received;
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

// ChainFault is something that a self-test refuses in a chain.
struct ChainFault {
  std::string code;  // reason code
  std::string text;
  size_t certificate = 0;
  bool strict_only = false;  // a relaxed self-test accepts it
};

// ChainFaults names them in the order in which the self-tests look, which end at the first that
// counts: of each certificate its signature, the names and, of the first, its subject; then the
// root. They do not look at validity or at the root's key.
std::vector<ChainFault> ChainFaults(const CertificateChain& chain);

// FirstChainFault is the one for which a self-test refuses a chain that is to have one of `sizes`
// certificates; nothing when it accepts it.
std::optional<ChainFault> FirstChainFault(const CertificateChain& chain,
                                          const std::vector<size_t>& sizes, bool strict);

// ChainAdvice gives the texts of ChainFaults() and what else is odd about the chain: the root's key
// and, last, validity.
std::vector<std::string> ChainAdvice(const CertificateChain& chain);

}  // namespace orx_tool
