// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/progress.h"

#include <gtest/gtest.h>

#include "tools/orx/cli/modem_progress.h"

namespace orx_tool {
namespace {

TEST(ModemProgressTest, CountsTheAttempts) {
  EXPECT_EQ(ModemProgressText("Establishing connection..."), "modem: attempt 1 of 30");
  EXPECT_EQ(ModemProgressText("Connect to AT command engine with 2 fails"),
            "modem: attempt 3 of 30");
  EXPECT_EQ(ModemProgressText("Connect to AT command engine with 30 fails"), "");
  EXPECT_EQ(ModemProgressText("KM: Begin"), "");
}

}  // namespace
}  // namespace orx_tool
