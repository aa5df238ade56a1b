// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// Check is one self-test of the library with its arguments.
struct Check {
  enum class Kind { kAttestation, kModel, kRkpIds, kRootOfTrust, kSharedSecret };

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

  std::string full_name() const { return name + "/" + instance; }
};

// CheckExitCode is the exit code for several checks. A run that was interrupted says so; else the
// worst counts: FAIL, then TIMEOUT, then ENV. Checks that do not apply count only when all do not.
int CheckExitCode(const std::vector<CheckResult>& results);

}  // namespace orx_tool
