// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/Certificate.h>
#include <openssl/base.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace orx_test {

// Entries of an X.509 name in their order: short type name ("CN") and value.
using Name = std::vector<std::pair<std::string, std::string>>;

inline const Name kKeyName = {{"CN", "Android Keystore Key"}};
inline const Name kRootName = {{"serialNumber", "f92009e853b6b045"}};

// Key returns the process's key of that number, of a type (EVP_PKEY_EC, EVP_PKEY_RSA) and curve or
// size, the same on every call; EcKey is one on P-256, RsaKey has 2048 bits. Borrowed.
EVP_PKEY* Key(int type, int bits_or_curve, int number);
EVP_PKEY* EcKey(int number);
EVP_PKEY* RsaKey(int number);

// CertificateFields is what a certificate says and who signs it.
struct CertificateFields {
  Name subject;
  Name issuer;
  EVP_PKEY* key;                              // the certificate's own
  EVP_PKEY* signer;                           // signs it, with SHA-256
  long seconds_left = 10L * 365 * 24 * 3600;  // of its validity
};

// MakeCertificate returns the DER encoding of an X.509 v3 certificate without extensions.
std::vector<uint8_t> MakeCertificate(const CertificateFields& fields);

// ChainFields returns a chain that has nothing wrong, leaf first: a key of KeyMint's, intermediates
// named by their position, and the expected attestation root. The certificate at `i` is that of
// `keys[i]`.
std::vector<CertificateFields> ChainFields(const std::vector<EVP_PKEY*>& keys);

using Chain = std::vector<::aidl::android::hardware::security::keymint::Certificate>;

Chain MakeChain(const std::vector<CertificateFields>& fields);

}  // namespace orx_test
