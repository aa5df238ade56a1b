// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

// What is wrong with one device, and the check that another one is to answer alike.
struct EvidenceRow {
  const char* faults;
  Words words;
  const char* code;
  const char* settings = "";  // of the first device, from here on
};

class EvidenceTest : public ToolTest {
 protected:
  // Check runs a check; on another, healthy device when `replay` is set.
  Json::Value Check(const Words& words, bool replay) {
    const Words command = Words{ORX_PROGRAM} + "--json check" + words;
    const ProgramResult result =
        replay ? Simulator("run -q --profile single-sim --replay @evidence --" + command)
               : Inside(command + "--evidence @evidence");
    said_ = result.err;
    Json::Value check = orx_test::ParseJson(result.out)["result"]["checks"][0];
    check["exit_code"] = result.exit_code;
    return check;
  }

  // Kept is all that the evidence holds.
  std::string Kept() {
    std::string all;
    for (const auto& entry : std::filesystem::directory_iterator(work("evidence"))) {
      struct stat status = {};
      EXPECT_EQ(stat(entry.path().c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 0777U, 0600U) << entry.path();
      all += Read(entry.path());
    }
    return all;
  }

  // ExpectAgain has each row's failure shown again by what was kept of it.
  void ExpectAgain(const std::vector<EvidenceRow>& rows) {
    for (const EvidenceRow& row : rows) {
      SCOPED_TRACE(row.code);
      std::filesystem::remove_all(work("evidence"));
      for (const std::string& setting : Words(row.settings)) SetDevice(setting);
      faults_ = Words(row.faults);
      const Json::Value seen = Check(row.words, false);
      EXPECT_EQ(seen["code"], row.code);
      // As text, and as the byte list of a key parameter.
      EXPECT_THAT(Kept(), Not(AnyOf(HasSubstr("490154203237518"), HasSubstr("52, 57, 48"))));
      const Json::Value again = Check(row.words, true);
      for (const char* same : {"verdict", "exit_code", "code", "message", "cause"}) {
        EXPECT_EQ(again[same], seen[same]) << Read(work("evidence/replay"));
      }
    }
  }

  std::string said_;
};

TEST_F(EvidenceTest, AFailureOfOneDeviceIsThatOfAnother) {
  ExpectAgain({
      {"generateKey:damaged-leaf", "attestation", "ATTEST-CHAIN-SIGNATURE"},
      {"generateKey:no-root", "attestation", "ATTEST-CHAIN-SIZE"},
      {"generateKey:-49", "attestation", "KM-HARDWARE"},
      {"generateKey:empty-blob", "attestation", "KM-EMPTY-BLOB"},
      {"generateKey:dead-object@1", "attestation", "KM-UNKNOWN-ERROR"},
      {"service:default:absent", "attestation", "KM-SERVICE-MISSING"},
      {"importKey:-6@3 begin:-12@4", "keymint", "KM-UNFIT"},
      {"finish:damaged@2", "keymint", "KM-WRONG-RESULT"},
      {"strongbox.sendRootOfTrust:-30", "root-of-trust", "ESE-NOT-BOUND"},
      {"computeSharedSecret:dead-object", "shared-secret", "KM-TRANSPORT"},
      {"computeSharedSecret:damaged@1", "shared-secret", "SS-DIFFERENT"},
      {"getRootOfTrust:dead-object@1", "root-of-trust", "ESE-ROOT-OF-TRUST"},
      {"generateEcdsaP256KeyPair:damaged", "rkp-ids", "RKP-PUBLIC-KEY"},
  });
}

TEST_F(EvidenceTest, AndSoIsWhatADeviceDoesNotHave) {
  profile_ = "bare";
  ExpectAgain({{"", "attestation", "KM-KEYS-NOT-PROVISIONED"},
               {"", "rkp-ids", "RKP-ABSENT"},
               {"", "shared-secret", "STRONGBOX-ABSENT"},
               {"", "attestation", "ATTEST-REMOTE", "attestation=remote"}});
}

TEST_F(EvidenceTest, AndSoAreTheAnswersOfAModemAndASetting) {
  const char kIds[] = "attestation --ids all";
  ExpectAgain({
      {"modem:quoted", kIds, "IMEI-NOT-PROGRAMMED"},
      {"modem:close", kIds, "MODEM-EXCHANGE"},
      {"", "attestation --ids imei --timeout 1", "MODEM-UNREACHABLE", "modem=no"},
      {"", kIds, "ATTEST-DEVICE-ID", "modem=yes provisioned-ids=serial=Other"},
      {"", "attestation", "ATTEST-ROOT", "attestation-root=/CN=Other"},
  });
}

TEST_F(EvidenceTest, WhatNamesAnIdentifierIsKeptOnlyWhenAskedFor) {
  // The key attested for the IMEI, and the same when it is asked for once more.
  faults_ = {"default.generateKey:damaged-leaf@2", "default.generateKey:damaged-leaf@5"};
  Words words = "attestation --ids imei";
  EXPECT_EQ(Check(words, false)["code"], "ATTEST-CHAIN-SIGNATURE");
  EXPECT_EQ(Check(words, true)["verdict"], "PASS");
  EXPECT_THAT(said_,
              HasSubstr("attestation/default ATTEST-CHAIN-SIGNATURE: the certificate names an "
                        "identifier; keep it by --show-ids"));
  std::filesystem::remove_all(work("evidence"));
  words.push_back("--show-ids");
  EXPECT_EQ(Check(words, false)["code"], "ATTEST-CHAIN-SIGNATURE");
  EXPECT_THAT(Kept(), HasSubstr("490154203237518"));
  EXPECT_EQ(Check(words, true)["code"], "ATTEST-CHAIN-SIGNATURE");
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
  EXPECT_TRUE(Exists(work("empty/report.json")));
  struct stat status = {};
  stat(work("empty").c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  Write(work("empty/replay"), "orx-replay 1\nfault nonsense\n");
  EXPECT_EQ(Simulator("run -q --replay @empty -- true").exit_code, 125);
  Write(work("empty/replay"), "orx-replay 1\nchain default ../cert\n");
  EXPECT_THAT(Simulator("run -q --replay @empty -- true").err,
              HasSubstr("replay:2: not understood"));
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
