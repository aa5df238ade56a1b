// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/run_program.h"
#include "tests/support/temp_folder.h"

namespace orx_tool {
namespace {

CheckResult Result(Verdict verdict, int exit_code) {
  CheckResult result;
  result.name = "attestation";
  result.instance = "default";
  result.verdict = verdict;
  result.exit_code = exit_code;
  result.code = "CODE";
  return result;
}

TEST(CheckExitCodeTest, TheWorstCounts) {
  const CheckResult pass = Result(Verdict::kPass, 0);
  const CheckResult fail = Result(Verdict::kFail, 1);
  const CheckResult not_applicable = Result(Verdict::kNotApplicable, 3);
  const CheckResult environment = Result(Verdict::kEnvironment, 4);
  const CheckResult timed_out = Result(Verdict::kTimedOut, 5);
  const CheckResult interrupted = Result(Verdict::kInterrupted, 143);
  const std::pair<std::vector<CheckResult>, int> rows[] = {{{}, 0},
                                                           {{not_applicable, pass}, 0},
                                                           {{not_applicable, not_applicable}, 3},
                                                           {{pass, environment, not_applicable}, 4},
                                                           {{environment, timed_out, pass}, 5},
                                                           {{timed_out, fail, environment}, 1},
                                                           {{fail, interrupted}, 143}};
  for (const auto& [results, exit_code] : rows) EXPECT_EQ(CheckExitCode(results), exit_code);
}

TEST(JunitXmlTest, CarriesEveryTextThroughAnXmlParser) {
  CheckResult result = Result(Verdict::kFail, 1);
  result.cause = "<a href=\"b\">'c' & ]]>";
  result.evidence = {"control \x01\x1b, bytes \xff\xfe"};
  result.seconds = 1.256;
  const orx_test::TempFolder folder;
  std::ofstream(folder / "junit.xml") << JunitXml({{result}, {}});
  const auto xpath = [&](const std::string& path) {
    return orx_test::RunProgram({"xmllint", "--xpath", path, folder / "junit.xml"}).out;
  };
  EXPECT_EQ(xpath("string(//failure/@message)"), "CODE: " + result.cause + "\n");
  EXPECT_THAT(xpath("string(//failure)"), testing::HasSubstr("control ??, bytes ??"));
  EXPECT_EQ(xpath("string(//testcase/@time)"), "1.26\n");
}

TEST(NoteLinesTest, TellEachNoteOnceWithItsChecks) {
  CheckResult pass = Result(Verdict::kPass, 0);
  pass.advice = {"odd"};
  CheckResult other = pass;
  other.name = "model";
  CheckResult fail = Result(Verdict::kFail, 1);
  fail.advice = {"bad"};
  EXPECT_THAT(NoteLines({pass, fail, other}),
              testing::ElementsAre("note: attestation/default, model/default: odd"));
  CheckResult second = other;
  second.instance = "strongbox";
  EXPECT_THAT(NoteLines({pass, other, second}),
              testing::ElementsAre("note: attestation/default, model: odd"));
}

}  // namespace
}  // namespace orx_tool
