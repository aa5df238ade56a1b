// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/base.h>

#include <cstdint>
#include <vector>

namespace orx_test {

// CoseKey returns the encoded COSE_Key (RFC 9053, 7.1.1) of a P-256 public key for ES256.
std::vector<uint8_t> CoseKey(const EVP_PKEY* key);

// MacedKey returns a COSE_Mac0 (RFC 9052, 6.2) as the remotely provisioned component makes it, with
// `payload` and any tag of 32 bytes.
std::vector<uint8_t> MacedKey(const std::vector<uint8_t>& payload);

}  // namespace orx_test
