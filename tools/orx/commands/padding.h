// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace orx_tool {

constexpr size_t kAesBlockBytes = 16;

// AddPadding appends PKCS#7 padding (RFC 5652, section 6.3) for 16-byte blocks behind the `size`
// bytes at `bytes`, which must have room for 16 more. Returns the padded size.
size_t AddPadding(uint8_t* bytes, size_t size);

// PaddingLength returns how many of the `size` bytes are padding, 1 to 16, or nothing when they do
// not end in whole PKCS#7 padding.
std::optional<size_t> PaddingLength(const uint8_t* bytes, size_t size);

}  // namespace orx_tool
