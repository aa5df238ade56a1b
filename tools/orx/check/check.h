// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/orx/cli/output.h"

namespace orx_tool {

enum class Verdict { kPass, kFail, kNotApplicable, kEnvironment };

// VerdictName is "PASS", "FAIL", "N/A" or "ENV".
const char* VerdictName(Verdict verdict);

// CheckNotes is what a check tells beside its result.
struct CheckNotes {
  std::vector<std::string> advice;
  bool remote_keys = false;  // the instance's attestation keys are provisioned remotely
};

// Check is one self-test of the library with its arguments.
struct Check {
  std::string name;      // "attestation"
  std::string instance;  // "tee", "strongbox" or "both"
  // Calls the library; 0 is a pass. What it notes never changes the verdict.
  std::function<int(CheckNotes* notes)> run;
  bool looks_at_chain = false;  // a look at an attestation chain can tell more
  int identifiers = 0;          // how many identifiers it asks the device to attest
};

// CheckResult is what a check came to.
struct CheckResult {
  std::string name;
  std::string instance;
  Verdict verdict = Verdict::kFail;
  int exit_code = kFailed;
  std::string code = "OK";  // reason code, "OK" for a pass
  std::string cause;
  std::string message;                // the library's own line
  std::vector<std::string> evidence;  // the library's last lines
  std::vector<std::string> advice;
  double seconds = 0;
  bool remote_keys = false;  // as the check noted
};

struct CheckSettings {
  double timeout_seconds = 0;
  bool show_ids = false;  // else identifiers are masked in everything that is reported
};

// RunCheck runs the check in a process of its own: the library's state starts anew, and a call that
// blocks or aborts costs that one check only. `*interrupted` is set when the user ended it.
CheckResult RunCheck(const Check& check, const CheckSettings& settings, bool* interrupted);

// MakeResult gives a check that was not run its verdict.
CheckResult MakeResult(const Check& check, const std::string& code, const std::string& cause);

// CheckExitCode is the exit code for several checks: 0 only if nothing failed.
int CheckExitCode(const std::vector<CheckResult>& results);

}  // namespace orx_tool
