// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check.h"

#include <android/binder_manager.h>

#include <algorithm>
#include <chrono>

#include "tools/orx/check/attest_key.h"
#include "tools/orx/check/certificate.h"
#include "tools/orx/cli/args.h"
#include "tools/orx/cli/json_lines.h"
#include "tools/orx/cli/supervisor.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

constexpr size_t kEvidenceLines = 12;

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Verdict VerdictOf(int exit_code) {
  if (exit_code == kDone) return Verdict::kPass;
  if (exit_code == kNotApplicable) return Verdict::kNotApplicable;
  if (exit_code == kEnvironment) return Verdict::kEnvironment;
  return Verdict::kFail;
}

bool IsDeclared(const char* interface, const std::string& instance) {
  const std::string name =
      std::string(interface) + (instance == "strongbox" ? "/strongbox" : "/default");
  return AServiceManager_isDeclared(name.c_str());
}

// WhatIsAbsent tells a service that the device does not have by its manifest from one that should
// be there: the code of the former, or an empty string.
std::string WhatIsAbsent(const Check& check, const std::string& code) {
  constexpr const char* kKeyMint = "android.hardware.security.keymint.IKeyMintDevice";
  constexpr const char* kRkp = "android.hardware.security.keymint.IRemotelyProvisionedComponent";
  const bool strongbox_asked = code == "ESE-STRONGBOX-MISSING" ||
                               (check.instance == "strongbox" && code == "KM-SERVICE-MISSING");
  if (strongbox_asked && !IsDeclared(kKeyMint, "strongbox")) return "STRONGBOX-ABSENT";
  if (code != "RKP-SERVICE-MISSING" || IsDeclared(kRkp, check.instance)) return "";
  if (check.instance == "strongbox" && !IsDeclared(kKeyMint, "strongbox")) {
    return "STRONGBOX-ABSENT";
  }
  return "RKP-ABSENT";
}

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

CheckResult NewResult(const Check& check) {
  CheckResult result;
  result.name = check.name;
  result.instance = check.instance;
  return result;
}

// IdentifierAsked names the identifier that the library was about to attest when it failed.
std::string IdentifierAsked(const std::vector<LogLine>& lines) {
  const std::string begin = "auth tag-KeyParameter{tag: ";
  std::string name;
  for (const LogLine& line : lines) {
    const size_t at = line.message.find(begin);
    if (at == std::string::npos) continue;
    const size_t tag = at + begin.size();
    name = line.message.substr(tag, line.message.find(',', tag) - tag);
  }
  return name;
}

Problem DiagnoseCheck(const Check& check) {
  const std::vector<LogLine> lines = LibraryLogLines();
  Problem problem = Diagnose(lines);
  if (problem.code == "ATTEST-DEVICE-ID") {
    problem.cause = "KeyMint did not attest the identifier " + IdentifierAsked(lines) + ".";
  }
  const std::string absent = WhatIsAbsent(check, problem.code);
  if (absent.empty()) return problem;
  const std::string line = problem.library_line;
  problem = KnownProblem(absent);
  problem.library_line = line;
  return problem;
}

void Judge(const Check& check, int status, CheckResult* result) {
  if (status == 0) {
    result->verdict = Verdict::kPass;
    result->exit_code = kDone;
    return;
  }
  SetProblem(DiagnoseCheck(check), result);
}

// What the child tells its parent first; with advice on a chain a second line follows.
Json::Value Pack(const CheckResult& result) {
  Json::Value json(Json::objectValue);
  json["exit_code"] = result.exit_code;
  json["code"] = result.code;
  json["cause"] = result.cause;
  json["message"] = result.message;
  json["evidence"] = Texts(result.evidence);
  json["advice"] = Texts(result.advice);
  json["seconds"] = result.seconds;
  json["remote_keys"] = result.remote_keys;
  return json;
}

void Unpack(const Json::Value& json, CheckResult* result) {
  result->exit_code = json["exit_code"].asInt();
  result->verdict = VerdictOf(result->exit_code);
  result->code = json["code"].asString();
  result->cause = json["cause"].asString();
  result->message = json["message"].asString();
  result->evidence = FromTexts(json["evidence"]);
  result->advice = FromTexts(json["advice"]);
  result->seconds = json["seconds"].asDouble();
  result->remote_keys = json["remote_keys"].asBool();
}

std::vector<std::string> Evidence(bool show_ids) {
  const std::vector<LogLine> lines = LibraryLogLines();
  std::vector<std::string> evidence;
  for (size_t i = lines.size() - std::min(lines.size(), kEvidenceLines); i < lines.size(); ++i) {
    const std::string& message = lines[i].message;
    evidence.push_back(lines[i].place + ": " + (show_ids ? message : MaskIdentifiers(message)));
  }
  return evidence;
}

bool AttestsIdentifier(const LogLine& line) {
  return line.message.find("alidate key with auth tag-") != std::string::npos;
}

// JudgeCoverage keeps a pass from claiming identifiers that the library did not have attested.
void JudgeCoverage(const Check& check, CheckResult* result) {
  const std::vector<LogLine> lines = LibraryLogLines();
  const auto attested = std::count_if(lines.begin(), lines.end(), AttestsIdentifier);
  if (result->verdict != Verdict::kPass || attested >= check.identifiers) return;
  const Problem problem = KnownProblem("ATTEST-ID-NOT-COVERED");
  if (attested == 0) return SetProblem(problem, result);
  result->advice.push_back(std::to_string(attested) + " of " + std::to_string(check.identifiers) +
                           " identifiers attested. " + problem.cause);
}

int RunInThisProcess(const Check& check, const CheckSettings& settings, int fd) {
  CheckResult result = NewResult(check);
  ClearLibraryLog();
  const auto start = Clock::now();
  CheckNotes notes;
  const int status = check.run(&notes);
  result.seconds = SecondsSince(start);
  result.advice = notes.advice;
  result.remote_keys = notes.remote_keys;
  Judge(check, status, &result);
  JudgeCoverage(check, &result);
  if (!settings.show_ids) result.message = MaskIdentifiers(result.message);
  result.evidence = Evidence(settings.show_ids);
  if (!SendLine(fd, Pack(result))) return kFailed;
  // The verdict is out; what follows may only add to it.
  if (!check.looks_at_chain || result.exit_code == kEnvironment ||
      result.exit_code == kNotApplicable) {
    return kDone;
  }
  CertificateChain chain;
  GenerateAttestKey(check.instance == "strongbox", &chain);
  return SendLine(fd, Texts(ChainAdvice(chain))) ? kDone : kFailed;
}

Problem ChildProblem(const ChildResult& child, double timeout_seconds) {
  if (child.end == ChildResult::End::kTimedOut) {
    Problem problem =
        MakeProblem("TIMED-OUT", "no answer within " + SecondsText(timeout_seconds) + " seconds");
    problem.library_line = LastSharedLogLine();
    return problem;
  }
  if (child.end == ChildResult::End::kInterrupted) return MakeProblem("INTERRUPTED", "interrupted");
  Problem problem = MakeProblem("LIBRARY-CRASHED",
                                "the self-test ended by signal " + std::to_string(child.status));
  problem.library_line = LastSharedLogLine();
  return problem;
}

}  // namespace

const char* VerdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPass:
      return "PASS";
    case Verdict::kNotApplicable:
      return "N/A";
    case Verdict::kEnvironment:
      return "ENV";
    case Verdict::kFail:
      break;
  }
  return "FAIL";
}

CheckResult RunCheck(const Check& check, const CheckSettings& settings, bool* interrupted) {
  const auto start = Clock::now();
  ShareLastLogLine();
  ChildWatch watch;
  watch.seconds = settings.timeout_seconds;
  const ChildResult child =
      RunInChild([&](int fd) { return RunInThisProcess(check, settings, fd); }, watch);
  *interrupted = child.end == ChildResult::End::kInterrupted;
  CheckResult result = NewResult(check);
  const std::vector<Json::Value> lines = ParseLines(child.payload);
  if (lines.empty()) {
    SetProblem(ChildProblem(child, settings.timeout_seconds), &result);
    if (!settings.show_ids) result.message = MaskIdentifiers(result.message);
    result.seconds = SecondsSince(start);
    return result;
  }
  Unpack(lines[0], &result);
  if (lines.size() < 2) return result;
  for (const std::string& advice : FromTexts(lines[1])) result.advice.push_back(advice);
  return result;
}

CheckResult MakeResult(const Check& check, const std::string& code, const std::string& cause) {
  CheckResult result = NewResult(check);
  SetProblem(MakeProblem(code, cause), &result);
  return result;
}

int CheckExitCode(const std::vector<CheckResult>& results) {
  if (results.size() == 1) return results[0].exit_code;
  const auto any = [&](Verdict verdict) {
    return std::any_of(results.begin(), results.end(),
                       [&](const CheckResult& result) { return result.verdict == verdict; });
  };
  if (any(Verdict::kFail)) return kFailed;
  if (any(Verdict::kEnvironment)) return kEnvironment;
  return any(Verdict::kPass) || results.empty() ? kDone : kNotApplicable;
}

}  // namespace orx_tool
