// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/device.h>

#include <string>

#include "tests/support/device_properties.h"
#include "tests/support/interposed/failing_property.h"
#include "tests/support/log_capture.h"

namespace orx_test {
namespace {

using ::testing::ElementsAre;

constexpr char kLevel[] = "ro.product.first_api_level";
constexpr char kSerial[] = "ro.vendor.boot.serialno";

class DeviceId : public ::testing::Test {
 protected:
  DeviceId() {
    properties_.Set(kSerial, "SN0001");
    for (const std::string field : {"name", "model", "brand", "device", "manufacturer"}) {
      properties_.Set("ro.product." + field, "generic " + field);
      properties_.Set("ro.product.vendor." + field, "vendor " + field);
    }
  }

  static void ExpectPrinted(const std::string& kind, const std::string& serial = "SN0001") {
    ::testing::internal::CaptureStdout();
    const int result = ORX_print_device_ids();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Device IDs for attestation:\n Model:" + kind + "model\n Product:" + kind +
                  "name\n Device:" + kind + "device\n Serial:" + serial +
                  "\n Manufacturer:" + kind + "manufacturer\n Brand:" + kind + "brand\n");
    EXPECT_EQ(result, static_cast<int>(kind.size()) + 13) << "the length of the last line";
  }

  DeviceProperties properties_;
  LogCapture log_;
};

TEST_F(DeviceId, UpToLevel33TheGenericNamesAreRead) {
  properties_.Set(kLevel, "33");
  ExpectPrinted("generic ");
}

TEST_F(DeviceId, TheApiLevelIsLookedForUntilThereIsOneAndThenKept) {
  for (const char* level : {"", "V", "0", "34-preview", "30"}) {
    properties_.Set(kLevel, level);
    EXPECT_EQ(ORX_device_requires_generic_ids(), *level == '3' ? 0 : 1) << level;
  }
}

TEST_F(DeviceId, PrintsNullForWhatIsRemovedAfterTheCheck) {
  properties_.Set(kLevel, "34");
  ExpectPrinted("vendor ");
  FailPropertyGet(6 + 3);  // after the six of the check, the serial number is printed fourth
  ExpectPrinted("vendor ", "(null)");
  properties_.Set(kSerial, "");
  ::testing::internal::CaptureStdout();
  ORX_print_device_ids();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Device ID properties not ok\n");
}

TEST_F(DeviceId, APropertyNameIsCutAt39CharactersAndALevelOfOneDigitKept) {
  properties_.Set("ro.product." + std::string(39 - 11, 'k'), "read");
  for (const char* level : {"9", "34"}) {
    properties_.Set(kLevel, level);
    char value[92] = {};
    EXPECT_EQ(ORX_get_property(std::string(40, 'k').c_str(), value), 0);
    EXPECT_STREQ(value, "read");
  }
}

TEST_F(DeviceId, OnlyTheExactWordTrueMeansDualSim) {
  for (const char* value : {"", "True", "true ", "tru", "1", "false"}) {
    properties_.Set("ro.vendor.hw.dualsim", value);
    EXPECT_EQ(ORX_device_supports_dual_sim(), 1) << value;
  }
  properties_.Set("ro.vendor.hw.dualsim", "true");
  EXPECT_EQ(ORX_device_supports_dual_sim(), 0);
  EXPECT_THAT(log_.messages(), ElementsAre("Dual SIM card detected"));
}

TEST_F(DeviceId, TheCheckReadsAllSixAndRefreshesTheGettersBuffers) {
  for (const auto get : {ORX_get_product_name, ORX_get_model_name, ORX_get_brand_name,
                         ORX_get_device_name, ORX_get_manufacturer_name, ORX_get_serial}) {
    EXPECT_EQ(get(), get()) << "one buffer";
  }
  const char* brand = ORX_get_brand_name();
  const char* model = ORX_get_model_name();
  const char* serial = ORX_get_serial();
  const std::string longest(91, 'm');
  properties_.Set("ro.product.model", longest);
  properties_.Set(kSerial, "SN0002");
  EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 0);
  EXPECT_EQ(model, longest);
  EXPECT_STREQ(serial, "SN0002");
  EXPECT_STREQ(brand, "generic brand");

  properties_.Set(kLevel, "34");
  for (int read = 0; read < 6; ++read) {
    FailPropertyGet(read);
    EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 1) << read;
  }
  EXPECT_THAT(log_.messages(), ElementsAre("Failed to get prop:ro.vendor.boot.serialno",
                                           "Failed to get prop:ro.product.vendor.manufacturer",
                                           "Failed to get prop:ro.product.vendor.brand",
                                           "Failed to get prop:ro.product.vendor.name",
                                           "Failed to get prop:ro.product.vendor.device",
                                           "Failed to get prop:ro.product.vendor.model"));
}

}  // namespace
}  // namespace orx_test
