// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android_host/host.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

namespace orx_test {

// DeviceProperties are the system properties of the test's device; it starts without any.
class DeviceProperties {
 public:
  DeviceProperties() {
    android_host::DisableDeviceModule();
    android_host::ClearProperties();
  }

  void Set(const std::string& name, const std::string& value) {
    std::string error;
    EXPECT_TRUE(android_host::SetProperty(name, value, &error)) << error;
  }

  void Set(const std::map<std::string, std::string>& properties) {
    for (const auto& [name, value] : properties) Set(name, value);
  }
};

}  // namespace orx_test
