// SPDX-License-Identifier: Apache-2.0
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gmock/gmock.h>

#include "sim/base/device_conf.h"
#include "sim/device.h"
#include "tests/support/temp_folder.h"

namespace orx_sim {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

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

class ProfileTest : public ::testing::Test {
 protected:
  ProfileTest() { android_host::DisableDeviceModule(); }
  ~ProfileTest() override { android_host::ClearServices(); }

  orx_test::TempFolder parent_;
};

TEST_F(ProfileTest, EveryShippedOneMakesADevice) {
  const std::vector<std::string> names = ProfileNames();
  EXPECT_THAT(names,
              ElementsAre("bare", "dual-sim", "remote-only", "single-sim", "swapped-strongbox"));
  for (const std::string& name : names) {
    std::string error;
    const std::unique_ptr<Device> device = Device::Create(parent_ / name, name, &error);
    ASSERT_TRUE(device) << error;
    EXPECT_EQ(device->folder().Get("profile"), name);
    EXPECT_EQ(device->folder().IsYes("modem"), name != "bare");
  }
}

TEST_F(ProfileTest, PropertiesTellThePatchLevelsUnlessBuildPropDoes) {
  std::string error;
  const std::unique_ptr<Device> device = Device::Create(parent_ / "device", "bare", &error);
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

TEST(BuildPropTest, BadLinesAreNamedByFileAndNumber) {
  const std::pair<std::string, const char*> cases[] = {
      {"ro.product.model", "not of the form NAME=VALUE"},
      {"=value", "not of the form NAME=VALUE"},
      {"import /vendor/default.prop", "not of the form NAME=VALUE"},
      {"ro product=1", "\"ro product\" is no property name"},
      {"ro.=1", "\"ro.\" is no property name"},
      {"ro.long=" + std::string(92, 'x'), "has 92 characters"},
  };
  for (const auto& [line, reason] : cases) {
    SCOPED_TRACE(line);
    DeviceConf conf;
    std::string error;
    EXPECT_FALSE(conf.Parse("[build.prop]\n# x\n" + line + "\nro.b=2\n", "/d/x", &error));
    EXPECT_THAT(error, ::testing::StartsWith("/d/x:3: "));
    EXPECT_THAT(error, HasSubstr(reason));
  }
}

}  // namespace
}  // namespace orx_sim
