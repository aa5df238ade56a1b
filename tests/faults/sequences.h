// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

namespace orx_faults {

// One call of the library, or a few that belong together. Returns 0 when it succeeded and what it
// gave is right, 1 when it was refused, and kWrong when it claims success with a wrong result.
struct Step {
  const char* name;
  std::function<int()> run;
};
constexpr int kWrong = 99;

// What the modem answers.
constexpr char kImei[] = "490154203237518", kImei2[] = "490154203237526",
               kMeid[] = "99000000000001";

// What somebody does with the library on a simulated device.
struct Sequence {
  const char* name;
  // A process of its own prepares what is there before; afterwards the device gets the setting.
  std::function<void()> prepare;
  const char* setting;
  std::vector<Step> steps;
};

const std::vector<Sequence>& Sequences();

// Which key "rsa" uses: that of "aes", unless both are used at the same time.
extern int rsa_key_id;

}  // namespace orx_faults
