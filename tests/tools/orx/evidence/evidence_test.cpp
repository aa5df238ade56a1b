// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;
using testing::Not;

// That a check's failure is shown again by its evidence: tests/tools/orx/check/.
class EvidenceTest : public ToolTest {};

TEST_F(EvidenceTest, WhatNamesAnIdentifierIsKeptOnlyWhenAskedFor) {
  // The key attested for the IMEI, and the same when it is asked for once more.
  faults_ = {"default.generateKey:damaged-leaf@2", "default.generateKey:damaged-leaf@5",
             "default.deleteKey:-100@3"};
  const std::string check = "check attestation --ids imei";
  const std::string replay = "run -q --replay @evidence -- " ORX_PROGRAM " " + check;
  const ProgramResult first = Orx(check + " --evidence @evidence");
  EXPECT_THAT(first.out, HasSubstr("ATTEST-CHAIN-SIGNATURE\n"));
  EXPECT_THAT(first.err, Not(HasSubstr("never showed"))) << "each key that was made is deleted";
  const ProgramResult masked = Simulator(replay);
  EXPECT_EQ(masked.exit_code, 0);
  EXPECT_THAT(masked.err,
              HasSubstr("attestation/default ATTEST-CHAIN-SIGNATURE: the certificate names an "
                        "identifier; keep it by --show-ids"));
  std::filesystem::remove_all(work("evidence"));
  Orx(check + " --evidence @evidence --show-ids");
  EXPECT_THAT(Program({"bash", "-c", "cat $0/*", work("evidence")}).out,
              HasSubstr("490154203237518"));
  EXPECT_THAT(Simulator(replay).out, HasSubstr("ATTEST-CHAIN-SIGNATURE\n"));
}

TEST_F(EvidenceTest, TheFolderIsWholeAndNobodyElsesOrNotThere) {
  Write(work("file"), "");
  std::filesystem::create_directory(work("full"));
  Write(work("full/file"), "");
  for (const char* there : {"file", "full", "no/such"}) {
    const ProgramResult result = Orx(Words("check shared-secret -v --evidence") + work(there));
    EXPECT_EQ(result.exit_code, 1) << there;
    EXPECT_THAT(result.err, Not(HasSubstr("negotiation"))) << "the check ran";
  }
  std::filesystem::create_directory(work("empty"));
  EXPECT_EQ(Orx("check shared-secret --evidence @empty").exit_code, 0);
  EXPECT_TRUE(Exists("empty/report.json"));
  EXPECT_EQ(Program("find @empty -perm /077").out, "");
  faults_ = {"service:default:absent"};
  EXPECT_EQ(Orx("check attestation --evidence @empty/absent").exit_code, 4);
  EXPECT_EQ(Program("find @empty/absent -name *.pem").out, "") << "there was no chain";
  Write(work("empty/replay"), "orx-replay 1\nfault nonsense\n");
  EXPECT_EQ(Simulator("run -q --replay @empty -- true").exit_code, 125);
  for (const char* line : {"chain default ../cert", "modem AT 0g", "refuse default 708 x"}) {
    Write(work("empty/replay"), std::string("orx-replay 1\n") + line + "\n");
    EXPECT_THAT(Simulator("run -q --replay @empty -- true").err,
                HasSubstr(std::string("replay:2: not understood: ") + line));
  }
}

// The page is looked at in a browser by scripts/check_html.sh; here is what no eye sees.
TEST_F(EvidenceTest, APageShowsTheFailingLinkAndHostileTextAsText) {
  SetDevice("ro.product.vendor.model=<script>alert(1)</script>\"' onload='x");
  SetDevice("attestation-root=/CN=<img src=x onerror=alert(1)>");
  faults_ = {"generateKey:damaged-leaf"};
  EXPECT_EQ(Orx("check all --keep-going --html @page.html").exit_code, 1);
  const std::string page = Read(work("page.html"));
  EXPECT_THAT(page, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;&quot;"));
  EXPECT_THAT(page, HasSubstr("&lt;img src=x onerror=alert(1)&gt;"));
  EXPECT_THAT(page, HasSubstr("class=\"link bad\">certificate 0 is not signed by certificate 1<"));
  EXPECT_THAT(page, Not(HasSubstr("class=\"FAIL\">certificate 0 is not signed"))) << "twice";
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
  const std::string reasons = page.substr(0, page.find("<h2>Checks"));
  EXPECT_EQ(reasons.find("keymint/"), std::string::npos) << "it passed";
  std::set<std::string> tags;
  for (size_t at = page.find('<'); at != std::string::npos; at = page.find('<', at + 1)) {
    tags.insert(page.substr(at + 1, page.find_first_of(" >", at) - at - 1));
  }
  for (const char* tag : {"script", "img", "a", "link", "iframe", "object", "form"}) {
    EXPECT_EQ(tags.count(tag), 0u) << tag;
  }
}

}  // namespace
}  // namespace orx_tool
