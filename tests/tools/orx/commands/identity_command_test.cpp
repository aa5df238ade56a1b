// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;

constexpr const char kImei[] = "490154203237518";

class IdentityCommandTest : public ToolTest {};

TEST_F(IdentityCommandTest, PrintsWhatADualSimDeviceIs) {
  EXPECT_EQ(Orx("ids").out,
            "Device IDs for attestation:\n Model:Simulated Dual\n Product:simulated_dual\n"
            " Device:simulated\n Serial:SIM0000000000001\n Manufacturer:orx\n Brand:orx\n");
  const Json::Value ids = OrxJson("answer", "ids");
  EXPECT_EQ(ids["serial"].asString(), "SIM0000000000001");
  EXPECT_TRUE(ids["dual_sim"].asBool());
  EXPECT_EQ(Orx("imei").out, std::string(kImei) + "\n");
  EXPECT_EQ(Orx("imei2").out, "490154203237526\n");
  EXPECT_EQ(Orx("uid").out, "0123456789abcdef0000000000000000\n");
  EXPECT_EQ(OrxJson("answer", "uid")["raw"].asString(), "0123456789abcdef");
  EXPECT_EQ(OrxJson("answer", "mode")["mode"].asInt(), 1);
  EXPECT_EQ(Orx("modem AT+CGSN").out, std::string(kImei) + "\n");
  EXPECT_THAT(Orx("modem --raw AT+CGSN").out, HasSubstr("ERROR"));
}

TEST_F(IdentityCommandTest, RecordsMaskWhatNamesTheDevice) {
  const std::string masked = Orx("records").out;
  EXPECT_THAT(masked, HasSubstr("Simulated Dual"));
  EXPECT_THAT(masked, HasSubstr("49*************"));
  EXPECT_THAT(masked, testing::Not(HasSubstr(kImei)));
  const Json::Value shown = OrxJson("answer", "records --show-ids")["records"];
  ASSERT_EQ(shown.size(), 7u);
  EXPECT_EQ(shown[6]["tag"].asInt(), 714);
  EXPECT_EQ(shown[6]["value"].asString(), kImei);
}

TEST_F(IdentityCommandTest, NamesEveryMissingProperty) {
  profile_ = "bare";
  const ProgramResult result = Orx("ids");
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.out, "Device ID properties not ok\n");
  for (const char* name : {"ro.vendor.boot.serialno", "ro.product.vendor.model"}) {
    EXPECT_THAT(result.err, HasSubstr(name));
  }
  EXPECT_EQ(OrxAnswer("ids")["error"]["code"].asString(), "PROPERTY-MISSING");
  EXPECT_THAT(Orx("uid").err, HasSubstr("no unique id"));
}

TEST_F(IdentityCommandTest, ExplainsOddAnswersOfTheModem) {
  profile_ = "single-sim";
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"modem:close", "imei", "[MODEM-EXCHANGE]"},
      {"modem:echo", "imei", "repeats the command"},
      {"modem:meid-letters", "meid", "hexadecimal letters"}};
  for (const auto& [fault, command, explanation] : cases) {
    SCOPED_TRACE(fault);
    faults_ = {fault};
    EXPECT_THAT(Expect(command, 1, explanation).err, HasSubstr("library: "));
  }
}

TEST_F(IdentityCommandTest, TimeoutEndsACallThatBlocksWithoutEnd) {
  faults_ = {"modem:silent"};
  const char text[] = "does not answer within 0.4 s. [MODEM-SILENT]";
  EXPECT_THAT(Expect("imei --timeout 0.4", 5, text).err, HasSubstr("No response timeout is set"));
  // Whatever the limit, a missing daemon is a missing environment.
  faults_.clear();
  SetDevice("modem=no");
  Expect("imei --timeout 0.4", 4, "/dev/socket/rild-oem within 0.4 s. [MODEM-UNREACHABLE]");
}

TEST_F(IdentityCommandTest, ATerminalShowsTheAttempts) {
  SetDevice("modem=no");
  options_.terminal = true;
  options_.signal_when_shown = "modem: attempt 2 of 30";
  const ProgramResult result = Orx("imei");
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_THAT(result.err, HasSubstr("modem: attempt 1 of 30"));
}

TEST_F(IdentityCommandTest, AKeyboardInterruptEndsWith130) {
  SetDevice("modem=no");
  for (const char* words : {"imei -v", "imei -v --timeout 50"}) {
    options_.signal_when_shown = "Connect to AT command engine with 1 fails";
    EXPECT_EQ(Orx(words).exit_code, 130);
  }
}

}  // namespace
}  // namespace orx_tool
