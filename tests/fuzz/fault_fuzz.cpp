// SPDX-License-Identifier: Apache-2.0
// The texts of faults, and the calls that they are to hit.
#include "sim/channel/faults.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orx_fuzz::Input in(data, size);
  orx_sim::FaultTable faults;
  while (!in.AtEnd()) {
    std::string error;
    if (!faults.Add(in.Text(), &error)) ORX_FUZZ_CHECK(!error.empty());
  }
  for (const orx_sim::ServiceRow& service : orx_sim::ServiceRows()) {
    faults.IsAbsent("strongbox", service.name);
    for (const std::string& method : service.methods) {
      const auto effect = faults.OnCall("default", service.name, method);
      if (effect && effect->status) ORX_FUZZ_CHECK(!effect->status().isOk());
    }
  }
  for (const std::string& call : orx_sim::FileCalls()) {
    ORX_FUZZ_CHECK(faults.OnFileCall(call, true) == 0 || faults.HasFileFaults());
  }
  faults.OnModemRequest();
  return 0;
}
