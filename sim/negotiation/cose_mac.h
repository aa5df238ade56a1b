// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "sim/negotiation/cbor_writer.h"

namespace orx_sim {

using HmacKey = std::array<uint8_t, 32>;

// EncodeMac0 appends a COSE_Mac0 (RFC 9052, 6.2) to `writer`: HMAC 256/256 as the only protected
// header, no unprotected ones, `payload`, and the tag over payload and `external_data`.
std::vector<uint8_t> EncodeMac0(CborWriter writer, const std::vector<uint8_t>& payload,
                                const std::vector<uint8_t>& external_data, const HmacKey& key);

// OpenMac0 returns the payload of `message` if it is exactly what EncodeMac0(writer, ...) gives for
// that payload under `key`.
std::optional<std::vector<uint8_t>> OpenMac0(const CborWriter& writer,
                                             const std::vector<uint8_t>& message,
                                             const std::vector<uint8_t>& external_data,
                                             const HmacKey& key);

}  // namespace orx_sim
