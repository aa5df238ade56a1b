// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/evp.h>

#include "sim/base/bytes.h"

namespace orx_sim {

// ParsePrivateKey parses a PrivateKeyInfo (PKCS#8, RFC 5208) with nothing behind it; null
// otherwise.
bssl::UniquePtr<EVP_PKEY> ParsePrivateKey(const uint8_t* data, size_t length);

// EncodePrivateKey is the reverse.
SecretBytes EncodePrivateKey(const EVP_PKEY* key);

// NewEcPair makes a key pair on the curve that the crypto library names so (NID_...), null if it
// cannot.
bssl::UniquePtr<EVP_PKEY> NewEcPair(int curve_nid);

}  // namespace orx_sim
