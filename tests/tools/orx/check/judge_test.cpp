// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/judge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tools/orx/check/check_plan.h"

namespace orx_tool {
namespace {

using End = ChildResult::End;

// What no device can be made to show at will.
struct SeenRow {
  End end;
  int number;                 // of the signal, or the exit code
  std::optional<int> status;  // what the library returned
  const char* line;           // its last
  const char* verdict;
  int exit_code;
  const char* code;
  const char* cause;
};

TEST(JudgeTest, TellsHowACheckEnded) {
  const SeenRow rows[] = {
      {End::kCrashed, SIGSEGV, {}, "KM: Begin", "FAIL", 1, "LIBRARY-CRASHED", "by signal 11"},
      {End::kExited, 3, {}, "KM: Begin", "FAIL", 1, "LIBRARY-CRASHED", "with exit code 3"},
      {End::kTimedOut, 0, {}, "KM: GenerateKey", "TIMEOUT", 5, "TIMED-OUT", "within 7 s."},
      {End::kInterrupted, SIGTERM, {}, "KM: Begin", "INTERRUPTED", 143, "INTERRUPTED", "signal"},
      // What was known before the end counts.
      {End::kInterrupted, SIGTERM, 0, "Negative Test: return error = -74", "PASS", 0, "OK", ""},
      {End::kTimedOut, 0, 0, "Negative Test: return error = -74", "PASS", 0, "OK", ""},
      {End::kTimedOut, 0, 1, "ATTEST: attestation fails with device ID", "FAIL", 1,
       "ATTEST-DEVICE-ID", "did not attest"},
      {End::kExited, 0, 0, "KM: GenerateKey", "FAIL", 1, "KM-FAILED", "refused"},
      {End::kExited, 0, 1, "KM: GenerateKey", "FAIL", 1, "UNEXPLAINED", "without a message"}};
  for (const SeenRow& row : rows) {
    Seen seen;
    seen.end = row.end;
    seen.signal = row.number;
    seen.status = row.status;
    seen.lines = {{"src/x.cpp:1", row.line}};
    seen.timeout_seconds = 7;
    const CheckResult result = Judge(RkpIdsCheck("default", 0), seen);
    EXPECT_STREQ(VerdictName(result.verdict), row.verdict) << row.line;
    EXPECT_EQ(result.exit_code, row.exit_code) << row.line;
    EXPECT_EQ(result.code, row.code);
    EXPECT_THAT(result.cause, testing::HasSubstr(row.cause));
    EXPECT_THAT(result.cause, testing::Not(testing::HasSubstr("done again"))) << "nothing was";
  }
}

}  // namespace
}  // namespace orx_tool
