// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "sim/modem/modem.h"

namespace orx_faults {

// One call of the library, or a few that belong together. Returns 0 when it succeeded and what it
// gave is right, 1 when it was refused, and kWrong when it claims success with a wrong result.
struct Step {
  const char* name;
  std::function<uint32_t()> run;
};
constexpr uint32_t kWrong = 99;

// What somebody does with the library on a simulated device.
struct Sequence {
  const char* name;
  std::vector<Step> steps;
  // A process of its own prepares what is there before; afterwards the device gets the setting.
  std::function<void()> prepare = [] {};
  const char* setting = nullptr;
};

// What the library asks while the sequences run, as long as it lives; null if it cannot.
std::unique_ptr<orx_sim::ModemDaemon> StartModem();

const std::vector<Sequence>& Sequences();

// Which key "rsa" uses: that of "aes", unless both are used at the same time.
extern int rsa_key_id;

}  // namespace orx_faults
