// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/keymint/key_import.h"

namespace orx_sim {

// GenerateMaterial makes a key as `*params` ask for it: AES (the key's bytes), EC on the NIST
// curves or RSA (PKCS#8) into `*material`. Adds the KEY_SIZE of an EC key if the caller gave only
// the curve. Other algorithms answer UNSUPPORTED_ALGORITHM.
ErrorCode GenerateMaterial(bool strongbox, KeyParams* params, SecretBytes* material);

}  // namespace orx_sim
