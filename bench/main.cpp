// SPDX-License-Identifier: Apache-2.0
// The benchmarks; docs/performance.md has what they showed. Run them through ./dev bench.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "bench/bench.h"
#include "sim/device.h"

namespace orx_bench {
namespace {

void Measure(benchmark::State& state, const Body& body) {
  Must(body(), "a line");  // what is made once is neither counted nor timed
  if (CountMemory != nullptr) {
    const MemoryUse use = CountMemory([&] { body(); });
    state.counters["allocations"] = static_cast<double>(use.allocations);
    state.counters["copied"] = static_cast<double>(use.copied_bytes);
  }
  for (auto _ : state) body();
}

void AddPrograms() {
  const std::string build = ORX_BUILD_FOLDER;
  const std::string work = "/mnt/programs/";  // memory, as the launcher makes it
  std::filesystem::create_directories(work);
  std::string error;
  Must(orx_sim::Device::Create(work + "device", "dual-sim", &error) != nullptr, error);

  const auto load = [=] { return Run("env LD_PRELOAD=" + build + "/lib/liborx.so true"); };
  Compare("program/load", 1, load, [] { return Run("env true"); });
  const auto run = [=] { return Run(build + "/bin/orx-sim run -q -- true"); };
  Compare("program/orx-sim-run", 1, run, [] { return Run("bwrap --dev-bind / / true"); });

  // The library's own paths are writable here, so that the tool needs no sandbox.
  const std::string tool = "env ANDROID_HOST_DEVICE=" + build + "/lib/orx-sim/liborx_sim.so " +
                           "ORX_SIM_DEVICE=" + work + "device " + build + "/bin/orx ";
  const std::string key = "30313233343536373839616263646566";
  Must(Run(tool + "key import 52 --hex " + key), tool);
  for (const size_t size : {1000000, 100000000}) {
    const std::string file = work + std::to_string(size);
    std::ofstream(file) << std::string(size, 'x');
    const std::string files = " -in " + file + " -out " + work + "raw";
    const auto ours = [=] { return Run(tool + "encrypt 52 -i " + file + " -o " + work + "ours"); };
    const auto raw = [=] { return Run("openssl enc -aes-128-cbc -iv 0 -K " + key + files); };
    Compare("program/encrypt", size, ours, raw);
  }
}

}  // namespace

void Compare(const std::string& name, size_t size, Body ours, Body raw) {
  const std::string line = name + "/" + std::to_string(size);
  for (const auto& [side, body] : {std::pair("/ours", ours), {"/raw", raw}}) {
    const auto run = [body = body](benchmark::State& state) { Measure(state, body); };
    auto* added = benchmark::RegisterBenchmark((line + side).c_str(), run)->UseRealTime();
    // Of a program each run counts by itself: the fastest is the least disturbed.
    if (name.rfind("program/", 0) != 0) continue;
    added->Iterations(1)->Repetitions(CountMemory == nullptr ? 25 : 1);
  }
}

bool Run(const std::string& command) {
  return system(("exec " + command + " >/dev/null 2>&1").c_str()) == 0;  // NOLINT(cert-env33-c)
}

void Must(bool ok, const std::string& what) {
  if (ok) return;
  fprintf(stderr, "orx_bench: failed: %s\n", what.c_str());
  exit(1);
}

}  // namespace orx_bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  orx_bench::AddToken();  // first: it keeps the simulated device, which AddLibrary() replaces
  orx_bench::AddLibrary();
  orx_bench::AddPrograms();
  return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
