// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/secureclock/ISecureClock.h>
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <thread>
#include <vector>

namespace {

namespace sc = ::aidl::android::hardware::security::secureclock;

constexpr char kClock[] = "android.hardware.security.secureclock.ISecureClock/default";

std::string DeviceProperty() {
  char value[PROPERTY_VALUE_MAX];
  property_get("ro.product.device", value, "none");
  return value;
}

bool HasClock() {
  return ndk::SpAIBinder(AServiceManager_checkService(kClock)) != nullptr;
}

TEST(DeviceModule, IsLoadedByTheFirstServiceLookUp) {
  setenv("ANDROID_HOST_DEVICE", GOOD_MODULE, 1);
  const auto clock =
      sc::ISecureClock::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(kClock)));
  ASSERT_NE(clock, nullptr);
  sc::TimeStampToken token;
  ASSERT_TRUE(clock->generateTimeStamp(-5, &token).isOk());
  EXPECT_EQ(token.toString(),
            "TimeStampToken{challenge: -5, timestamp: Timestamp{milliSeconds: 1234}, mac: []}");
}

TEST(DeviceModule, IsLoadedByTheFirstPropertyRead) {
  setenv("ANDROID_HOST_DEVICE", GOOD_MODULE, 1);
  EXPECT_EQ(DeviceProperty(), "module");
  EXPECT_TRUE(HasClock());
}

TEST(DeviceModule, IsCompleteForEveryThreadThatComesFirst) {
  setenv("ANDROID_HOST_DEVICE", GOOD_MODULE, 1);
  std::vector<char> found(8, 0);
  std::vector<std::thread> threads;
  for (char& mine : found) threads.emplace_back([&mine] { mine = HasClock() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<char>(8, 1));
}

TEST(DeviceModule, IsNotLoadedOnceDisabled) {
  setenv("ANDROID_HOST_DEVICE", GOOD_MODULE, 1);
  android_host::DisableDeviceModule();
  EXPECT_FALSE(HasClock());
  EXPECT_EQ(DeviceProperty(), "none");
}

// Whatever goes wrong is said in one line, and the process goes on with a device that has nothing.
TEST(DeviceModule, FailureLeavesAnEmptyDevice) {
  const struct {
    const char* path;
    const char* says;
  } kCases[] = {
      {"/nonexistent/device.so",
       "android_host: no device: cannot load the module "
       "/nonexistent/device.so: "},
      {"libc.so.6", "undefined symbol: android_host_device_attach\n"},
      {FAILING_MODULE, " failed to attach (7)\n"},
      {"", ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.path);
    // Each in a process of its own: a module is looked for once.
    EXPECT_EXIT(
        {
          setenv("ANDROID_HOST_DEVICE", row.path, 1);
          const bool empty = !HasClock() && DeviceProperty() == "none";
          exit(empty ? 0 : 1);
        },
        testing::ExitedWithCode(0), testing::HasSubstr(row.says));
  }
}

}  // namespace
