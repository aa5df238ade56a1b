// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check.h"

#include <algorithm>
#include <iterator>

namespace orx_tool {
namespace {

constexpr Verdict kWorstFirst[] = {Verdict::kInterrupted, Verdict::kFail, Verdict::kTimedOut,
                                   Verdict::kEnvironment, Verdict::kPass, Verdict::kNotApplicable};

// Badness is the verdict's place among them.
ptrdiff_t Badness(Verdict verdict) {
  return std::find(std::begin(kWorstFirst), std::end(kWorstFirst), verdict) - kWorstFirst;
}

}  // namespace

const char* VerdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPass:
      return "PASS";
    case Verdict::kFail:
      return "FAIL";
    case Verdict::kNotApplicable:
      return "N/A";
    case Verdict::kEnvironment:
      return "ENV";
    case Verdict::kTimedOut:
      return "TIMEOUT";
    case Verdict::kInterrupted:
      break;
  }
  return "INTERRUPTED";
}

void AddRun(const CheckResult& run, std::optional<CheckResult>* result) {
  const bool failed = run.verdict == Verdict::kFail || run.verdict == Verdict::kTimedOut ||
                      run.verdict == Verdict::kEnvironment;
  const bool first = !*result;
  Runs runs = first ? Runs{0, 0, 0, 0, ""} : *(*result)->runs;
  const double seconds = run.seconds + (first ? 0 : (*result)->seconds);
  ++runs.done;
  if (failed) {
    ++runs.failed;
    if (runs.first == 0) runs.first = runs.done;
    runs.last = runs.done;
    runs.last_code = run.code;
  }
  if (first || Badness(run.verdict) < Badness((*result)->verdict)) *result = run;
  (*result)->runs = runs;
  (*result)->seconds = seconds;
}

const CheckResult* WorstResult(const std::vector<CheckResult>& results) {
  const auto worst = std::min_element(results.begin(), results.end(),
                                      [](const CheckResult& one, const CheckResult& other) {
                                        return Badness(one.verdict) < Badness(other.verdict);
                                      });
  return worst == results.end() ? nullptr : &*worst;
}

int CheckExitCode(const std::vector<CheckResult>& results) {
  const CheckResult* worst = WorstResult(results);
  return worst == nullptr ? kDone : worst->exit_code;
}

}  // namespace orx_tool
