// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cppbor.h>

#include <array>
#include <cstdint>
#include <optional>

#include "sim/base/bytes.h"

namespace orx_sim {

using HmacKey = std::array<uint8_t, 32>;

// NewMac0 makes a COSE_Mac0 (RFC 9052, 6.2): HMAC 256/256 as the only protected header, no
// unprotected ones, `payload`, and the tag over payload and `external_data`.
cppbor::Array NewMac0(const Bytes& payload, const Bytes& external_data, const HmacKey& key);

// OpenMac0 returns the payload of such a message if it has these headers and its tag is right for
// payload and `external_data` under `key`.
std::optional<Bytes> OpenMac0(const cppbor::Array& message, const Bytes& external_data,
                              const HmacKey& key);

}  // namespace orx_sim
