// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "tools/orx/check/check_report.h"
#include "tools/orx/check/run_check.h"
#include "tools/orx/cli/args.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/cli/output.h"
#include "tools/orx/cli/progress.h"
#include "tools/orx/cli/signals.h"
#include "tools/orx/evidence/evidence.h"

namespace orx_tool {

// CheckRunner runs checks one after the other, shows each as it ends and reports in the end, also
// when the user ends the run before.
class CheckRunner {
 public:
  enum class Layout { kLines, kTable };

  CheckRunner(const Args& args, Output& output, Layout layout);

  // Run runs the checks and returns the exit code. Without --keep-going a failure or a time-out
  // ends the run when `stops` is set.
  int Run(const std::vector<Check>& checks, bool stops);

 private:
  CheckResult Execute(const Check& check);
  CheckResult ExecuteOnce(const Check& check, const std::string& run);
  void Add(const CheckResult& result);
  void ShowReasons(const CheckResult& result, bool with_name) const;
  void ShowNotes(const std::vector<CheckResult>& results) const;
  void Report();
  // The files that were asked for, opened before the first check and written after the last.
  bool OpenFiles(std::optional<Problem>* problem);
  bool WriteFiles(int exit_code, std::optional<Problem>* problem);

  const Args& args_;
  Output& output_;
  const Layout layout_;
  CheckSettings settings_;
  const int repeat_;  // runs of each check; 0: one, which is not counted
  CheckReport report_;
  std::unique_ptr<FileOutput> junit_;
  std::unique_ptr<FileOutput> html_;
  std::unique_ptr<Evidence> evidence_;
  std::optional<CheckResult> modem_wait_;
  const SignalHold signals_;
};

}  // namespace orx_tool
