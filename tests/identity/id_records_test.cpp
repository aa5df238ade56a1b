// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/attest.h>
#include <string.h>

#include <string>
#include <vector>

#include "support/device_properties.h"
#include "support/failing_property.h"
#include "support/log_capture.h"
#include "support/scripted_modem.h"

namespace orx_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kBytesTag = 9u << 28;

// A record as it is stored: the words little-endian as on every Android device.
Bytes Record(uint32_t number, const std::string& value) {
  const uint32_t words[] = {kBytesTag | number, static_cast<uint32_t>(value.size())};
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

  // The lines of this function alone.
  std::vector<std::string> Messages() {
    std::vector<std::string> messages;
    for (size_t i = 0; i < log_.lines().size(); ++i) {
      if (log_.paths()[i] == "src/keymint/ORX_ATTEST.cpp") {
        messages.push_back(log_.messages()[i]);
      }
    }
    log_.Clear();
    return messages;
  }

  void ExpectUntouched() {
    EXPECT_EQ(buffer_, Bytes(900, 0xee));
    EXPECT_EQ(length_, 800u);
  }

  const ScriptedModem::Script modem_with_meid_ = ScriptedModem::ByCommand(
      {{"TCATSEND,0,AT+CGSN", "490154203237518"}, {"TCATSEND,0,AT^MEID", "99000012345678"}});
  Bytes buffer_ = Bytes(900, 0xee);
  uint32_t length_ = 800;
  DeviceProperties properties_;
  LogCapture log_;
};

TEST_F(IdRecords, SevenOfEightRecordsAreReturned) {
  ScriptedModem modem(modem_with_meid_);
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
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(IdRecords, AModemWithoutMeidIsNoFailure) {
  ScriptedModem modem(ScriptedModem::ByCommand({{"TCATSEND,0,AT+CGSN", "490154203237518"}}));
  EXPECT_EQ(Get(), 0);
  EXPECT_THAT(Messages(), ElementsAre("ATTEST: ORX get MEID fail, convert IMEI to MEID"));
  EXPECT_EQ(Bytes(buffer_.begin() + 600, buffer_.begin() + 700), Record(714, "490154203237518"));
  EXPECT_EQ(buffer_[700], 0xee);
}

TEST_F(IdRecords, ArgumentsAreChecked) {
  for (uint32_t capacity : {0u, 700u, 799u}) {
    length_ = capacity;
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(length_, capacity);
    EXPECT_THAT(Messages(), ElementsAre("ATTEST: insufficient input buffer to store device ids"));
  }
  length_ = 800;
  EXPECT_EQ(ORX_get_attestation_id(nullptr, &length_), 1);
  EXPECT_EQ(ORX_get_attestation_id(buffer_.data(), nullptr), 1);
  EXPECT_THAT(Messages(),
              ElementsAre("ATTEST: invalid device id inputs", "ATTEST: invalid device id inputs"));
  ExpectUntouched();
}

TEST_F(IdRecords, NothingIsWrittenWithoutAnImei) {
  ScriptedModem modem(ScriptedModem::ByCommand({{"TCATSEND,0,AT+CGSN", "ERROR"}}));
  EXPECT_EQ(Get(), 1);
  EXPECT_THAT(Messages(), ElementsAre("ATTEST: ORX get IMEI fail"));
  ExpectUntouched();
}

TEST_F(IdRecords, NothingIsWrittenWhicheverPropertyReadFails) {
  ScriptedModem modem(modem_with_meid_);
  int reads = 0;
  for (FailPropertyGet(reads); Get() != 0; FailPropertyGet(++reads)) {
    EXPECT_THAT(Messages(), ElementsAre("ATTEST: fail to validate generic device ids")) << reads;
    ExpectUntouched();
  }
  EXPECT_EQ(reads, 6 + 6) << "once for the check, once for the records";
  EXPECT_EQ(length_, 700u);
}

}  // namespace
}  // namespace orx_test
