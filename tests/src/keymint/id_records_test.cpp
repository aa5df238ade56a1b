// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <orx/attest.h>
#include <string.h>

#include <string>
#include <vector>

#include "tests/support/device_properties.h"
#include "tests/support/interposed/failing_property.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_modem.h"

namespace orx_test {

using Bytes = std::vector<uint8_t>;

namespace {

// A record as it is stored: the words little-endian as on every Android device.
Bytes Record(uint32_t number, const std::string& value) {
  const uint32_t words[] = {9u << 28 | number, static_cast<uint32_t>(value.size())};
  Bytes record(100);
  memcpy(record.data(), words, sizeof(words));
  memcpy(&record[8], value.data(), value.size());
  return record;
}

class IdRecords : public ::testing::Test {
 protected:
  IdRecords() {
    properties_.Set({{"ro.product.first_api_level", "34"},
                     {"ro.product.vendor.brand", "acme"},
                     {"ro.product.vendor.device", "anvil"},
                     {"ro.product.vendor.name", "anvil_eea"},
                     {"ro.vendor.boot.serialno", "SN0001"},
                     {"ro.product.vendor.manufacturer", "Acme Forge"},
                     {"ro.product.vendor.model", std::string(91, 'm')}});
  }

  int Get() { return ORX_get_attestation_id(buffer_.data(), &length_); }

  // What the function itself says comes last.
  void ExpectFailure(const std::string& message) {
    const uint32_t capacity = length_;
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(log_.Take().back(), message);
    EXPECT_EQ(length_, capacity);
    EXPECT_EQ(buffer_, Bytes(900, 0xee));
  }

  Bytes buffer_ = Bytes(900, 0xee);
  uint32_t length_ = 800;
  DeviceProperties properties_;
  LogCapture log_;
};

TEST_F(IdRecords, SevenOfEightRecordsAreReturned) {
  ScriptedModem modem(ScriptedModem::ByCommand(
      {{"TCATSEND,0,AT+CGSN", "490154203237518"}, {"TCATSEND,0,AT^MEID", "99000012345678"}}));
  ASSERT_EQ(Get(), 0);
  EXPECT_EQ(length_, 700u);
  Bytes expected;
  for (const Bytes& record :
       {Record(710, "acme"), Record(711, "anvil"), Record(712, "anvil_eea"), Record(713, "SN0001"),
        Record(716, "Acme Forge"), Record(717, std::string(91, 'm')),
        Record(714, "490154203237518"), Bytes(200, 0xee)}) {
    expected.insert(expected.end(), record.begin(), record.end());
  }
  EXPECT_EQ(buffer_, expected);
}

TEST_F(IdRecords, NothingIsWrittenForBadArgumentsOrWithoutAnImei) {
  ScriptedModem modem(ScriptedModem::ByCommand({{"TCATSEND,0,AT+CGSN", "ERROR"}}));
  ExpectFailure("ATTEST: ORX get IMEI fail");
  length_ = 799;
  ExpectFailure("ATTEST: insufficient input buffer to store device ids");
  EXPECT_EQ(ORX_get_attestation_id(nullptr, &length_), 1);
  EXPECT_EQ(ORX_get_attestation_id(buffer_.data(), nullptr), 1);
  EXPECT_EQ(log_.messages(), std::vector<std::string>(2, "ATTEST: invalid device id inputs"));
}

TEST_F(IdRecords, NothingIsWrittenWhicheverPropertyReadFailsAndNoMeidIsNoFailure) {
  ScriptedModem modem(ScriptedModem::ByCommand({{"TCATSEND,0,AT+CGSN", "490154203237518"}}));
  for (int read = 0; read < 6 + 6; ++read) {  // once for the check, once for the records
    FailPropertyGet(read);
    ExpectFailure("ATTEST: fail to validate generic device ids");
  }
  EXPECT_EQ(Get(), 0);
  EXPECT_EQ(log_.messages().back(), "ATTEST: ORX get MEID fail, convert IMEI to MEID");
}

}  // namespace
}  // namespace orx_test
