// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orx_sim {

// Bytes from hexadecimal digits; blanks between them do not count.
inline std::vector<uint8_t> FromHex(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (c != ' ') digits += c;
  }
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

}  // namespace orx_sim
