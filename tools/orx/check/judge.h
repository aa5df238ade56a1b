// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/orx/check/check.h"
#include "tools/orx/check/keymint_exercise.h"
#include "tools/orx/check/second_look.h"
#include "tools/orx/cli/supervisor.h"
#include "tools/orx/diagnosis/library_log.h"
#include "tools/orx/evidence/capture.h"

namespace orx_tool {

// Seen is all that is known of a check's run.
struct Seen {
  ChildResult::End end = ChildResult::End::kExited;  // of the process that made the call
  int signal = 0;                 // that ended the process or the run, or its exit code
  std::optional<int> status;      // what the library returned, if it came to that
  std::vector<LogLine> lines;     // what the library logged up to then
  std::vector<Refusal> refusals;  // of the exercise of KeyMint
  double seconds = 0;
  double timeout_seconds = 0;
  SecondLook look;
  // For the evidence.
  Capture capture;
  std::vector<ModemExchange> modem;
};

// Judge is the one way from what was seen to a verdict. The library's own result is only a part of
// that: a pass of the check of remotely provisioned keys, for one, counts only if KeyMint refused
// the key of the negative test for the right reason.
CheckResult Judge(const Check& check, const Seen& seen);

// SetProblem gives the result the problem's verdict, reason and advice.
void SetProblem(const Problem& problem, CheckResult* result);

// JudgeChain gives the verdict of an attestation self-test on a device with this chain.
CheckResult JudgeChain(const CertificateChain& chain, const std::vector<size_t>& sizes,
                       bool strict);

// WaitedForModem tells whether the result cost a wait for the modem that further checks need not
// repeat.
bool WaitedForModem(const CheckResult& result);

// NotWaitedAgain is the result of a check that needs the modem, after `first` has waited for it.
CheckResult NotWaitedAgain(const Check& check, const CheckResult& first);

}  // namespace orx_tool
