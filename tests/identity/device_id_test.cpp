// SPDX-License-Identifier: Apache-2.0
#include <android_host/host.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/device.h>

#include <string>

#include "support/failing_property.h"
#include "support/log_capture.h"

namespace orx_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DeviceId : public ::testing::Test {
 protected:
  DeviceId() {
    android_host::DisableDeviceModule();
    android_host::ClearProperties();
  }

  static void Set(const std::string& name, const std::string& value) {
    std::string error;
    ASSERT_TRUE(android_host::SetProperty(name, value, &error)) << error;
  }

  // The identifiers of a device that launched on API level 34; the generic ones say "generic".
  static void SetAll() {
    Set("ro.product.first_api_level", "34");
    for (const char* key : {"name", "model", "brand", "device", "manufacturer"}) {
      Set(std::string("ro.product.vendor.") + key, std::string("vendor ") + key);
      Set(std::string("ro.product.") + key, std::string("generic ") + key);
    }
    Set("ro.vendor.boot.serialno", "SN0001");
  }

  LogCapture log_;
};

struct ApiLevel {
  const char* title;
  const char* value;
  int generic;
};

class DeviceIdApiLevel : public DeviceId, public ::testing::WithParamInterface<ApiLevel> {};

TEST_P(DeviceIdApiLevel, DecidesWhichPropertiesAreRead) {
  SetAll();
  Set("ro.product.first_api_level", GetParam().value);
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
                                           ApiLevel{"Level35", "35", 0},
                                           ApiLevel{"Level33", "33", 1},
                                           ApiLevel{"LeadingNumber", "34-preview", 0},
                                           ApiLevel{"NoNumber", "V", 1}, ApiLevel{"Empty", "", 1}),
                         [](const auto& row) { return row.param.title; });

TEST_F(DeviceId, TheApiLevelIsLookedForUntilThereIsOneAndThenKept) {
  EXPECT_EQ(ORX_device_requires_generic_ids(), 1);
  Set("ro.product.first_api_level", "0");
  EXPECT_EQ(ORX_device_requires_generic_ids(), 1);
  Set("ro.product.first_api_level", "34");
  EXPECT_EQ(ORX_device_requires_generic_ids(), 0);
  Set("ro.product.first_api_level", "30");
  EXPECT_EQ(ORX_device_requires_generic_ids(), 0);
}

TEST_F(DeviceId, AGetterKeepsItsOwnBufferForTheLongestValue) {
  SetAll();
  const char* brand = ORX_get_brand_name();
  const char* model = ORX_get_model_name();
  const std::string longest(91, 'm');
  Set("ro.product.vendor.model", longest);
  EXPECT_EQ(ORX_get_model_name(), model);
  EXPECT_EQ(model, longest);
  EXPECT_STREQ(brand, "vendor brand");
}

TEST_F(DeviceId, AMissingOrEmptyPropertyIsNamedInFull) {
  Set("ro.product.brand", "");
  EXPECT_EQ(ORX_get_brand_name(), nullptr);
  Set("ro.product.first_api_level", "34");
  EXPECT_EQ(ORX_get_model_name(), nullptr);
  EXPECT_EQ(ORX_get_serial(), nullptr);
  EXPECT_THAT(log_.messages(), ElementsAre("Failed to get prop:ro.product.brand",
                                           "Failed to get prop:ro.product.vendor.model",
                                           "Failed to get prop:ro.vendor.boot.serialno"));
  EXPECT_THAT(log_.paths(), Each("src/ORX_DEVICE_ID.cpp"));
}

TEST_F(DeviceId, APropertyNameIsCutAt39Characters) {
  const std::string key(40, 'k');
  const std::string cut = ("ro.product." + key).substr(0, 39);
  char value[92] = "before";
  EXPECT_EQ(ORX_get_property(key.c_str(), value), 1);
  EXPECT_THAT(log_.messages(), ElementsAre("Failed to get prop:" + cut));
  Set(cut, "read");
  EXPECT_EQ(ORX_get_property(key.c_str(), value), 0);
  EXPECT_STREQ(value, "read");
}

TEST_F(DeviceId, OnlyTheExactWordTrueMeansDualSim) {
  EXPECT_EQ(ORX_device_supports_dual_sim(), 1) << "missing";
  for (const char* value : {"True", "true ", "TRUE", "tru", "1", "yes", "false", ""}) {
    Set("ro.vendor.hw.dualsim", value);
    EXPECT_EQ(ORX_device_supports_dual_sim(), 1) << value;
  }
  EXPECT_THAT(log_.messages(), IsEmpty());
  Set("ro.vendor.hw.dualsim", "true");
  EXPECT_EQ(ORX_device_supports_dual_sim(), 0);
  EXPECT_THAT(log_.messages(), ElementsAre("Dual SIM card detected"));
}

TEST_F(DeviceId, TheCheckReadsAllSixInItsOrderAndRefreshesTheBuffers) {
  EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 1);
  EXPECT_THAT(
      log_.messages(),
      ElementsAre("Failed to get prop:ro.vendor.boot.serialno",
                  "Failed to get prop:ro.product.manufacturer",
                  "Failed to get prop:ro.product.brand", "Failed to get prop:ro.product.name",
                  "Failed to get prop:ro.product.device", "Failed to get prop:ro.product.model"));
  SetAll();
  const char* serial = ORX_get_serial();
  const char* model = ORX_get_model_name();
  Set("ro.vendor.boot.serialno", "SN0002");
  Set("ro.product.vendor.model", "other");
  EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 0);
  EXPECT_STREQ(serial, "SN0002");
  EXPECT_STREQ(model, "other");
}

TEST_F(DeviceId, TheCheckFailsForEachMissingProperty) {
  SetAll();
  for (const char* name :
       {"ro.vendor.boot.serialno", "ro.product.vendor.name", "ro.product.vendor.model",
        "ro.product.vendor.brand", "ro.product.vendor.device", "ro.product.vendor.manufacturer"}) {
    Set(name, "");
    EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 1) << name;
    Set(name, "value");
    EXPECT_EQ(ORX_device_id_attestation_properties_ok(), 0) << name;
  }
}

std::string Printed(int* result) {
  ::testing::internal::CaptureStdout();
  *result = ORX_print_device_ids();
  return ::testing::internal::GetCapturedStdout();
}

TEST_F(DeviceId, PrintsTheIdentifiersOrThatTheyAreNotThere) {
  SetAll();
  int result = -1;
  EXPECT_EQ(Printed(&result),
            "Device IDs for attestation:\n Model:vendor model\n Product:vendor name\n"
            " Device:vendor device\n Serial:SN0001\n Manufacturer:vendor manufacturer\n"
            " Brand:vendor brand\n");
  EXPECT_EQ(result, 20) << "what the last line's print gives: its length";

  Set("ro.vendor.boot.serialno", "");
  EXPECT_EQ(Printed(&result), "Device ID properties not ok\n");
  EXPECT_GE(result, 0);
}

TEST_F(DeviceId, AValueThatIsGoneAfterTheCheckPrintsAsANullPointer) {
  SetAll();
  ASSERT_EQ(ORX_device_requires_generic_ids(), 0);
  int result = -1;
  FailPropertyGet(6 + 3);  // the check reads six, the serial number is printed fourth
  EXPECT_EQ(Printed(&result),
            "Device IDs for attestation:\n Model:vendor model\n Product:vendor name\n"
            " Device:vendor device\n Serial:(null)\n Manufacturer:vendor manufacturer\n"
            " Brand:vendor brand\n");
}

}  // namespace
}  // namespace orx_test
