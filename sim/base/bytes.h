// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "common/secret.h"

namespace orx_sim {

using Bytes = std::vector<uint8_t>;

using orx_common::SecretBytes;

}  // namespace orx_sim
