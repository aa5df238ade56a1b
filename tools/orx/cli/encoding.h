// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/secret.h"

namespace orx_tool {

using orx_common::SecretBytes;

// ToHex gives lower-case hexadecimal text.
std::string ToHex(const uint8_t* bytes, size_t size);

// ParseHex reads hexadecimal text; blanks and colons between digits are skipped, and an odd number
// of digits is refused.
std::optional<SecretBytes> ParseHex(const std::string& text);

enum class Format { kRaw, kHex, kBase64 };

// ParseFormat reads "raw", "hex" or "base64" (RFC 4648).
std::optional<Format> ParseFormat(const std::string& text);

// Encode returns the bytes in `format`; text forms end in a line feed. Base64 of pieces may be
// joined when all but the last piece are a multiple of three bytes.
std::string Encode(Format format, const uint8_t* bytes, size_t size);

// WipeString overwrites text that held a secret.
void WipeString(std::string* text);

}  // namespace orx_tool
