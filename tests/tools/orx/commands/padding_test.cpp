// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/padding.h"

#include <gtest/gtest.h>

#include <vector>

namespace orx_tool {
namespace {

TEST(PaddingTest, AddsAndFindsEveryLength) {
  for (size_t size = 0; size <= 32; ++size) {
    std::vector<uint8_t> bytes(size + kAesBlockBytes, 0xaa);
    const size_t padded = AddPadding(bytes.data(), size);
    EXPECT_EQ(padded % kAesBlockBytes, 0u);
    EXPECT_EQ(PaddingLength(bytes.data(), padded), padded - size);
  }
}

TEST(PaddingTest, RefusesEverythingElse) {
  std::vector<uint8_t> block(16, 16);
  EXPECT_EQ(PaddingLength(block.data(), 16), 16u);
  EXPECT_FALSE(PaddingLength(block.data(), 0));
  EXPECT_FALSE(PaddingLength(block.data(), 15));
  for (const uint8_t last : {0, 17, 255}) {
    block[15] = last;
    EXPECT_FALSE(PaddingLength(block.data(), 16)) << int{last};
  }
  block[15] = 16;
  block[0] = 15;
  EXPECT_FALSE(PaddingLength(block.data(), 16));
}

}  // namespace
}  // namespace orx_tool
