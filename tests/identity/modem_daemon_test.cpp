// SPDX-License-Identifier: Apache-2.0
// The library against the simulated modem daemon: both were written from the request format, and
// here they meet.
#include "sim/modem.h"

#include <gtest/gtest.h>
#include <orx/device.h>

#include <set>
#include <string>
#include <vector>

#include "support/log_capture.h"

namespace orx_test {
namespace {

constexpr char kImei[] = "490154203237518";
constexpr char kImei2[] = "490154203237526";
constexpr char kMeid[] = "99000012345678";

struct Identifiers {
  std::string fault;
  const char* imei;  // null: refused
  const char* imei2;
  const char* meid;
};

std::string Title(const Identifiers& row) {
  std::string title = row.fault.empty() ? "NoFault" : row.fault;
  for (char& c : title) {
    if (c == ':' || c == '-') c = '_';
  }
  return title;
}

class ModemDaemon : public ::testing::TestWithParam<Identifiers> {
 protected:
  void SetUp() override {
    orx_sim::ModemSettings settings = {kImei, kImei2, kMeid, {}};
    settings.late_by = std::chrono::milliseconds{100};
    std::string error;
    if (!GetParam().fault.empty()) {
      ASSERT_TRUE(orx_sim::SetModemFault(&settings, GetParam().fault, &error)) << error;
    }
    ASSERT_TRUE(daemon_.Start("/dev/socket/rild-oem", settings, &error)) << error;
  }

  static void Expect(int (*get)(char*, uint32_t), const char* expected) {
    char buffer[92] = {};
    const int result = get(buffer, sizeof(buffer));
    EXPECT_STREQ(result == 0 ? buffer : nullptr, expected);
  }

  // A split answer leaves the daemon with a client that has gone, which is no news here.
  orx_sim::ModemDaemon daemon_{[](const std::string&) {}};
  LogCapture log_;
};

TEST_P(ModemDaemon, GivesTheLibraryTheIdentifiersOrTheFault) {
  Expect(ORX_DEVICE_GetImei, GetParam().imei);
  Expect(ORX_DEVICE_GetImei2, GetParam().imei2);
  Expect(ORX_DEVICE_GetMeid, GetParam().meid);
}

// A silent modem is left out: the library waits for it without end.
INSTANTIATE_TEST_SUITE_P(
    All, ModemDaemon,
    ::testing::Values(Identifiers{"", kImei, kImei2, kMeid},
                      Identifiers{"modem:late", kImei, kImei2, kMeid},
                      Identifiers{"modem:close", nullptr, nullptr, nullptr},
                      Identifiers{"modem:split", nullptr, nullptr, nullptr},
                      Identifiers{"modem:echo", nullptr, kImei2, nullptr},
                      Identifiers{"modem:trailing-ok", nullptr, kImei2, nullptr},
                      Identifiers{"modem:quoted", nullptr, kImei2, nullptr},
                      Identifiers{"modem:unquoted", kImei, nullptr, kMeid},
                      Identifiers{"modem:meid-letters", kImei, kImei2, nullptr},
                      Identifiers{"modem:too-long", nullptr, kImei2, nullptr}),
    [](const auto& row) { return Title(row.param); });

}  // namespace
}  // namespace orx_test
