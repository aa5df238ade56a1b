// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/device.h>

#include <map>
#include <string>

#include "support/device_properties.h"
#include "support/failing_property.h"
#include "support/log_capture.h"

namespace orx_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kLevel[] = "ro.product.first_api_level";
constexpr char kSerial[] = "ro.vendor.boot.serialno";

const std::map<std::string, std::string> kDevice = {
    {kLevel, "34"},
    {"ro.product.vendor.name", "vendor name"},
    {"ro.product.vendor.model", "vendor model"},
    {"ro.product.vendor.brand", "vendor brand"},
    {"ro.product.vendor.device", "vendor device"},
    {"ro.product.vendor.manufacturer", "vendor manufacturer"},
    {"ro.product.name", "generic name"},
    {"ro.product.model", "generic model"},
    {"ro.product.brand", "generic brand"},
    {"ro.product.device", "generic device"},
    {"ro.product.manufacturer", "generic manufacturer"},
    {kSerial, "SN0001"},
};

class DeviceId : public ::testing::Test {
 protected:
  DeviceProperties properties_;
  LogCapture log_;
};

struct ApiLevel {
  const char* title;
  const char* value;
  int generic;
};

class DeviceIdApiLevel : public DeviceId, public ::testing::WithParamInterface<ApiLevel> {};

TEST_P(DeviceIdApiLevel, DecidesWhichPropertiesAreRead) {
  properties_.Set(kDevice);
  properties_.Set(kLevel, GetParam().value);
  const std::string prefix = GetParam().generic == 1 ? "generic " : "vendor ";
  EXPECT_EQ(ORX_device_requires_generic_ids(), GetParam().generic);
  EXPECT_EQ(ORX_get_product_name(), prefix + "name");
  EXPECT_EQ(ORX_get_model_name(), prefix + "model");
  EXPECT_EQ(ORX_get_brand_name(), prefix + "brand");
  EXPECT_EQ(ORX_get_device_name(), prefix + "device");
  EXPECT_EQ(ORX_get_manufacturer_name(), prefix + "manufacturer");
  EXPECT_STREQ(ORX_get_serial(), "SN0001");
  EXPECT_THAT(log_.messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, DeviceIdApiLevel,
                         ::testing::Values(ApiLevel{"Level34", "34", 0},
                                           ApiLevel{"Level33", "33", 1},
                                           ApiLevel{"LeadingNumber", "35-preview", 0},
                                           ApiLevel{"NoNumber", "V", 1}, ApiLevel{"Empty", "", 1}),
                         [](const auto& row) { return row.param.title; });

TEST_F(DeviceId, TheApiLevelIsLookedForUntilThereIsOneAndThenKept) {
  EXPECT_EQ(ORX_device_requires_generic_ids(), 1);
  properties_.Set(kLevel, "0");
  EXPECT_EQ(ORX_device_requires_generic_ids(), 1);
  properties_.Set(kLevel, "34");
  EXPECT_EQ(ORX_device_requires_generic_ids(), 0);
  properties_.Set(kLevel, "30");
  EXPECT_EQ(ORX_device_requires_generic_ids(), 0);
}

TEST_F(DeviceId, AGetterKeepsItsOwnBufferForTheLongestValue) {
  properties_.Set(kDevice);
  const char* brand = ORX_get_brand_name();
  const char* model = ORX_get_model_name();
  const std::string longest(91, 'm');
  properties_.Set("ro.product.vendor.model", longest);
  EXPECT_EQ(ORX_get_model_name(), model);
  EXPECT_EQ(model, longest);
  EXPECT_STREQ(brand, "vendor brand");
}

TEST_F(DeviceId, APropertyNameIsCutAt39Characters) {
  const std::string key(40, 'k');
  const std::string cut = ("ro.product." + key).substr(0, 39);
  char value[92] = {};
  EXPECT_EQ(ORX_get_property(key.c_str(), value), 1);
  EXPECT_THAT(log_.messages(), ElementsAre("Failed to get prop:" + cut));
  properties_.Set(cut, "read");
  EXPECT_EQ(ORX_get_property(key.c_str(), value), 0);
  EXPECT_STREQ(value, "read");
}

TEST_F(DeviceId, OnlyTheExactWordTrueMeansDualSim) {
  EXPECT_EQ(ORX_device_supports_dual_sim(), 1) << "missing";
  for (const char* value : {"True", "true ", "tru", "1", "false", ""}) {
    properties_.Set("ro.vendor.hw.dualsim", value);
    EXPECT_EQ(ORX_device_supports_dual_sim(), 1) << value;
  }
  EXPECT_THAT(log_.messages(), IsEmpty());
  properties_.Set("ro.vendor.hw.dualsim", "true");
  EXPECT_EQ(ORX_device_supports_dual_sim(), 0);
  EXPECT_THAT(log_.messages(), ElementsAre("Dual SIM card detected"));
}

TEST_F(DeviceId, TheCheckReadsAllSixAndRefreshesTheBuffers) {
  properties_.Set(kLevel, "34");
  EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 1);
  EXPECT_THAT(log_.messages(), ElementsAre("Failed to get prop:ro.vendor.boot.serialno",
                                           "Failed to get prop:ro.product.vendor.manufacturer",
                                           "Failed to get prop:ro.product.vendor.brand",
                                           "Failed to get prop:ro.product.vendor.name",
                                           "Failed to get prop:ro.product.vendor.device",
                                           "Failed to get prop:ro.product.vendor.model"));
  EXPECT_THAT(log_.paths(), Each("src/ORX_DEVICE_ID.cpp"));
  EXPECT_EQ(ORX_get_model_name(), nullptr);

  properties_.Set(kDevice);
  const char* model = ORX_get_model_name();
  const char* serial = ORX_get_serial();
  properties_.Set("ro.product.vendor.model", "other");
  properties_.Set(kSerial, "SN0002");
  EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 0);
  EXPECT_STREQ(model, "other");
  EXPECT_STREQ(serial, "SN0002");
  for (int read = 0; read < 6; ++read) {
    FailPropertyGet(read);
    EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 1) << read;
  }
}

std::string Printed(int* result) {
  ::testing::internal::CaptureStdout();
  *result = ORX_print_device_ids();
  return ::testing::internal::GetCapturedStdout();
}

TEST_F(DeviceId, PrintsTheIdentifiersOrThatTheyAreNotThere) {
  properties_.Set(kDevice);
  int result = -1;
  std::string expected =
      "Device IDs for attestation:\n Model:vendor model\n Product:vendor name\n"
      " Device:vendor device\n Serial:SN0001\n Manufacturer:vendor manufacturer\n"
      " Brand:vendor brand\n";
  EXPECT_EQ(Printed(&result), expected);
  EXPECT_EQ(result, 20) << "what the last line's print gives: its length";

  FailPropertyGet(6 + 3);  // after the six of the check, the serial number is printed fourth
  EXPECT_EQ(Printed(&result), expected.replace(expected.find("SN0001"), 6, "(null)"));

  properties_.Set(kSerial, "");
  EXPECT_EQ(Printed(&result), "Device ID properties not ok\n");
  EXPECT_GE(result, 0);
}

}  // namespace
}  // namespace orx_test
