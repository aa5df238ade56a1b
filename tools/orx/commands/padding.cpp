// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/padding.h"

#include <string.h>

namespace orx_tool {

size_t AddPadding(uint8_t* bytes, size_t size) {
  const size_t padding = kAesBlockBytes - size % kAesBlockBytes;
  memset(bytes + size, static_cast<int>(padding), padding);
  return size + padding;
}

std::optional<size_t> PaddingLength(const uint8_t* bytes, size_t size) {
  if (size == 0 || size % kAesBlockBytes != 0) return std::nullopt;
  const size_t padding = bytes[size - 1];
  if (padding == 0 || padding > kAesBlockBytes) return std::nullopt;
  for (size_t i = size - padding; i < size; ++i) {
    if (bytes[i] != padding) return std::nullopt;
  }
  return padding;
}

}  // namespace orx_tool
