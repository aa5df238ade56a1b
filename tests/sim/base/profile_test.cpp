// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gmock/gmock.h>

#include "sim/base/device_conf.h"
#include "sim/device.h"
#include "tests/support/temp_folder.h"

namespace orx_sim {
namespace {

using ::testing::ElementsAre;

std::string Property(const char* name) {
  char value[PROPERTY_VALUE_MAX] = {};
  property_get(name, value, "(none)");
  return value;
}

std::vector<std::string> Lines(const std::vector<Assignment>& assignments) {
  std::vector<std::string> lines;
  for (const Assignment& a : assignments) {
    lines.push_back(std::to_string(a.line) + ": " + a.name + "=" + a.value);
  }
  return lines;
}

TEST(BuildPropTest, PatchLevelsAreThoseOfTheSettingsUnlessItTellsThem) {
  android_host::DisableDeviceModule();
  const orx_test::TempFolder parent;
  std::string error;
  const std::unique_ptr<Device> device = Device::Create(parent / "device", "bare", &error);
  ASSERT_TRUE(device) << error;
  ASSERT_TRUE(device->folder().Set(
      {"os-version=150000", "os-patch-level=202701", "vendor-patch-level=20270205"}, &error));
  device->Attach();
  EXPECT_EQ(Property("ro.build.version.release"), "15");
  EXPECT_EQ(Property("ro.build.version.security_patch"), "2027-01-01");
  EXPECT_EQ(Property("ro.vendor.build.security_patch"), "2027-02-05");
  ASSERT_TRUE(device->folder().Set({"ro.build.version.release=16"}, &error));
  device->Attach();
  EXPECT_EQ(Property("ro.build.version.release"), "16");
  android_host::ClearServices();
}

TEST(BuildPropTest, IsReadAsAndroidReadsIt) {
  const std::string longest(91, 'x');
  const std::string text =
      "[build.prop]\n"
      "\n"
      "  \t \n"
      "ro.a=1\n"
      "  ro.b =  two words  \r\n"
      "   # indented comment\n"
      "ro.c=# no comment = part of the value\n"
      "ro.d=\n"
      "ro.a=again\n"
      "ro.long=" +
      longest + "\nro.last=no line end";
  DeviceConf conf;
  std::string error;
  ASSERT_TRUE(conf.Parse(text, "x", &error)) << error;
  EXPECT_THAT(Lines(conf.properties()),
              ElementsAre("4: ro.a=1", "5: ro.b=two words",
                          "7: ro.c=# no comment = part of the value", "8: ro.d=", "9: ro.a=again",
                          "10: ro.long=" + longest, "11: ro.last=no line end"));
}

TEST(ProfileTest, AFolderOfTheUsersOwnTakesThePlaceOfThatInstalled) {
  const orx_test::TempFolder folder;
  ASSERT_TRUE(android::base::WriteStringToFile("ro.a=1\n", folder / "mine.profile"));
  setenv("ORX_SIM_PROFILES", folder.path().c_str(), 1);
  EXPECT_THAT(ProfileNames(), ElementsAre("mine"));
  setenv("ORX_SIM_PROFILES", "", 1);
  EXPECT_THAT(ProfileNames(), testing::Contains("dual-sim"));
}

}  // namespace
}  // namespace orx_sim
