// SPDX-License-Identifier: Apache-2.0
#include <android_host/host.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <map>
#include <string>
#include <vector>

#include "mtk/ORX_DEVICE.h"
#include "support/log_capture.h"
#include "support/scripted_modem.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::ScriptedModem;
using ::testing::Each;
using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

constexpr char kAcquire[] =
    "get_sec_uid_prop: Acquire uid str in hex formatter passed from bootloader.\n";
constexpr char kZeros[] = "0000000000000000";

class DeviceIdentity : public ::testing::Test {
 protected:
  DeviceIdentity() {
    android_host::DisableDeviceModule();
    android_host::ClearProperties();
  }

  static void Set(const std::string& name, const std::string& value) {
    std::string error;
    ASSERT_TRUE(android_host::SetProperty(name, value, &error)) << error;
  }

  orx_test::LogCapture log_;
};

struct UniqueId {
  const char* title;
  const char* property;
  std::string digits;  // the part of the string that is not padding
  int raw_result;
  Bytes raw;            // the first 8 bytes
  std::string message;  // why the null unique ID is given
};

class DeviceUniqueId : public DeviceIdentity, public ::testing::WithParamInterface<UniqueId> {};

TEST_P(DeviceUniqueId, IsGivenAsPaddedStringAndAsBytes) {
  const UniqueId& row = GetParam();
  if (row.property != nullptr) Set("ro.vendor.boot.uid", row.property);
  std::vector<std::string> lines = {kAcquire};
  if (!row.message.empty()) lines.push_back(row.message);

  char* uid = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(ORX_DEVICE_GetUniqueID(&uid, &length), 0);
  EXPECT_EQ(uid, row.digits + kZeros);
  EXPECT_EQ(length, 32u);
  std::vector<std::string> string_lines = lines;
  string_lines.push_back("ORX_DEVICE_GetUniqueID: Final uid hex str is: " + row.digits + kZeros +
                         "\n");
  EXPECT_EQ(log_.messages(), string_lines);
  EXPECT_THAT(log_.paths(), Each("src/mtk/ORX_DEVICE.cpp"));
  free(uid);

  log_.Clear();
  Bytes raw(17, 0xee);
  EXPECT_EQ(ORX_ProcessorRawUID(raw.data(), 16), row.raw_result);
  Bytes expected = row.raw;
  expected.resize(16);
  expected.push_back(0xee);
  EXPECT_EQ(raw, expected);
  std::vector<std::string> logged = log_.messages();
  logged.resize(lines.size());
  EXPECT_EQ(logged, lines);
}

const Bytes kRaw = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
const Bytes kNoRaw(8, 0);
constexpr char kMissingMessage[] =
    "get_sec_uid_prop: property_invalid ro.vendor.boot.uid=0000000000000000\n";

INSTANTIATE_TEST_SUITE_P(
    All, DeviceUniqueId,
    ::testing::Values(
        UniqueId{"LowerCaseAndLonger", "0123456789abcdefXYZ", "0123456789abcdef", 0, kRaw, ""},
        UniqueId{"UpperCase", "0123456789ABCDEF", "0123456789ABCDEF", 0, kRaw, ""},
        UniqueId{
            "NoHexDigitAtPosition5", "01234g6789abcdef", "01234g6789abcdef", 1, {0x01, 0x23}, ""},
        UniqueId{"Short", "0123456789abcde", kZeros, 0, kNoRaw,
                 "get_sec_uid_prop: property_get error with size: 15"},
        UniqueId{"Missing", nullptr, kZeros, 0, kNoRaw, kMissingMessage},
        UniqueId{"ZerosAndMore", "00000000000000001", kZeros, 0, kNoRaw,
                 "get_sec_uid_prop: property_invalid ro.vendor.boot.uid=00000000000000001\n"}),
    [](const auto& row) { return row.param.title; });

TEST_F(DeviceIdentity, AFailedConversionLogsTheDigitsAndTheNumberOfBytesItMakes) {
  Set("ro.vendor.boot.uid", "0F2345678?abcdef");
  uint8_t raw[32];
  EXPECT_EQ(ORX_ProcessorRawUID(raw, sizeof(raw)), 1);
  EXPECT_THAT(log_.messages(),
              ElementsAre(kAcquire, "first char=0, second char=15 \n",
                          "first char=2, second char=3 \n", "first char=4, second char=5 \n",
                          "first char=6, second char=7 \n", "first char=8, second char=-1 \n",
                          "ORX_ProcessorRawUID: convert uid str to raw bin error "
                          "ro.vendor.boot.uid=0F2345678?abcdef but caller size=8: \n"));
}

TEST_F(DeviceIdentity, UniqueIdArgumentsAreChecked) {
  char* uid = nullptr;
  uint32_t length = 7;
  EXPECT_EQ(ORX_DEVICE_GetUniqueID(nullptr, &length), 1);
  EXPECT_EQ(ORX_DEVICE_GetUniqueID(&uid, nullptr), 1);
  EXPECT_EQ(uid, nullptr);
  EXPECT_EQ(length, 7u);
  EXPECT_THAT(log_.messages(), ElementsAre("ORX_DEVICE_GetUniqueID: Invalid input buffer\n",
                                           "ORX_DEVICE_GetUniqueID: Invalid input buffer\n"));

  // The raw form reads the property before it looks at its arguments.
  Set("ro.vendor.boot.uid", "0123456789abcdef");
  Bytes raw(20, 0xee);
  for (int32_t size : {15, 0, -1}) {
    log_.Clear();
    EXPECT_EQ(ORX_ProcessorRawUID(raw.data(), size), 1);
    EXPECT_THAT(log_.messages(),
                ElementsAre(kAcquire, "ORX_ProcessorRawUID: Invalid input buffer.\n"));
  }
  EXPECT_EQ(ORX_ProcessorRawUID(nullptr, 16), 1);
  EXPECT_THAT(raw, Each(0xee));
  EXPECT_EQ(ORX_ProcessorRawUID(raw.data(), 19), 0);
  EXPECT_EQ(raw, (Bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0, 0,
                        0,    0,    0,    0,    0,    0,    0,    0,    0, 0xee}));
}

TEST_F(DeviceIdentity, OnlyAValueThatSaysNoMakesTheHardwareInsecure) {
  const std::map<std::string, uint32_t> modes = {{"0", 2},   {"false", 2}, {"off", 2}, {"no", 2},
                                                 {"n", 2},   {"1", 1},     {"yes", 1}, {"maybe", 1},
                                                 {" no", 1}, {"", 1}};
  for (const auto& [value, expected] : modes) {
    Set("ro.vendor.boot.secure_hardware", value);
    uint32_t mode = 0;
    EXPECT_EQ(ORX_DEVICE_GetMode(&mode), 0);
    EXPECT_EQ(mode, expected) << value;
    EXPECT_EQ(ORX_DEVICE_IsProduction(), expected == 1 ? 0 : 1);
  }
  Set("ro.vendor.boot.secure_hardware", "0");
  log_.Clear();
  ORX_DEVICE_IsProduction();
  EXPECT_THAT(log_.messages(), ElementsAre("ORX_DEVICE_GetMode: get property_value: 0 \n"));
  android_host::ClearProperties();
  log_.Clear();
  EXPECT_EQ(ORX_DEVICE_IsProduction(), 0);
  EXPECT_THAT(log_.messages(), ElementsAre("ORX_DEVICE_GetMode: get property_value: xxx \n"));
}

TEST_F(DeviceIdentity, UnlockStateAndFingerprintSensorAreFixedAnswers) {
  EXPECT_EQ(ORX_DEVICE_GetUnlockState(), 0);
  EXPECT_EQ(ORX_DEVICE_Goodix_FPS_Ready(), 1);
}

using Getter = int (*)(char*, uint32_t);

struct Answer {
  const char* title;
  Getter get;
  const char* command;
  std::string text;
  int result;
  std::string buffer;   // afterwards, up to its terminator
  std::string message;  // the last line
};

constexpr char kCgsn[] = "TCATSEND,0,AT+CGSN";
constexpr char kEgmr[] = "TCATSEND,0,AT+EGMR=0,10#+EGMR";
constexpr char kMeid[] = "TCATSEND,0,AT^MEID";
constexpr char kNoImei[] = "get_imei_from_modem: imei is not programmed to NV!\n";
constexpr char kBadImei[] = "get_imei_from_modem: invalid imei from NV!\n";
constexpr char kNoMeid[] = "ORX_DEVICE_GetMeid: meid is not programmed to NV!\n";
constexpr char kBadMeid[] = "ORX_DEVICE_GetMeid: invalid MEID from NV!\n";

class ModemAnswer : public DeviceIdentity, public ::testing::WithParamInterface<Answer> {};

TEST_P(ModemAnswer, IsCheckedForTheDigitsAlone) {
  const Answer& row = GetParam();
  ScriptedModem modem(ScriptedModem::ByCommand({{row.command, row.text}}));
  char buffer[92] = {};
  EXPECT_EQ(row.get(buffer, sizeof(buffer)), row.result);
  EXPECT_EQ(buffer, row.buffer);
  EXPECT_EQ(log_.messages().back(), row.message);
}

INSTANTIATE_TEST_SUITE_P(
    Imei, ModemAnswer,
    ::testing::Values(Answer{"FifteenDigits", ORX_DEVICE_GetImei, kCgsn, "490154203237518", 0,
                             "490154203237518", "Parse IMEI from modem is: 490154203237518\n"},
                      Answer{"FourteenDigits", ORX_DEVICE_GetImei, kCgsn, "49015420323751", 1,
                             "49015420323751-", kBadImei},
                      Answer{"SixteenDigits", ORX_DEVICE_GetImei, kCgsn, "4901542032375180", 1,
                             "4901542032375180", kNoImei},
                      Answer{"Error", ORX_DEVICE_GetImei, kCgsn, "ERROR", 1, "ERROR----------",
                             kBadImei},
                      Answer{"Letter", ORX_DEVICE_GetImei, kCgsn, "49015420323751A", 1,
                             "49015420323751A", kBadImei},
                      Answer{"CharacterBehindNine", ORX_DEVICE_GetImei, kCgsn, "49015420323751:", 1,
                             "49015420323751:", kBadImei},
                      Answer{"CharacterBeforeZero", ORX_DEVICE_GetImei, kCgsn, "/90154203237518", 1,
                             "/90154203237518", kBadImei},
                      Answer{"TrailingOk", ORX_DEVICE_GetImei, kCgsn, "490154203237518\r\nOK\r\n",
                             1, "490154203237518\r\nOK\r\n", kNoImei}),
    [](const auto& row) { return row.param.title; });

INSTANTIATE_TEST_SUITE_P(
    SecondImei, ModemAnswer,
    ::testing::Values(
        Answer{"Quoted", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: \"490154203237526\"", 0,
               "490154203237526", "Parse IMEI from modem is: 490154203237526\n"},
        Answer{"QuoteNotClosed", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: \"490154203237526", 0,
               "490154203237526", "Parse IMEI from modem is: 490154203237526\n"},
        Answer{"SixteenDigitsAreCut", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: \"4901542032375269\"", 0,
               "490154203237526", "Parse IMEI from modem is: 490154203237526\n"},
        Answer{"FourteenDigits", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: \"49015420323752\"", 1,
               "49015420323752", kNoImei},
        Answer{"Letter", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: \"49015420323752A\"", 1,
               "49015420323752A", kBadImei},
        Answer{"NoQuotes", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: 490154203237526", 1, "", kNoImei},
        Answer{"EmptyQuotes", ORX_DEVICE_GetImei2, kEgmr, "+EGMR: \"\"", 1, "", kNoImei},
        Answer{"StartsWithQuote", ORX_DEVICE_GetImei2, kEgmr, "\"490154203237526\"", 1, "",
               kNoImei}),
    [](const auto& row) { return row.param.title; });

INSTANTIATE_TEST_SUITE_P(Meid, ModemAnswer,
                         ::testing::Values(Answer{"FourteenDigits", ORX_DEVICE_GetMeid, kMeid,
                                                  "99000012345678", 0, "99000012345678",
                                                  "Parse MEID from modem is: 99000012345678\n"},
                                           Answer{"ThirteenDigits", ORX_DEVICE_GetMeid, kMeid,
                                                  "9900001234567", 1, "9900001234567-", kBadMeid},
                                           Answer{"FifteenDigits", ORX_DEVICE_GetMeid, kMeid,
                                                  "990000123456780", 1, "990000123456780", kNoMeid},
                                           Answer{"HexadecimalLetter", ORX_DEVICE_GetMeid, kMeid,
                                                  "A0000012345678", 1, "A0000012345678", kBadMeid}),
                         [](const auto& row) { return row.param.title; });

TEST_F(DeviceIdentity, AFailedExchangeLeavesTheDashes) {
  ScriptedModem modem(ScriptedModem::ByCommand({}));
  char imei[16] = {};
  EXPECT_EQ(ORX_DEVICE_GetImei(imei, sizeof(imei)), 1);
  EXPECT_STREQ(imei, "---------------");
  EXPECT_EQ(log_.messages().back(), "ORX_DEVICE_GetImei failed!\n");
  char imei2[16] = {};
  EXPECT_EQ(ORX_DEVICE_GetImei2(imei2, sizeof(imei2)), 1);
  EXPECT_STREQ(imei2, "---------------");
  EXPECT_EQ(log_.messages().back(), "ORX_DEVICE_GetImei failed!\n");
  char meid[15] = {};
  EXPECT_EQ(ORX_DEVICE_GetMeid(meid, sizeof(meid)), 1);
  EXPECT_STREQ(meid, "--------------");
  EXPECT_EQ(log_.messages().back(), "ORX_DEVICE_GetMeid failed! \n");
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
  EXPECT_THAT(log_.messages(),
              ElementsAre("Invalid IMEI buffer, input length = 15\n",
                          "Invalid IMEI buffer, input length = 92\n",
                          "Invalid MEID buffer, input length = 14\n",
                          "Invalid MEID buffer, input length = 92\n",
                          "Invalid IMEI buffer, input length = 15\n", "Invalid AT command"));
}

TEST_F(DeviceIdentity, TheSmallestBuffersTakeAnyAnswer) {
  ScriptedModem modem(ScriptedModem::ByCommand({{kCgsn, std::string(3000, '4')},
                                                {kEgmr, "\r\n+EGMR: \"490154203237526\"\r\n"},
                                                {kMeid, std::string(3000, '9')}}));
  // Allocated, so that the sanitizer sees a byte too many.
  std::vector<char> imei(16);
  EXPECT_EQ(ORX_DEVICE_GetImei(imei.data(), 16), 1);
  EXPECT_EQ(log_.messages().back(), kNoImei);
  EXPECT_THAT(imei, Each('4'));
  std::vector<char> imei2(16);
  EXPECT_EQ(ORX_DEVICE_GetImei2(imei2.data(), 16), 0);
  EXPECT_STREQ(imei2.data(), "490154203237526");
  std::vector<char> meid(15);
  EXPECT_EQ(ORX_DEVICE_GetMeid(meid.data(), 15), 1);
  EXPECT_EQ(log_.messages().back(), kNoMeid);
}

TEST_F(DeviceIdentity, BytesLeftInTheBufferMakeAGoodAnswerFail) {
  ScriptedModem modem(
      ScriptedModem::ByCommand({{kCgsn, "490154203237518"}, {kMeid, "99000012345678"}}));
  char buffer[20];
  memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(ORX_DEVICE_GetImei(buffer, sizeof(buffer)), 1);
  EXPECT_EQ(log_.messages().back(), kNoImei);
  EXPECT_EQ(std::string(buffer, sizeof(buffer)), "490154203237518xxxxx");
  EXPECT_EQ(ORX_DEVICE_GetMeid(buffer, sizeof(buffer)), 1);
  EXPECT_EQ(log_.messages().back(), kNoMeid);
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
