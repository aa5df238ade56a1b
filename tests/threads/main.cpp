// SPDX-License-Identifier: Apache-2.0
// Uses the library on one thread a family at the same time, as <orx/orx.h> allows, and expects of
// each call what it gives alone. Under the thread sanitizer (./dev tsan) it shows as well that the
// families share no state. Runs in the tests' sandbox.
//
// usage: orx_threads [ROUNDS]
#include <android_host/host.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "sim/device.h"
#include "tests/faults/sequences.h"

namespace {

// The sequences of tests/faults that callers serialise share a thread.
const std::vector<std::vector<std::string>> kThreads = {
    {"aes"},   {"rsa"},           {"hash", "kdf"},  {"store"}, {"ids", "attestation", "rkp-ids"},
    {"model"}, {"root-of-trust"}, {"shared-secret"}};

struct Count {
  int calls = 0, wrong = 0;
};

// Each thread has a count of its own: whatever they shared would put their calls into an order.
void RunAll(const std::vector<std::string>& names, Count* count) {
  for (const orx_faults::Sequence& sequence : orx_faults::Sequences()) {
    if (std::find(names.begin(), names.end(), sequence.name) == names.end()) continue;
    for (const orx_faults::Step& step : sequence.steps) {
      ++count->calls;
      const uint32_t status = step.run();
      if (status == 0) continue;
      ++count->wrong;
      fprintf(stderr, "%s, %s: %u\n", sequence.name, step.name, status);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? atoi(argv[1]) : 3;
  orx_faults::rsa_key_id = 51;
  android_host::DisableDeviceModule();
  std::string error;
  orx_sim::Device::Create("/mnt/device", "dual-sim", &error)->Attach();
  const auto modem = orx_faults::StartModem();
  orx_faults::Sequences();
  std::vector<Count> counts(kThreads.size());
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads.size(); ++i) {
    threads.emplace_back([i, rounds, &counts] {
      for (int round = 0; round < rounds; ++round) RunAll(kThreads[i], &counts[i]);
    });
  }
  for (std::thread& thread : threads) thread.join();
  Count all;
  for (const Count& count : counts) all = {all.calls + count.calls, all.wrong + count.wrong};
  printf("%zu families at the same time, %d times: %d calls, %d wrong\n", kThreads.size(), rounds,
         all.calls, all.wrong);
  return all.calls > 0 && all.wrong == 0 ? 0 : 1;
}
