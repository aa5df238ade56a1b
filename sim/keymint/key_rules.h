// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/keymint/algorithm.h"

// What holds for the keys of every algorithm.
namespace orx_sim {

// CheckCreation checks the parameters of a new key, as far as they stand on their own.
ErrorCode CheckCreation(const KeyParams& params);

// Enforced returns those of a new key's parameters that this KeyMint enforces. The others are left
// out of the key's characteristics.
KeyParams Enforced(const KeyParams& params);

// CheckUse checks that a key may be used this way and by this caller.
ErrorCode CheckUse(const Key& key, km::KeyPurpose purpose);

}  // namespace orx_sim
