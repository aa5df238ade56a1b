// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/KeyFormat.h>
#include <openssl/evp.h>

#include "sim/keys/key_params.h"
#include "sim/keys/key_vault.h"

namespace orx_sim {

using km::ErrorCode;

// CheckCreation checks the parameters of a new key, as far as they stand on their own.
ErrorCode CheckCreation(const KeyParams& params);

// ImportMaterial takes the material of `data` into `*material` and adds to `*params` what it tells
// and the caller did not: KEY_SIZE, for RSA also RSA_PUBLIC_EXPONENT.
ErrorCode ImportMaterial(km::KeyFormat format, const Bytes& data, bool strongbox, KeyParams* params,
                         SecretBytes* material);

// AgreeOn adds to `*params` what a key's material tells, unless the caller gave it; returns false
// if the caller gave something else.
bool AgreeOn(const km::KeyParameter& told, KeyParams* params);

// ParsePrivateKey parses a PrivateKeyInfo (PKCS#8, RFC 5208) with nothing behind it; null
// otherwise.
bssl::UniquePtr<EVP_PKEY> ParsePrivateKey(const uint8_t* data, size_t length);

}  // namespace orx_sim
