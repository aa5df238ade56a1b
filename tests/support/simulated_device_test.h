// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android_host/host.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "sim/device.h"

namespace orx_test {

// SimulatedDeviceTest is a fixture with a simulated device in a folder. The library is used in
// processes of their own, each of which sees the device as after a boot; what they expect counts.
class SimulatedDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    android_host::DisableDeviceModule();
    std::string error;
    ASSERT_TRUE(orx_sim::Device::Create(kFolder, "dual-sim", &error)) << error;
  }

  // Changes a setting of the device, as "os-patch-level=203012".
  static void Set(const std::string& setting) {
    std::string error;
    ASSERT_TRUE(orx_sim::Device::Open(kFolder, &error)->folder().Set({setting}, &error)) << error;
  }

  // Runs `body` in a process of its own, in which the device has just booted with `fault`.
  static void InNewProcess(const std::function<void()>& body, const std::string& fault = "") {
    ExpectSuccess(StartProcess(body, fault));
  }

  // The two halves of InNewProcess, for processes side by side.
  static pid_t StartProcess(const std::function<void()>& body, const std::string& fault = "") {
    const pid_t child = fork();
    if (child != 0) return child;
    std::string error;
    const auto device = orx_sim::Device::Open(kFolder, &error);
    EXPECT_TRUE(device) << error;
    if (!fault.empty()) {
      EXPECT_TRUE(device->faults().Add(fault, &error)) << error;
    }
    device->Attach();
    body();
    _exit(HasFailure() ? 1 : 0);
  }
  static void ExpectSuccess(pid_t child) {
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the process failed, see above";
  }

 private:
  static constexpr char kFolder[] = "/mnt/device";
};

}  // namespace orx_test
