// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class CheckCommandTest : public ToolTest {
 protected:
  // Rows runs "check all" and gives "check/instance VERDICT CODE" for each check.
  std::vector<std::string> Rows(const std::vector<std::string>& options) {
    std::vector<std::string> words = {"check", "all"};
    words.insert(words.end(), options.begin(), options.end());
    const Json::Value answer = OrxAnswer(words);
    exit_code_ = answer["exit_code"].asInt();
    report_ = answer["result"];
    std::vector<std::string> rows;
    for (const Json::Value& check : report_["checks"]) {
      rows.push_back(check["check"].asString() + "/" + check["instance"].asString() + " " +
                     check["verdict"].asString() + " " + check["code"].asString());
    }
    return rows;
  }

  Json::Value report_;
  int exit_code_ = -1;
};

TEST_F(CheckCommandTest, AHealthyDeviceWithARemotelyProvisionedStrongBoxPasses) {
  EXPECT_THAT(Rows({}), ElementsAre("shared-secret/both PASS OK", "root-of-trust/both PASS OK",
                                    "attestation/tee PASS OK", "attestation/strongbox PASS OK",
                                    "model/tee PASS OK", "attestation-ids/tee PASS OK",
                                    "attestation-ids/strongbox PASS OK",
                                    "rkp-ids/tee N/A RKP-NOT-USED", "rkp-ids/strongbox PASS OK"));
  EXPECT_EQ(report_["summary"]["failed"].asInt(), 0);
  EXPECT_EQ(report_["summary"]["passed"].asInt(), 8);
}

TEST_F(CheckCommandTest, AHealthyDeviceWithAFactoryProvisionedStrongBoxPasses) {
  profile_ = "single-sim";
  const std::vector<std::string> rows = Rows({});
  EXPECT_EQ(rows[3], "attestation/strongbox PASS OK");
  EXPECT_EQ(rows[8], "rkp-ids/strongbox N/A RKP-NOT-USED");
  EXPECT_EQ(report_["summary"]["failed"].asInt(), 0);
}

TEST_F(CheckCommandTest, FactoryChecksDoNotApplyWhereKeysAreProvisionedRemotely) {
  profile_ = "remote-only";
  const std::vector<std::string> rows = Rows({"--keep-going"});
  EXPECT_EQ(rows[2], "attestation/tee N/A ATTEST-REMOTE");
  EXPECT_EQ(rows[4], "model/tee N/A ATTEST-REMOTE");
  EXPECT_EQ(rows[7], "rkp-ids/tee PASS OK");
  EXPECT_EQ(report_["summary"]["failed"].asInt(), 0);
}

TEST_F(CheckCommandTest, ADeviceWithoutStrongBoxModemAndPropertiesTellsItApart) {
  profile_ = "bare";
  const std::vector<std::string> rows = Rows({"--keep-going"});
  EXPECT_EQ(rows[1], "root-of-trust/both N/A STRONGBOX-ABSENT");
  EXPECT_EQ(rows[2], "attestation/tee FAIL KM-KEYS-NOT-PROVISIONED");
  EXPECT_EQ(rows[4], "model/tee ENV PROPERTY-MISSING");
  EXPECT_EQ(rows[7], "rkp-ids/tee N/A RKP-ABSENT");
  EXPECT_EQ(exit_code_, 1);
}

TEST_F(CheckCommandTest, ASwappedStrongBoxFailsAndEndsTheRun) {
  SetDevice("strongbox-preshared-key=other");
  EXPECT_THAT(Rows({}), ElementsAre("shared-secret/both FAIL SS-DIFFERENT"));
  EXPECT_EQ(report_["summary"]["not_run"].asInt(), 8);
  const std::vector<std::string> rows = Rows({"--keep-going"});
  ASSERT_EQ(rows.size(), 9u);
  EXPECT_EQ(rows[1], "root-of-trust/both FAIL ESE-NOT-BOUND");
  EXPECT_EQ(rows[2], "attestation/tee PASS OK");
  EXPECT_EQ(exit_code_, 1);
}

TEST_F(CheckCommandTest, ForgottenFactoryKeysAreAFailureNotAnExemption) {
  SetDevice("attestation=none");
  // Without a remotely provisioned component either, nothing excuses the missing keys.
  faults_ = {"service:default.rkp:absent"};
  EXPECT_EQ(Rows({"--keep-going"})[2], "attestation/tee FAIL KM-KEYS-NOT-PROVISIONED");
}

TEST_F(CheckCommandTest, TheTableHasARowForEachCheckAndASummary) {
  const ProgramResult result = Orx({"check", "all"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("CHECK            INSTANCE   VERDICT  SECONDS  CODE\n"));
  EXPECT_THAT(result.out,
              testing::ContainsRegex("\nattestation +strongbox +PASS +[0-9]+[.][0-9][0-9]  OK\n"));
  EXPECT_THAT(result.out, HasSubstr("8 passed, 0 failed, 1 not applicable, 0 environment\n"));
}

struct SingleCase {
  const char* setting;  // of the device, may be empty
  const char* fault;    // may be empty
  std::vector<std::string> words;
  const char* verdict;
  int exit_code;
  const char* code;
  const char* library_line;
};

TEST_F(CheckCommandTest, SingleChecksTellVerdictCodeAndLine) {
  const SingleCase cases[] = {
      {"", "", {"attestation", "--ids", "all"}, "PASS", 0, "OK", ""},
      {"", "", {"attestation", "--strongbox", "--relaxed"}, "PASS", 0, "OK", ""},
      {"", "", {"attestation", "--strongbox"}, "FAIL", 1, "ATTEST-ROOT", "Not Google Root cert"},
      {"", "", {"model", "Simulated Dual"}, "PASS", 0, "OK", ""},
      {"", "", {"model", "Other"}, "FAIL", 1, "ATTEST-DEVICE-ID", "attestation fails with device"},
      {"", "", {"rkp-ids"}, "FAIL", 1, "RKP-FACTORY-KEYS", "Need to clear factory"},
      {"", "", {"rkp-ids", "--strongbox", "--ids", "all"}, "PASS", 0, "OK", ""},
      {"",
       "strongbox.sendRootOfTrust:-30",
       {"root-of-trust"},
       "FAIL",
       1,
       "ESE-NOT-BOUND",
       "Send root of trust to Strongbox keymint failed"},
      {"",
       "strongbox.getInterfaceVersion:version=1",
       {"root-of-trust"},
       "N/A",
       3,
       "ESE-VERSION",
       "Test not applicable to StrongBox KeyMint device before v2"},
      {"",
       "service:strongbox:absent",
       {"root-of-trust"},
       "ENV",
       4,
       "ESE-STRONGBOX-MISSING",
       "Could not obtain the Strongbox keymint service"},
      {"",
       "service:default:absent",
       {"shared-secret"},
       "ENV",
       4,
       "SS-SERVICE-MISSING",
       "Could not obtain the TEE shared secret service"},
      {"",
       "default.generateKey:-49",
       {"attestation"},
       "ENV",
       4,
       "KM-HARDWARE",
       "SECURE_HW_COMMUNICATION_FAILED"},
      {"",
       "modem:silent",
       {"attestation", "--ids", "imei", "--timeout", "3"},
       "FAIL",
       5,
       "TIMED-OUT",
       "No response timeout is set"},
      {"id-attestation=no",
       "",
       {"attestation", "--ids", "brand"},
       "FAIL",
       1,
       "ATTEST-DEVICE-ID",
       "attestation fails with device ID"}};
  for (const SingleCase& c : cases) {
    SCOPED_TRACE(c.code + std::string(" ") + c.words[0]);
    if (*c.setting != 0) SetDevice(c.setting);
    faults_.clear();
    if (*c.fault != 0) faults_ = {c.fault};
    std::vector<std::string> words = {"check"};
    words.insert(words.end(), c.words.begin(), c.words.end());
    const ProgramResult text = Orx(words);
    EXPECT_EQ(text.exit_code, c.exit_code);
    EXPECT_THAT(text.out,
                testing::ContainsRegex(std::string("^") + c.verdict + " .*" + c.words[0]));
    EXPECT_THAT(text.out, HasSubstr(c.code));
    const Json::Value check = OrxJson("check", words);
    EXPECT_EQ(check["verdict"].asString(), c.verdict);
    EXPECT_EQ(check["code"].asString(), c.code);
    EXPECT_THAT(check["message"].asString(), HasSubstr(c.library_line));
  }
}

TEST_F(CheckCommandTest, OneRunPerIdentifierNamesAllThatFail) {
  SetDevice("provisioned-ids=model=Other,serial=Other");
  const Json::Value report =
      OrxJson("report", {"check", "attestation", "--ids", "brand,serial,model", "--keep-going"});
  std::vector<std::string> verdicts;
  for (const Json::Value& check : report["checks"]) {
    verdicts.push_back(check["check"].asString() + " " + check["verdict"].asString());
  }
  EXPECT_THAT(verdicts, ElementsAre("attestation:brand PASS", "attestation:serial FAIL",
                                    "attestation:model FAIL"));
  EXPECT_THAT(report["checks"][1]["cause"].asString(), HasSubstr("ATTESTATION_ID_SERIAL"));
  EXPECT_EQ(Orx({"check", "attestation", "--ids", "brand,colour"}).exit_code, 2);
}

TEST_F(CheckCommandTest, AdviceIsGivenAndChangesNoVerdict) {
  const auto advice = [&](const std::string& setting, const std::vector<std::string>& words) {
    SetDevice(setting);
    const Json::Value check = OrxJson("check", words);
    std::string text = check["verdict"].asString() + ":";
    for (const Json::Value& line : check["advice"]) text += " " + line.asString();
    return text;
  };
  const std::vector<std::string> strict = {"check", "attestation"};
  EXPECT_THAT(advice("attestation-expired=yes", strict),
              testing::AllOf(HasSubstr("PASS:"), HasSubstr("expired on"),
                             HasSubstr("another key than the published attestation root")));
  const std::string newer = "attestation-root=/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US";
  EXPECT_THAT(advice(newer, strict),
              testing::AllOf(HasSubstr("FAIL:"), HasSubstr("the newer attestation root")));
  EXPECT_THAT(advice(newer, {"check", "attestation", "--relaxed"}),
              testing::AllOf(HasSubstr("PASS:"), HasSubstr("the newer attestation root")));
}

TEST_F(CheckCommandTest, ReportsMaskIdentifiersUnlessAskedNotTo) {
  const std::vector<std::string> words = {"check", "attestation", "--ids",
                                          "imei",  "--junit",     work("junit.xml")};
  faults_ = {"default.generateKey:-66@2"};
  const std::string masked =
      Orx(words).out + Read(work("junit.xml")) + OrxJson("check", words).toStyledString();
  // As text, and as the byte list of a key parameter.
  EXPECT_THAT(masked, Not(HasSubstr("490154203237518")));
  EXPECT_THAT(masked, Not(HasSubstr("52, 57, 48")));
  std::vector<std::string> shown = words;
  shown.push_back("--show-ids");
  EXPECT_THAT(OrxJson("check", shown).toStyledString(), HasSubstr("52, 57, 48"));
}

TEST_F(CheckCommandTest, JunitTellsTheVerdictsApart) {
  SetDevice("strongbox-preshared-key=other");
  faults_ = {"default.generateKey:-49"};
  Orx({"check", "all", "--keep-going", "--junit", work("junit.xml")});
  const std::string xml = Read(work("junit.xml"));
  EXPECT_THAT(xml,
              HasSubstr("<testsuite name=\"orx check\" tests=\"9\" failures=\"3\" errors=\"3\""));
  EXPECT_THAT(xml, HasSubstr("<testcase classname=\"orx.both\" name=\"shared-secret\""));
  EXPECT_THAT(xml, HasSubstr("<failure type=\"SS-DIFFERENT\""));
  EXPECT_THAT(xml, HasSubstr("<error type=\"KM-HARDWARE\""));
  const ProgramResult unwritable = Orx({"check", "shared-secret", "--junit", work("no/junit.xml")});
  EXPECT_EQ(unwritable.exit_code, 1);
  EXPECT_THAT(unwritable.err, HasSubstr("No such file"));
}

TEST_F(CheckCommandTest, ShowsAndWritesTheChainOfAnAttestationKey) {
  const ProgramResult made = Orx({"attest-key", "-o", work("chain")});
  ASSERT_EQ(made.exit_code, 0) << made.err;
  const ProgramResult openssl = orx_test::RunProgram(
      {"openssl", "verify", "-no_check_time", "-CAfile", work("chain/cert3.pem"), "-untrusted",
       work("chain/chain.pem"), work("chain/cert0.pem")});
  EXPECT_EQ(openssl.exit_code, 0) << openssl.err;

  const Json::Value chain = OrxJson("answer", {"chain", "show", work("chain/chain.pem")});
  ASSERT_EQ(chain["certificates"].size(), 4u);
  const Json::Value& leaf = chain["certificates"][0];
  EXPECT_EQ(leaf["subject"].asString(), "/CN=Android Keystore Key");
  EXPECT_EQ(leaf["key"].asString(), "EC P-256");
  const Json::Value& record = leaf["attestation"];
  EXPECT_EQ(record["attestationVersion"].asInt(), 300);
  EXPECT_EQ(record["attestationSecurityLevel"].asString(), "TrustedEnvironment");
  EXPECT_EQ(record["attestationChallenge"].asString(), "\"orx\"");
  EXPECT_EQ(record["hardwareEnforced"]["purpose"][0].asString(), "ATTEST_KEY");
  EXPECT_FALSE(record["hardwareEnforced"]["rootOfTrust"]["deviceLocked"].asBool());
  EXPECT_FALSE(record.isMember("error"));
  EXPECT_EQ(chain["certificates"][3]["subject"].asString(), "/serialNumber=f92009e853b6b045");
  EXPECT_THAT(Orx({"chain", "show", work("chain/cert0.pem")}).out,
              HasSubstr("    verifiedBootState: Unverified\n"));

  Write(work("text"), "text");
  EXPECT_THAT(Orx({"chain", "show", work("text")}).err, HasSubstr("[CERTIFICATE-FORMAT]"));
  EXPECT_EQ(Orx({"attest-key", "--strongbox", "-o", work("chain")}).exit_code, 0);
  EXPECT_EQ(OrxJson("answer", {"chain", "show", work("chain/chain.pem")})["certificates"].size(),
            1u);
}

}  // namespace
}  // namespace orx_tool
