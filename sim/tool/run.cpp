// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/run.h"

#include <android-base/file.h>
#include <android-base/strings.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>

#include "sim/base/files.h"
#include "sim/base/module_path.h"
#include "sim/device.h"
#include "sim/tool/launch.h"
#include "sim/tool/run_folder.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;

constexpr char kPersist[] = "/mnt/vendor/persist/security";
constexpr char kSockets[] = "/dev/socket";

bool AddFaults(const std::vector<std::string>& specs, const std::string& shown_file,
               FaultTable* faults, std::string* error) {
  for (const std::string& spec : specs) {
    if (!faults->Add(spec, error)) return false;
  }
  faults->RecordShown(shown_file);
  return true;
}

void SetEnvironment(const RunOptions& options, const DeviceFolder& folder, const RunFolder& run) {
  setenv("ANDROID_HOST_DEVICE", ModulePath().c_str(), 1);
  setenv("ORX_SIM_DEVICE", folder.path().c_str(), 1);
  setenv("ORX_SIM_FAULTS", android::base::Join(options.faults, "\n").c_str(), 1);
  setenv("ORX_SIM_REPLAY", options.replay.c_str(), 1);
  setenv("ORX_SIM_SHOWN_FAULTS", (run / "shown-faults").c_str(), 1);
  if (options.log == ShowLog::kNever) return;
  const bool always = options.log == ShowLog::kAlways;
  setenv("ANDROID_HOST_LOG", always ? "-" : (run / "log").c_str(), 1);
}

std::vector<Placement> Placements(const DeviceFolder& folder, const RunFolder& run,
                                  PersistState persist) {
  const std::string source =
      persist == PersistState::kMissing ? run / "no-such-folder" : folder.File("persist");
  return {{source, kPersist, persist == PersistState::kReadOnly}, {run / "socket", kSockets}};
}

void ShowLogOf(const RunFolder& run) {
  std::string log;
  if (android::base::ReadFileToString(run / "log", &log)) fputs(log.c_str(), stderr);
}

// A fault that nothing met is a test that tested nothing.
void ReportFaultsNotShown(const RunOptions& options, const RunFolder& run) {
  std::string text;
  android::base::ReadFileToString(run / "shown-faults", &text);
  const std::vector<std::string> shown = android::base::Split(text, "\n");
  for (const std::string& fault : options.faults) {
    if (std::count(shown.begin(), shown.end(), fault) != 0) continue;
    fprintf(stderr, "orx-sim: the fault \"%s\" never showed: no call met it\n", fault.c_str());
  }
}

// Replayed adds what the replay holds to the options, and tells what it does not hold.
bool Replayed(RunOptions* options, Replay* replay, std::string* error) {
  if (options->replay.empty()) return true;
  options->replay = fs::absolute(options->replay).lexically_normal();
  if (!LoadReplay(options->replay, replay, error)) return false;
  options->faults.insert(options->faults.end(), replay->faults.begin(), replay->faults.end());
  for (const std::string& what : replay->left_out) {
    fprintf(stderr, "orx-sim: not in the evidence: %s\n", what.c_str());
  }
  return true;
}

}  // namespace

std::shared_ptr<DeviceFolder> OpenFolder(const std::string& path, std::string* error) {
  std::error_code reason;
  const fs::path real = fs::canonical(path, reason);
  return DeviceFolder::Open(reason ? fs::absolute(path, reason).lexically_normal() : real, error);
}

int Run(const RunOptions& given) {
  HoldSignals();
  RunOptions options = given;
  std::string error;
  FaultTable faults;
  RunFolder run;
  Replay replay;
  if (!Replayed(&options, &replay, &error) || !run.Make(&error) ||
      !AddFaults(options.faults, run / "shown-faults", &faults, &error)) {
    return FailToRun(error);
  }
  const std::shared_ptr<DeviceFolder> folder =
      options.device.empty()
          ? DeviceFolder::Create(run / "device", options.profile, &error, Lifetime::kThrownAway)
          : OpenFolder(options.device, &error);
  if (folder == nullptr) return FailToRun(error);
  ModemDaemon modem;
  if (!StartModem(*folder, replay, &faults, run / "socket/rild-oem", &modem, &error)) {
    return FailToRun(error);
  }
  SetEnvironment(options, *folder, run);
  const auto announce = [&](const Sandbox& sandbox, const std::string& why_not_better) {
    if (options.quiet) return;
    fprintf(stderr, "orx-sim: simulated device, profile %s, %s%s\n", folder->Get("profile").c_str(),
            options.device.empty() ? "thrown away afterwards" : folder->path().c_str(),
            why_not_better.empty()
                ? ""
                : ("; in " + std::string(sandbox.program) + " (" + why_not_better + ")").c_str());
  };
  const std::string persist = folder->File("persist");
  const int exit_code = RunInSandbox({options.command,
                                      Placements(*folder, run, faults.persist()),
                                      &faults,
                                      {kPersist, persist},
                                      announce});
  if (exit_code != 0) ShowLogOf(run);
  if (exit_code != kExitRunFailed) ReportFaultsNotShown(options, run);
  return exit_code;
}

}  // namespace orx_sim
