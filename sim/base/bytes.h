// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "common/secret.h"

namespace orx_sim {

using Bytes = std::vector<uint8_t>;

using orx_common::SecretBytes;

// KeyId names a key through all its upgrades.
using KeyId = std::array<uint8_t, 16>;

}  // namespace orx_sim
