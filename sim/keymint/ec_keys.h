// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/keymint/key_import.h"
#include "sim/keymint/operation.h"

// Keys on the NIST curves. Curve 25519 is left out.
namespace orx_sim {

// EncodePrivateKey assigns the PrivateKeyInfo (PKCS#8, RFC 5208) of a key to `*material`.
ErrorCode EncodePrivateKey(EVP_PKEY* key, SecretBytes* material);

// GenerateEc and ImportEc are GenerateMaterial() and ImportMaterial() for EC. What the caller did
// not give of EC_CURVE (imports only) and KEY_SIZE is added to `*params`.
ErrorCode GenerateEc(bool strongbox, KeyParams* params, SecretBytes* material);
ErrorCode ImportEc(km::KeyFormat format, const Bytes& data, bool strongbox, KeyParams* params,
                   SecretBytes* material);

// CheckEcBegin is the EC counterpart of the functions in begin_rules.h: signing alone is offered.
ErrorCode CheckEcBegin(const BeginRequest& request, km::Digest* digest);

// StartEc begins an ECDSA signature (FIPS 186-5, DER), null if the key is unusable. Without a
// digest the message itself is signed, as far as the curve takes it.
std::unique_ptr<Computation> StartEc(const Key& key, km::Digest digest);

}  // namespace orx_sim
