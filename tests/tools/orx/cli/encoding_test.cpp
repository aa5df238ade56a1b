// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/encoding.h"

#include <gtest/gtest.h>

namespace orx_tool {
namespace {

TEST(EncodingTest, ReadsHexWithSeparators) {
  const auto bytes = ParseHex("00:fF 1\n0");
  ASSERT_TRUE(bytes);
  EXPECT_EQ(ToHex(bytes->data(), bytes->size()), "00ff10");
  for (const char* text : {"0", "0g", "000", "00 1", "-1"}) EXPECT_FALSE(ParseHex(text)) << text;
}

TEST(EncodingTest, WritesBase64OfEveryRemainder) {
  const uint8_t bytes[] = {'f', 'o', 'o', 'b'};
  EXPECT_EQ(Encode(Format::kBase64, bytes, 0), "\n");
  EXPECT_EQ(Encode(Format::kBase64, bytes, 1), "Zg==\n");
  EXPECT_EQ(Encode(Format::kBase64, bytes, 3), "Zm9v\n");
  EXPECT_EQ(Encode(Format::kBase64, bytes, 4), "Zm9vYg==\n");
}

}  // namespace
}  // namespace orx_tool
