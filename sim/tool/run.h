// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/base/device_folder.h"

namespace orx_sim {

// What is shown of the debug log and of the calls of the device's services.
enum class ShowLog { kNever, kOnFailure, kAlways };

struct RunOptions {
  std::string device;  // folder; empty: a throw-away device
  std::string profile = "dual-sim";
  std::vector<std::string> faults;
  std::string replay;  // folder of what another device answered; empty: none
  ShowLog log = ShowLog::kNever;
  bool quiet = false;
  std::vector<std::string> command;
};

// Run runs a command inside a device and returns the exit code, see launch.h.
int Run(const RunOptions& options);

// OpenFolder opens a device by its path, which may be a symbolic link. Returns null with the reason
// in `*error`.
std::shared_ptr<DeviceFolder> OpenFolder(const std::string& path, std::string* error);

}  // namespace orx_sim
