// SPDX-License-Identifier: Apache-2.0
// What the host's platform loads: the device that the environment names. orx-sim run sets it:
//
//   ORX_SIM_DEVICE        the device's folder
//   ORX_SIM_FAULTS        faults, one a line
//   ORX_SIM_REPLAY        the folder of what another device answered; empty: none
//   ORX_SIM_SHOWN_FAULTS  the file that is told of each fault that showed
//
// When the platform shows its log, the device's calls are written there as well.
#include <android-base/strings.h>
#include <android_host/host.h>
#include <stdio.h>
#include <stdlib.h>

#include "sim/device.h"

namespace {

const char* Environment(const char* name) {
  const char* const value = secure_getenv(name);
  return value == nullptr ? "" : value;
}

int Fail(const std::string& reason) {
  fprintf(stderr, "simulated device: %s\n", reason.c_str());
  return 1;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int android_host_device_attach(void) {
  const std::string folder = Environment("ORX_SIM_DEVICE");
  if (folder.empty()) return Fail("ORX_SIM_DEVICE is not set; orx-sim run sets it");
  std::string error;
  const std::unique_ptr<orx_sim::Device> device = orx_sim::Device::Open(folder, &error);
  if (device == nullptr) return Fail(error);
  for (const std::string& fault : android::base::Split(Environment("ORX_SIM_FAULTS"), "\n")) {
    if (!fault.empty() && !device->faults().Add(fault, &error)) return Fail(error);
  }
  const std::string answers = Environment("ORX_SIM_REPLAY");
  if (!answers.empty()) {
    auto replay = std::make_shared<orx_sim::Replay>();
    if (!orx_sim::LoadReplay(answers, replay.get(), &error)) return Fail(error);
    device->Answer(std::move(replay));
  }
  device->faults().RecordShown(Environment("ORX_SIM_SHOWN_FAULTS"));
  device->LogCalls(android_host::LogDescriptor());
  device->Attach();
  return 0;
}
