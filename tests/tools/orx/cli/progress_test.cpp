// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/progress.h"

#include <gtest/gtest.h>

#include "tools/orx/cli/modem_progress.h"

namespace orx_tool {
namespace {

TEST(ProgressTextTest, FitsItsWidth) {
  const std::optional<uint64_t> total = 2000000;
  EXPECT_EQ(ProgressText(1000000, total, 30), "[#####      ] 1.0 MB of 2.0 MB");
  EXPECT_EQ(ProgressText(2000000, total, 200).size(), 40u + 3 + 16);
  EXPECT_EQ(ProgressText(1000000, total, 20), "1.0 MB of 2.0 MB");
  EXPECT_EQ(ProgressText(1000000, std::nullopt, 200), "1.0 MB");
  EXPECT_EQ(ProgressText(0, 0, 200), "0.0 MB");
}

TEST(ModemProgressTest, CountsTheAttempts) {
  EXPECT_EQ(ModemProgressText("Establishing connection..."), "modem: attempt 1 of 30");
  EXPECT_EQ(ModemProgressText("Connect to AT command engine with 2 fails"),
            "modem: attempt 3 of 30");
  EXPECT_EQ(ModemProgressText("Connect to AT command engine with 30 fails"), "");
  EXPECT_EQ(ModemProgressText("KM: Begin"), "");
}

}  // namespace
}  // namespace orx_tool
