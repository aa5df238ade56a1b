// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <vector>

#include "tools/orx/check/check_report.h"
#include "tools/orx/check/run_check.h"
#include "tools/orx/cli/args.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/cli/output.h"
#include "tools/orx/cli/progress.h"
#include "tools/orx/cli/signals.h"

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
  void Add(const CheckResult& result);
  void ShowReasons(const CheckResult& result, bool with_name) const;
  void ShowNotes(const std::vector<CheckResult>& results) const;
  void Report();
  bool WriteJunit(FileOutput* file, std::optional<Problem>* problem) const;

  const Args& args_;
  Output& output_;
  const Layout layout_;
  CheckSettings settings_;
  CheckReport report_;
  std::optional<CheckResult> modem_wait_;
  const SignalHold signals_;
};

}  // namespace orx_tool
