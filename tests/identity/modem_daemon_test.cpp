// SPDX-License-Identifier: Apache-2.0
// The library against the simulated modem daemon: both were written from the request format, and
// here they meet.
#include "sim/modem.h"

#include <gtest/gtest.h>
#include <orx/device.h>

#include <chrono>
#include <string>

#include "support/log_capture.h"

namespace orx_test {
namespace {

constexpr char kImei[] = "490154203237518";
constexpr char kImei2[] = "490154203237526";
constexpr char kMeid[] = "99000012345678";

std::string Read(int (*get)(char*, uint32_t)) {
  char buffer[92] = {};
  return get(buffer, sizeof(buffer)) == 0 ? buffer : "refused";
}

TEST(ModemDaemon, GivesTheLibraryTheIdentifiersOrTheFault) {
  const std::string refused = "refused";
  const struct {
    const char* fault;
    std::string imei, imei2, meid;
  } rows[] = {
      // A silent modem is left out: the library waits for it without end.
      {"", kImei, kImei2, kMeid},
      {"modem:late", kImei, kImei2, kMeid},
      {"modem:close", refused, refused, refused},
      {"modem:split", refused, refused, refused},
      {"modem:echo", refused, kImei2, refused},
      {"modem:trailing-ok", refused, kImei2, refused},
      {"modem:quoted", refused, kImei2, refused},
      {"modem:unquoted", kImei, refused, kMeid},
      {"modem:meid-letters", kImei, kImei2, refused},
      {"modem:too-long", refused, kImei2, refused},
  };
  const LogCapture log;
  for (const auto& row : rows) {
    orx_sim::ModemSettings settings = {kImei, kImei2, kMeid, {}};
    settings.late_by = std::chrono::milliseconds{100};
    std::string error;
    ASSERT_TRUE(!*row.fault || orx_sim::SetModemFault(&settings, row.fault, &error)) << error;
    orx_sim::ModemDaemon daemon;
    ASSERT_TRUE(daemon.Start("/dev/socket/rild-oem", settings, &error)) << error;
    EXPECT_EQ(Read(ORX_DEVICE_GetImei), row.imei) << row.fault;
    EXPECT_EQ(Read(ORX_DEVICE_GetImei2), row.imei2) << row.fault;
    EXPECT_EQ(Read(ORX_DEVICE_GetMeid), row.meid) << row.fault;
  }
}

}  // namespace
}  // namespace orx_test
