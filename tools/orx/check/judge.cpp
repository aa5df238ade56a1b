// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/judge.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <stdio.h>

#include <algorithm>

#include "tools/orx/chain/certificate.h"
#include "tools/orx/check/identifiers.h"
#include "tools/orx/diagnosis/modem_answer.h"

namespace orx_tool {
namespace {

using aidl::android::hardware::security::keymint::ErrorCode;

constexpr int kUnimplemented = static_cast<int>(ErrorCode::UNIMPLEMENTED);

// Reasons that only name the call that failed; the same call, repeated, tells why.
constexpr const char* kOfOneCall[] = {
    "KM-UNKNOWN-ERROR", "RKP-KEYPAIR",       "ESE-VERSION-UNKNOWN",
    "ESE-CHALLENGE",    "ESE-ROOT-OF-TRUST", "ESE-NOT-BOUND",
    "SS-PARAMETERS",    "SS-COMPUTE",        "ATTEST-DEVICE-ID"};

Verdict VerdictOf(int exit_code) {
  switch (exit_code) {
    case kDone:
      return Verdict::kPass;
    case kNotApplicable:
      return Verdict::kNotApplicable;
    case kEnvironment:
      return Verdict::kEnvironment;
    case kTimedOut:
      return Verdict::kTimedOut;
    default:
      return Verdict::kFail;
  }
}

// Replaced is the reason `code` with the library's line of `problem`.
Problem Replaced(const Problem& problem, const std::string& code) {
  Problem replaced = KnownProblem(code);
  replaced.library_line = problem.library_line;
  return replaced;
}

// WhatIsAbsent tells a service that the device does not have by its manifest from one that should
// be there: the code of the former, or an empty string.
std::string WhatIsAbsent(const Check& check, const Problem& problem, const SecondLook& look) {
  const std::string& code = problem.code;
  const bool missing = code == "KM-SERVICE-MISSING" || code == "RKP-SERVICE-MISSING" ||
                       code == "SS-SERVICE-MISSING" || code == "ESE-STRONGBOX-MISSING";
  const bool of_strongbox =
      check.on_strongbox() || problem.library_line.find("Strongbox") != std::string::npos;
  if (missing && of_strongbox && !look.strongbox_declared) return "STRONGBOX-ABSENT";
  return code == "RKP-SERVICE-MISSING" && !look.rkp_declared ? "RKP-ABSENT" : "";
}

// NoKeyAtAll is the code of a KeyMint that makes no key, with identifiers or without: the error's
// own, unless that speaks of a key in use.
std::string NoKeyAtAll(const Check& check, const Reason* error) {
  if (error != nullptr && std::string(error->code) == "KM-KEYS-NOT-PROVISIONED" &&
      check.kind == Check::Kind::kRkpIds) {
    return "RKP-KEY-REFUSED";
  }
  const bool tells = error != nullptr && std::string(error->owner) != "operator";
  return tells ? error->code : "ATTEST-GENERATE";
}

// WithCall adds what the failed call answered when it was made again.
Problem WithCall(const Check& check, const Problem& problem, const RepeatedCall& call) {
  Problem answered = problem;
  std::string what = call.name + " answered " + KeyMintErrorName(call.error);
  const KeyMintError* error = FindKeyMintError(std::to_string(call.error));
  const Reason* reason = error != nullptr ? FindReason(error->reason) : nullptr;
  if (!call.answered) {
    answered = Replaced(problem, "KM-TRANSPORT");
    what = call.name;
  } else if (problem.code == "ESE-CHALLENGE" && call.error == kUnimplemented) {
    answered = Replaced(problem, "ESE-OTHER-WAY");
  } else if (reason != nullptr && reason->exit_code == kEnvironment) {
    answered = Replaced(problem, reason->code);
  } else if (problem.code == "ATTEST-DEVICE-ID") {
    answered = Replaced(problem, NoKeyAtAll(check, reason));
  }
  if (answered.code == "KM-UNKNOWN-ERROR") {
    answered.cause = "KeyMint failed without a reason of its own.";
  }
  AddToCause(" (" + what + ")", &answered);
  return answered;
}

Problem WithIdentifiers(Problem problem, const Seen& seen) {
  std::string names;
  AttestedIdentifiers(seen.lines, &names);
  if (seen.look.wrong_identifiers != 0) {
    names = JoinedNames(IdentifiersIn(seen.look.wrong_identifiers));
  }
  problem.cause = "KeyMint did not attest the device's " + names + ".";
  return problem;
}

// OneCallFailed tells whether the library's line says no more than that a call failed. "Invalid
// seed" and the like speak of what it answered.
bool OneCallFailed(const std::string& code, const std::string& line) {
  return line.rfind("Invalid", 0) != 0 &&
         std::find(std::begin(kOfOneCall), std::end(kOfOneCall), code) != std::end(kOfOneCall);
}

// CameAndWent tells whether what failed in the check passed when it was done again.
bool CameAndWent(const CheckResult& result, const SecondLook& look) {
  if (!look.call.passed()) return false;  // also where the time was up before a second look
  if (result.code == "ATTEST-DEVICE-ID") return look.wrong_identifiers == 0;
  return OneCallFailed(result.code, result.message);
}

// Refine puts what the second look found into the library's own account of a failure.
Problem Refine(const Check& check, const Seen& seen, const Problem& problem) {
  const SecondLook& look = seen.look;
  const std::string absent = WhatIsAbsent(check, problem, look);
  if (!absent.empty()) return Replaced(problem, absent);
  if (problem.code == "KM-KEYS-NOT-PROVISIONED" && look.remote_keys) {
    return Replaced(problem, "ATTEST-REMOTE");
  }
  Problem refined = OneCallFailed(problem.code, problem.library_line) && look.call.failed()
                        ? WithCall(check, problem, look.call)
                        : problem;
  if (problem.code == "SS-DIFFERENT" && !look.wrong_length.empty()) {
    refined = Replaced(problem, "SS-LENGTH");
    AddToCause(" (" + look.wrong_length + ")", &refined);
  }
  if (refined.code == "ATTEST-DEVICE-ID") refined = WithIdentifiers(refined, seen);
  if (refined.code == "KM-SERVICE-MISSING" && check.instance != "both") {
    AddToCause(" (" + check.instance + ")", &refined);
  }
  const bool for_other_devices = check.spares_factory_keys && look.factory_keys &&
                                 *seen.status != 0 && refined.exit_code == kFailed;
  return for_other_devices ? Replaced(problem, "RKP-LEFT-OUT") : refined;
}

// NegativeTestError is the KeyMint error that ended the last key generation of the check of
// remotely provisioned keys. The library passes with any; 0 when it logged none.
int NegativeTestError(const std::vector<LogLine>& lines) {
  int error = 0;
  for (const LogLine& line : lines) {
    sscanf(line.message.c_str(), "Negative Test: return error = %d", &error);
  }
  return error;
}

// JudgeCoverage keeps a pass from claiming identifiers that the library did not have attested.
void JudgeCoverage(const Check& check, const Seen& seen, CheckResult* result) {
  std::string last;
  const uint32_t missing = check.id_mask & ~AttestedIdentifiers(seen.lines, &last);
  if (missing == 0) return;
  if (missing == check.id_mask) return SetProblem(KnownProblem("ATTEST-ID-NOT-COVERED"), result);
  result->advice.push_back("not attested, as no self-test does: " +
                           JoinedNames(IdentifiersIn(missing)));
}

// AdviseOnModem says what is odd about an answer that is no IMEI.
void AdviseOnModem(const Seen& seen, CheckResult* result) {
  constexpr size_t kImeiDigits = 15;
  const auto answer = ModemAnswer(seen.lines);
  if (result->code.rfind("IMEI-", 0) != 0 || !answer) return;
  const std::string odd = ExplainModemAnswer(*answer, kImeiDigits);
  if (!odd.empty()) result->advice.insert(result->advice.begin(), odd);
}

// Advise adds what the second look tells beside the cause.
void Advise(const Check& check, const Seen& seen, CheckResult* result) {
  const bool passed = result->verdict == Verdict::kPass;
  if (result->verdict == Verdict::kFail && CameAndWent(*result, seen.look)) {
    result->cause += " It passed when it was done again.";
    result->advice = {"Look for a crash of the HAL in logcat, and run the check again."};
  }
  if (passed && seen.look.remote_strongbox && check.needs_factory_keys() && !check.relaxed) {
    result->advice.push_back("checked relaxed: it signs its attestation key itself");
  }
  if (passed && !seen.look.wrong_length.empty()) result->advice.push_back(seen.look.wrong_length);
  AdviseOnModem(seen, result);
  const bool of_chain = result->code.rfind("ATTEST-CHAIN", 0) == 0 ||
                        result->code == "ATTEST-ROOT" || result->code == "ATTEST-LEAF-SUBJECT";
  if (!passed && !of_chain) return;
  const auto& advice = seen.look.chain_advice;
  result->advice.insert(result->advice.end(), advice.begin(), advice.end());
}

// DiagnoseRefusals gives the reason of the first thing that KeyMint did not do.
Problem DiagnoseRefusals(const Seen& seen) {
  const auto first = std::find_if(seen.refusals.begin(), seen.refusals.end(),
                                  [](const Refusal& refusal) { return !refusal.optional; });
  if (first == seen.refusals.end()) return Diagnose(seen.lines);
  if (first->error == 0) return KnownProblem("KM-WRONG-RESULT");
  Problem problem = DiagnoseKeyMint(seen.lines, first->error, "KM-UNFIT");
  // The library's KeyMint client names each step, and the last is not the one that failed.
  const auto match = MatchMessage(problem.library_line);
  if (match && match->message->kind == MessageKind::kInformation) problem.library_line.clear();
  return problem;
}

// NameRefusals adds what it was that KeyMint did not do; a KeyMint that is not there did nothing.
void NameRefusals(const Seen& seen, CheckResult* result) {
  std::string failed;
  std::string left_out;
  for (const Refusal& refusal : seen.refusals) {
    std::string& names = refusal.optional ? left_out : failed;
    names += (names.empty() ? "" : "; ") + refusal.what;
    if (refusal.optional) continue;
    names += refusal.error == 0 ? " (wrong result)" : " (" + KeyMintErrorName(refusal.error) + ")";
  }
  if (!failed.empty() && result->verdict == Verdict::kFail)
    result->cause += " Failed: " + failed + ".";
  if (!left_out.empty() && failed.empty()) {
    result->advice.push_back("lacks, as it may: " + left_out);
  }
}

void JudgeReturned(const Check& check, const Seen& seen, CheckResult* result) {
  const int negative =
      check.kind == Check::Kind::kRkpIds ? NegativeTestError(seen.lines) : kNotProvisioned;
  if (*seen.status != 0) {
    SetProblem(Refine(check, seen, DiagnoseRefusals(seen)), result);
  } else if (negative != kNotProvisioned) {
    SetProblem(Refine(check, seen, DiagnoseKeyMint(seen.lines, negative)), result);
  } else {
    result->verdict = Verdict::kPass;
    result->exit_code = kDone;
    JudgeCoverage(check, seen, result);
  }
  Advise(check, seen, result);
  NameRefusals(seen, result);
}

Problem JudgeCrash(const Seen& seen) {
  const bool crashed = seen.end == ChildResult::End::kCrashed;
  Problem problem = KnownProblem("LIBRARY-CRASHED");
  problem.cause = std::string("The self-test ended ") +
                  (crashed ? "by signal " : "with exit code ") + std::to_string(seen.signal) +
                  " before the library returned.";
  if (!seen.lines.empty()) problem.library_line = seen.lines.back().message;
  return problem;
}

void JudgeUnfinished(const Seen& seen, CheckResult* result) {
  switch (seen.end) {
    case ChildResult::End::kTimedOut:
      return SetProblem(DiagnoseTimeOut(seen.lines, seen.timeout_seconds), result);
    case ChildResult::End::kInterrupted:
      SetProblem(KnownProblem("INTERRUPTED"), result);
      result->verdict = Verdict::kInterrupted;
      result->exit_code = 128 + seen.signal;
      return;
    case ChildResult::End::kExited:
    case ChildResult::End::kCrashed:
      return SetProblem(JudgeCrash(seen), result);
  }
}

}  // namespace

void SetProblem(const Problem& problem, CheckResult* result) {
  result->verdict = VerdictOf(problem.exit_code);
  result->exit_code = problem.exit_code;
  result->code = problem.code;
  result->cause = problem.cause;
  result->message = problem.library_line;
  if (!problem.advice.empty()) {
    result->advice.push_back(problem.advice + " (" + problem.owner + ")");
  }
}

CheckResult Judge(const Check& check, const Seen& seen) {
  CheckResult result;
  result.name = check.name;
  result.instance = check.instance;
  result.seconds = seen.seconds;
  if (seen.status) {
    JudgeReturned(check, seen, &result);
  } else {
    JudgeUnfinished(seen, &result);
  }
  return result;
}

CheckResult JudgeChain(const CertificateChain& chain, const std::vector<size_t>& sizes,
                       bool strict) {
  CheckResult result;
  result.name = "chain";
  const auto fault = FirstChainFault(chain, sizes, strict);
  if (fault) {
    SetProblem(KnownProblem(fault->code), &result);
    result.cause.pop_back();  // the full stop
    result.cause += " (" + fault->text + ").";
  } else {
    result.verdict = Verdict::kPass;
    result.exit_code = kDone;
  }
  const std::vector<std::string> advice = ChainAdvice(chain);
  result.advice.insert(result.advice.end(), advice.begin(), advice.end());
  return result;
}

bool WaitedForModem(const CheckResult& result) {
  return result.code == "MODEM-UNREACHABLE" || result.code == "MODEM-SILENT";
}

CheckResult NotWaitedAgain(const Check& check, const CheckResult& first) {
  CheckResult result = first;
  result.name = check.name;
  result.instance = check.instance;
  result.seconds = 0;
  result.evidence.clear();
  result.seen = nullptr;
  result.cause += " " + first.full_name() + " waited for it; this check did not wait again.";
  return result;
}

}  // namespace orx_tool
