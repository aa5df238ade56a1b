// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// A certificate chain: the DER bytes of each certificate, the leaf first.
using CertificateChain = std::vector<std::vector<uint8_t>>;

// Check is one self-test of the library with its arguments, or the exercise of KeyMint.
struct Check {
  enum class Kind { kAttestation, kModel, kRkpIds, kRootOfTrust, kSharedSecret, kKeyMint };

  Kind kind = Kind::kAttestation;
  std::string name;                  // "attestation"
  std::string instance;              // "default", "strongbox" or "both"
  uint32_t id_mask = 0;              // the identifiers to attest
  bool relaxed = false;              // accepts chains to another attestation root
  std::optional<std::string> model;  // of kModel; without one the device's own
  bool looks_at_chain = false;       // a look at the attestation chain can tell more
  // Of kRkpIds: an instance with factory keys is no failure, as nobody said that it is to have
  // none.
  bool spares_factory_keys = false;

  bool on_strongbox() const { return instance == "strongbox"; }
  // Whether it passes with factory attestation keys only.
  bool needs_factory_keys() const { return kind == Kind::kAttestation || kind == Kind::kModel; }
  // Identifiers are gathered all together, those of the modem included.
  bool needs_modem() const { return id_mask != 0; }
  std::string full_name() const { return name + "/" + instance; }
};

// What a check came to. Each verdict has one exit code: 0, 1, 3, 4, 5, and for an interrupted check
// 128 plus the signal's number.
enum class Verdict { kPass, kFail, kNotApplicable, kEnvironment, kTimedOut, kInterrupted };

// VerdictName is "PASS", "FAIL", "N/A", "ENV", "TIMEOUT" or "INTERRUPTED".
const char* VerdictName(Verdict verdict);

// Runs counts the runs of a repeated check; one that was interrupted did not fail.
struct Runs {
  int done = 1;
  int failed = 0;
  int first = 0;  // the first and the last run that failed, from 1; 0: none did
  int last = 0;
  std::string last_code;  // why the last one did
};

struct Seen;

// CheckResult is a check's verdict with its reasons.
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
  std::shared_ptr<const Seen> seen;  // where evidence is kept, see judge.h
  std::optional<Runs> runs;          // of a repeated check, whose first worst run the rest is of

  std::string full_name() const { return name + "/" + instance; }
};

// AddRun takes one more run of the same check into `result`: the worst verdict counts, that of the
// first run that has it.
void AddRun(const CheckResult& run, std::optional<CheckResult>* result);

// WorstResult is the result that counts of several checks: an interrupted one, else FAIL, then
// TIMEOUT, then ENV. Checks that do not apply count only when all do not. Null when there is none.
const CheckResult* WorstResult(const std::vector<CheckResult>& results);

// CheckExitCode is that result's exit code.
int CheckExitCode(const std::vector<CheckResult>& results);

}  // namespace orx_tool
