// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "src/mtk/ORX_DEVICE.h"
#include "tests/support/device_properties.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_modem.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::ScriptedModem;
using Lines = std::vector<std::string>;

const std::string kAcquire =
    "get_sec_uid_prop: Acquire uid str in hex formatter passed from bootloader.\n";
const std::string kZeros = "0000000000000000";

class DeviceIdentity : public ::testing::Test {
 protected:
  orx_test::DeviceProperties properties_;
  orx_test::LogCapture log_;
};

TEST_F(DeviceIdentity, TheUniqueIdIsGivenAsPaddedStringAndAsBytes) {
  const std::string invalid = "get_sec_uid_prop: property_invalid ro.vendor.boot.uid=";
  const std::string digits("\x01\x23\x45\x67\x89\xab\xcd\xef", 8);
  const struct {
    std::string property, text, raw, message;
  } rows[] = {
      {"", kZeros, "", invalid + kZeros + "\n"},
      {"0123456789abcdefXYZ", "0123456789abcdef", digits, ""},
      {"0123456789ABCDEF", "0123456789ABCDEF", digits, ""},
      {"0123456789abcde", kZeros, "", "get_sec_uid_prop: property_get error with size: 15"},
      {kZeros + "1", kZeros, "", invalid + kZeros + "1\n"},
      // Longer than a value can be, in which case the platform's notice is read.
      {std::string(92, 'a'), "Must use __syste", "", ""},
  };
  for (const auto& row : rows) {
    properties_.Set("ro.vendor.boot.uid", row.property);
    char* uid = nullptr;
    uint32_t length = 0;
    ASSERT_EQ(ORX_DEVICE_GetUniqueID(&uid, &length), 0);
    EXPECT_EQ(uid, row.text + kZeros);
    EXPECT_EQ(length, 32u);
    Lines expected = {kAcquire};
    if (!row.message.empty()) expected.push_back(row.message);
    expected.push_back("ORX_DEVICE_GetUniqueID: Final uid hex str is: " + row.text + kZeros + "\n");
    EXPECT_EQ(log_.Take(), expected);
    free(uid);

    std::string raw(20, '-');
    EXPECT_EQ(ORX_ProcessorRawUID(reinterpret_cast<uint8_t*>(&raw[0]), 19),
              row.text[0] == 'M' ? 1 : 0);
    EXPECT_EQ(raw, row.raw + std::string(19 - row.raw.size(), '\0') + "-") << row.property;
    log_.Clear();
  }
}

TEST_F(DeviceIdentity, AFailedConversionLogsTheNumberOfBytesItMakes) {
  properties_.Set("ro.vendor.boot.uid", "0F2?456789abcdef");
  uint8_t raw[16];
  EXPECT_EQ(ORX_ProcessorRawUID(raw, 16), 1);
  EXPECT_EQ(log_.messages().back(),
            "ORX_ProcessorRawUID: convert uid str to raw bin error "
            "ro.vendor.boot.uid=0F2?456789abcdef but caller size=8: \n");
}

TEST_F(DeviceIdentity, ArgumentsAreChecked) {
  char* uid = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(ORX_DEVICE_GetUniqueID(nullptr, &length), 1);
  EXPECT_EQ(ORX_DEVICE_GetUniqueID(&uid, nullptr), 1);
  uint8_t raw[16] = {7};
  EXPECT_EQ(ORX_ProcessorRawUID(nullptr, 16), 1);
  for (int32_t size : {15, -1}) EXPECT_EQ(ORX_ProcessorRawUID(raw, size), 1);
  EXPECT_EQ(raw[0], 7);
  log_.Clear();
  char buffer[16] = "as it was";
  EXPECT_EQ(ORX_DEVICE_GetImei(buffer, 15), 1);
  EXPECT_EQ(ORX_DEVICE_GetImei2(nullptr, 92), 1);
  EXPECT_EQ(ORX_DEVICE_GetMeid(buffer, 14), 1);
  EXPECT_STREQ(buffer, "as it was");
  EXPECT_EQ(log_.messages().size(), 3u) << "the modem is not asked";
}

TEST_F(DeviceIdentity, OnlyThePropertySayingNoMakesTheHardwareInsecure) {
  EXPECT_EQ(ORX_DEVICE_GetUnlockState(), 0);
  EXPECT_EQ(ORX_DEVICE_Goodix_FPS_Ready(), 1);
  for (const std::string value : {"", "0", "false", "off", "no", "1", "maybe", " no"}) {
    const bool says_no = value == "0" || value == "false" || value == "off" || value == "no";
    properties_.Set("ro.vendor.boot.secure_hardware", value);
    uint32_t mode = 0;
    EXPECT_EQ(ORX_DEVICE_GetMode(&mode), 0);
    EXPECT_EQ(mode, says_no ? 2u : 1u) << value;
    EXPECT_EQ(ORX_DEVICE_IsProduction(), says_no ? 1 : 0);
    EXPECT_EQ(log_.Take(), Lines(2, "ORX_DEVICE_GetMode: get property_value: " +
                                        (value.empty() ? "xxx" : value) + " \n"));
  }
}

// In the smallest buffers, allocated: the sanitizer sees a byte too many.
TEST_F(DeviceIdentity, TheAnswerHasToBeTheDigitsAlone) {
  constexpr auto imei = ORX_DEVICE_GetImei;
  constexpr auto imei2 = ORX_DEVICE_GetImei2;
  constexpr auto meid = ORX_DEVICE_GetMeid;
  const std::string none = "get_imei_from_modem: imei is not programmed to NV!\n";
  const std::string invalid = "get_imei_from_modem: invalid imei from NV!\n";
  const std::string no_meid = "ORX_DEVICE_GetMeid: meid is not programmed to NV!\n";
  const struct {
    int (*get)(char*, uint32_t);
    std::string answer, buffer, message;  // no message for success
  } rows[] = {
      {imei, "490154203237518", "490154203237518", ""},
      {imei, "49015420323751", "49015420323751-", invalid},
      {imei, "4901542032375180", "4901542032375180", none},
      {imei, "49015420323751:", "49015420323751:", invalid},
      {imei, "", "---------------", "ORX_DEVICE_GetImei failed!\n"},
      {imei2, "\r\n+EGMR: \"490154203237526\"\r\n", "490154203237526", ""},
      {imei2, "+EGMR: \"4901542032375269\"", "490154203237526", ""},
      {imei2, "+EGMR: \"490154203237526", "490154203237526", ""},
      {imei2, "+EGMR: 490154203237526", "", none},
      {imei2, "\"490154203237526\"", "", none},
      {meid, "99000012345678", "99000012345678", ""},
      {meid, "990000123456780", "990000123456780", no_meid},
      {meid, std::string(3500, '4'), std::string(15, '4'), no_meid},
      {meid, "A0000012345678", "A0000012345678", "ORX_DEVICE_GetMeid: invalid MEID from NV!\n"},
      {meid, "", "--------------", "ORX_DEVICE_GetMeid failed! \n"},
  };
  for (const auto& row : rows) {
    ScriptedModem modem(ScriptedModem::Answers(row.answer));
    std::vector<char> buffer(row.get == meid ? 15 : 16);
    EXPECT_EQ(row.get(buffer.data(), buffer.size()), row.message.empty() ? 0 : 1) << row.answer;
    EXPECT_EQ(std::string(buffer.data(), strnlen(buffer.data(), buffer.size())), row.buffer);
    const std::string parsed = std::string("Parse ") + (row.get == meid ? "MEID" : "IMEI") +
                               " from modem is: " + row.buffer + "\n";
    EXPECT_EQ(log_.Take().back(), row.message.empty() ? parsed : row.message) << row.answer;
  }
}

TEST_F(DeviceIdentity, BytesLeftInTheBufferMakeAGoodAnswerFailUnlessItIsQuoted) {
  ScriptedModem modem(
      ScriptedModem::ByCommand({{"TCATSEND,0,AT+CGSN", "490154203237518"},
                                {"TCATSEND,0,AT+EGMR=0,10#+EGMR", "+EGMR: \"490154203237526\""}}));
  std::string buffer(20, 'x');
  EXPECT_EQ(ORX_DEVICE_GetImei(&buffer[0], 20), 1);
  EXPECT_EQ(buffer, "490154203237518xxxxx");
  EXPECT_EQ(ORX_DEVICE_GetImei2(&buffer[0], 20), 0);
  EXPECT_EQ(buffer, std::string("490154203237526\0\0\0\0\0", 20));
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
