// SPDX-License-Identifier: Apache-2.0
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <utility>

namespace {

std::string DeviceProperty() {
  char value[PROPERTY_VALUE_MAX];
  property_get("ro.product.device", value, "none");
  return value;
}

bool HasService() {
  return AServiceManager_isDeclared("a.b.IFoo/default");
}

TEST(DeviceModule, IsNotLoadedOnceDisabled) {
  setenv("ANDROID_HOST_DEVICE", ORX_TEST_FOLDER "/libgood_device_module.so", 1);
  android_host::DisableDeviceModule();
  EXPECT_FALSE(HasService());
  EXPECT_EQ(DeviceProperty(), "none");
}

// Whatever goes wrong is said in one line, and the process goes on with a device that has nothing.
TEST(DeviceModule, FailureLeavesAnEmptyDevice) {
  const std::pair<const char*, std::string> kCases[] = {
      {"/nonexistent/device.so",
       "android_host: no device: cannot load the module /nonexistent/device.so: "},
      {"libc.so.6", "undefined symbol: android_host_device_attach\n"},
      {ORX_TEST_FOLDER "/libfailing_device_module.so", " failed to attach (7)\n"},
  };
  for (const auto& [module, says] : kCases) {
    SCOPED_TRACE(module);
    // Each in a process of its own: a module is looked for once.
    EXPECT_EXIT(
        {
          setenv("ANDROID_HOST_DEVICE", module, 1);
          exit(HasService() || DeviceProperty() != "none");
        },
        testing::ExitedWithCode(0), testing::HasSubstr(says));
  }
}

}  // namespace
