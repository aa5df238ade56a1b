// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <keymint/ORX_KEYMINT.h>
#include <orx/rsa.h>

#include <string>

namespace android::hardware::keymint::ORX {

// ORX_RSA_Process runs one KeyMint operation on `input` with the RSA key of `key_id` (TEE instance)
// and returns what the device returned. A key that the device wants upgraded is upgraded, saved and
// used again. On failure the output is empty, or "ERROR" when `signature` is not empty.
//
// WARNING: with a signature the output starts with "ERROR" on success too, as what the device
// returns is appended to it. ORX_RSA_Verify relies on that.
std::string ORX_RSA_Process(int key_id, km::KeyPurpose purpose, const std::string& input,
                            const std::string& signature, const AuthorizationSet& params);

}  // namespace android::hardware::keymint::ORX
