// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

namespace orx_test {

// Hex returns the bytes as lower-case hexadecimal digits.
inline std::string Hex(const uint8_t* bytes, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text += "0123456789abcdef"[bytes[i] >> 4];
    text += "0123456789abcdef"[bytes[i] & 15];
  }
  return text;
}

inline std::string Hex(const std::vector<uint8_t>& bytes) {
  return Hex(bytes.data(), bytes.size());
}

// FromHex returns the bytes of an even number of hexadecimal digits. Blanks between bytes are
// skipped.
inline std::vector<uint8_t> FromHex(const std::string& text) {
  std::vector<uint8_t> bytes;
  unsigned byte = 0;
  int length = 0;
  for (const char* at = text.c_str(); sscanf(at, "%2x%n", &byte, &length) == 1; at += length) {
    bytes.push_back(static_cast<uint8_t>(byte));
  }
  return bytes;
}

}  // namespace orx_test
