// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "mtk/ORX_DEVICE.h"
#include "support/device_properties.h"
#include "support/log_capture.h"
#include "support/scripted_modem.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::ScriptedModem;
using ::testing::Each;
using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;

const std::string kAcquire =
    "get_sec_uid_prop: Acquire uid str in hex formatter passed from bootloader.\n";
const std::string kZeros = "0000000000000000";

class DeviceIdentity : public ::testing::Test {
 protected:
  Lines Messages() {
    Lines messages = log_.messages();
    log_.Clear();
    return messages;
  }

  orx_test::DeviceProperties properties_;
  orx_test::LogCapture log_;
};

TEST_F(DeviceIdentity, TheUniqueIdIsGivenAsPaddedStringAndAsBytes) {
  const Bytes digits = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
  const Bytes none(8, 0);
  const std::string invalid = "get_sec_uid_prop: property_invalid ro.vendor.boot.uid=";
  const struct {
    std::string property, text;
    int raw_result;
    Bytes raw;
    std::string message;
  } rows[] = {
      {"", kZeros, 0, none, invalid + kZeros + "\n"},
      {"0123456789abcdefXYZ", "0123456789abcdef", 0, digits, ""},
      {"0123456789ABCDEF", "0123456789ABCDEF", 0, digits, ""},
      {"01234g6789abcdef", "01234g6789abcdef", 1, {0x01, 0x23, 0, 0, 0, 0, 0, 0}, ""},
      {"0123456789abcde", kZeros, 0, none, "get_sec_uid_prop: property_get error with size: 15"},
      {kZeros + "1", kZeros, 0, none, invalid + kZeros + "1\n"},
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
    EXPECT_THAT(log_.paths(), Each("src/mtk/ORX_DEVICE.cpp"));
    EXPECT_EQ(Messages(), expected);
    free(uid);

    Bytes raw(20, 0xee);
    EXPECT_EQ(ORX_ProcessorRawUID(raw.data(), 19), row.raw_result) << row.property;
    Bytes cleared = row.raw;
    cleared.resize(19);
    cleared.push_back(0xee);
    EXPECT_EQ(raw, cleared) << row.property;
    log_.Clear();
  }
}

TEST_F(DeviceIdentity, AFailedConversionLogsTheDigitsAndTheNumberOfBytesItMakes) {
  properties_.Set("ro.vendor.boot.uid", "0F2?456789abcdef");
  uint8_t raw[16];
  EXPECT_EQ(ORX_ProcessorRawUID(raw, 16), 1);
  EXPECT_THAT(Messages(), ElementsAre(kAcquire, "first char=0, second char=15 \n",
                                      "first char=2, second char=-1 \n",
                                      "ORX_ProcessorRawUID: convert uid str to raw bin error "
                                      "ro.vendor.boot.uid=0F2?456789abcdef but caller size=8: \n"));
}

TEST_F(DeviceIdentity, UniqueIdArgumentsAreChecked) {
  char* uid = nullptr;
  uint32_t length = 7;
  EXPECT_EQ(ORX_DEVICE_GetUniqueID(nullptr, &length), 1);
  EXPECT_EQ(ORX_DEVICE_GetUniqueID(&uid, nullptr), 1);
  EXPECT_EQ(uid, nullptr);
  EXPECT_EQ(length, 7u);
  EXPECT_EQ(Messages(), Lines(2, "ORX_DEVICE_GetUniqueID: Invalid input buffer\n"));

  // The raw form reads the property before it looks at its arguments.
  properties_.Set("ro.vendor.boot.uid", "0123456789abcdef");
  Bytes raw(20, 0xee);
  for (int32_t size : {15, -1}) {
    EXPECT_EQ(ORX_ProcessorRawUID(raw.data(), size), 1);
    EXPECT_THAT(Messages(), ElementsAre(kAcquire, "ORX_ProcessorRawUID: Invalid input buffer.\n"));
  }
  EXPECT_EQ(ORX_ProcessorRawUID(nullptr, 16), 1);
  EXPECT_THAT(raw, Each(0xee));
}

TEST_F(DeviceIdentity, OnlyAValueThatSaysNoMakesTheHardwareInsecure) {
  const struct {
    const char* value;
    uint32_t mode;
    const char* logged;
  } rows[] = {{"", 1, "xxx"},  {"0", 2, "0"}, {"false", 2, "false"}, {"off", 2, "off"},
              {"no", 2, "no"}, {"1", 1, "1"}, {"maybe", 1, "maybe"}, {" no", 1, " no"}};
  for (const auto& row : rows) {
    properties_.Set("ro.vendor.boot.secure_hardware", row.value);
    uint32_t mode = 0;
    EXPECT_EQ(ORX_DEVICE_GetMode(&mode), 0);
    EXPECT_EQ(mode, row.mode) << row.value;
    EXPECT_EQ(ORX_DEVICE_IsProduction(), row.mode == 1 ? 0 : 1);
    EXPECT_EQ(Messages(), Lines(2, std::string("ORX_DEVICE_GetMode: get property_value: ") +
                                       row.logged + " \n"));
  }
}

TEST_F(DeviceIdentity, UnlockStateAndFingerprintSensorAreFixedAnswers) {
  EXPECT_EQ(ORX_DEVICE_GetUnlockState(), 0);
  EXPECT_EQ(ORX_DEVICE_Goodix_FPS_Ready(), 1);
}

TEST_F(DeviceIdentity, TheAnswerHasToBeTheDigitsAlone) {
  constexpr auto imei = ORX_DEVICE_GetImei;
  constexpr auto imei2 = ORX_DEVICE_GetImei2;
  constexpr auto meid = ORX_DEVICE_GetMeid;
  const std::string none = "get_imei_from_modem: imei is not programmed to NV!\n";
  const std::string invalid = "get_imei_from_modem: invalid imei from NV!\n";
  const struct {
    int (*get)(char*, uint32_t);
    const char* answer;
    const char* buffer;   // afterwards, up to its terminator
    std::string message;  // the last one; empty for success
  } rows[] = {
      {imei, "490154203237518", "490154203237518", ""},
      {imei, "49015420323751", "49015420323751-", invalid},
      {imei, "4901542032375180", "4901542032375180", none},
      {imei, "490154203237518\r\nOK\r\n", "490154203237518\r\nOK\r\n", none},
      {imei, "ERROR", "ERROR----------", invalid},
      {imei, "49015420323751:", "49015420323751:", invalid},
      {imei, "/90154203237518", "/90154203237518", invalid},
      {imei, "", "---------------", "ORX_DEVICE_GetImei failed!\n"},
      {imei2, "+EGMR: \"490154203237526\"", "490154203237526", ""},
      {imei2, "+EGMR: \"490154203237526", "490154203237526", ""},
      {imei2, "+EGMR: \"4901542032375269\"", "490154203237526", ""},
      {imei2, "+EGMR: \"49015420323752\"", "49015420323752", none},
      {imei2, "+EGMR: \"49015420323752A\"", "49015420323752A", invalid},
      {imei2, "+EGMR: 490154203237526", "", none},
      {imei2, "+EGMR: \"\"", "", none},
      {imei2, "\"490154203237526\"", "", none},
      {imei2, "", "---------------", "ORX_DEVICE_GetImei failed!\n"},
      {meid, "99000012345678", "99000012345678", ""},
      {meid, "9900001234567", "9900001234567-", "ORX_DEVICE_GetMeid: invalid MEID from NV!\n"},
      {meid, "990000123456780", "990000123456780",
       "ORX_DEVICE_GetMeid: meid is not programmed to NV!\n"},
      {meid, "A0000012345678", "A0000012345678", "ORX_DEVICE_GetMeid: invalid MEID from NV!\n"},
      {meid, "", "--------------", "ORX_DEVICE_GetMeid failed! \n"},
  };
  for (const auto& row : rows) {
    ScriptedModem modem(ScriptedModem::Answers(row.answer));
    char buffer[92] = {};
    EXPECT_EQ(row.get(buffer, sizeof(buffer)), row.message.empty() ? 0 : 1) << row.answer;
    EXPECT_STREQ(buffer, row.buffer);
    const std::string parsed = std::string("Parse ") + (row.get == meid ? "MEID" : "IMEI") +
                               " from modem is: " + buffer + "\n";
    EXPECT_EQ(Messages().back(), row.message.empty() ? parsed : row.message) << row.answer;
  }
}

TEST_F(DeviceIdentity, ModemArgumentsAreCheckedBeforeTheModemIsAsked) {
  char buffer[16] = "as it was";
  EXPECT_EQ(ORX_DEVICE_GetImei(buffer, 15), 1);
  EXPECT_EQ(ORX_DEVICE_GetImei2(nullptr, 92), 1);
  EXPECT_EQ(ORX_DEVICE_GetMeid(buffer, 14), 1);
  EXPECT_EQ(ORX_DEVICE_GetMeid(nullptr, 92), 1);
  EXPECT_EQ(get_imei_from_modem(nullptr, buffer, 15, 0), 1);
  EXPECT_EQ(get_imei_from_modem(nullptr, buffer, 16, 0), 1);
  EXPECT_STREQ(buffer, "as it was");
  EXPECT_THAT(Messages(),
              ElementsAre("Invalid IMEI buffer, input length = 15\n",
                          "Invalid IMEI buffer, input length = 92\n",
                          "Invalid MEID buffer, input length = 14\n",
                          "Invalid MEID buffer, input length = 92\n",
                          "Invalid IMEI buffer, input length = 15\n", "Invalid AT command"));
}

TEST_F(DeviceIdentity, NoAnswerIsTooLongForTheSmallestBuffers) {
  // Allocated, so that the sanitizer sees a byte too many.
  std::vector<char> imei(16);
  std::vector<char> meid(15);
  {
    ScriptedModem modem(ScriptedModem::Answers(std::string(3500, '4')));
    EXPECT_EQ(ORX_DEVICE_GetImei(imei.data(), 16), 1);
    EXPECT_EQ(ORX_DEVICE_GetMeid(meid.data(), 15), 1);
    EXPECT_THAT(imei, Each('4'));
    EXPECT_THAT(meid, Each('4'));
  }
  ScriptedModem modem(ScriptedModem::Answers("\r\n+EGMR: \"490154203237526\"\r\n"));
  EXPECT_EQ(ORX_DEVICE_GetImei2(imei.data(), 16), 0);
  EXPECT_STREQ(imei.data(), "490154203237526");
}

TEST_F(DeviceIdentity, BytesLeftInTheBufferMakeAGoodAnswerFailUnlessItIsQuoted) {
  const struct {
    int (*get)(char*, uint32_t);
    const char* answer;
    int result;
    std::string buffer;
  } rows[] = {
      {ORX_DEVICE_GetImei, "490154203237518", 1, "490154203237518xxxxx"},
      {ORX_DEVICE_GetMeid, "99000012345678", 1, "99000012345678xxxxxx"},
      {ORX_DEVICE_GetImei2, "+EGMR: \"490154203237526\"", 0,
       std::string("490154203237526\0\0\0\0\0", 20)},
  };
  for (const auto& row : rows) {
    ScriptedModem modem(ScriptedModem::Answers(row.answer));
    std::string buffer(20, 'x');
    EXPECT_EQ(row.get(buffer.data(), 20), row.result);
    EXPECT_EQ(buffer, row.buffer);
  }
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
