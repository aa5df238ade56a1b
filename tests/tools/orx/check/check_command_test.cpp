// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// What is wrong with the device, which check is made, and what an engineer is told.
struct FaultRow {
  const char* faults;
  std::string words;
  const char* outcome;        // verdict, exit code and reason code
  const char* cause;          // a piece of it, or of the advice
  const char* settings = "";  // of the device, from here on
};

class CheckCommandTest : public ToolTest {
 protected:
  static std::string Outcome(const Json::Value& check) {
    return check["verdict"].asString() + " " + check["exit_code"].asString() + " " +
           check["code"].asString();
  }

  // Rows runs "check all" and gives "check/instance VERDICT CODE" for each check.
  std::vector<std::string> Rows(const Words& options) {
    const Json::Value answer = OrxAnswer(Words("check all") + options);
    exit_code_ = answer["exit_code"].asInt();
    report_ = answer["result"];
    std::vector<std::string> rows;
    for (const Json::Value& check : report_["checks"]) {
      rows.push_back(check["check"].asString() + "/" + check["instance"].asString() + " " +
                     check["verdict"].asString() + " " + check["code"].asString());
    }
    return rows;
  }

  // ExpectAll makes each row's check on a device that has only this row's faults.
  void ExpectAll(const std::vector<FaultRow>& rows) {
    for (const FaultRow& row : rows) {
      SCOPED_TRACE(row.words + ", " + row.faults + " -> " + row.outcome);
      for (const std::string& setting : Words(row.settings)) SetDevice(setting);
      faults_ = Words(row.faults);
      const Json::Value answer = OrxAnswer("check " + row.words + evidence_);
      const Json::Value& check = answer["result"]["checks"][0];
      EXPECT_EQ(Outcome(check), row.outcome);
      EXPECT_EQ(answer["exit_code"], check["exit_code"]);
      EXPECT_THAT(check["cause"].asString() + check["advice"].toStyledString(),
                  HasSubstr(row.cause));
      EXPECT_TRUE(answer["exit_code"].asInt() == 0 || !check["advice"].empty());
      // What lasts does not pass when it is done again.
      const bool lasts = strchr(row.faults, '@') == nullptr;
      EXPECT_TRUE(!lasts || check["cause"].asString().find("done again") == std::string::npos);
      if (evidence_.empty()) continue;
      // As text, and as the byte list of a key parameter.
      const std::string kept = Program({"bash", "-c", "cat $0/*", work("evidence")}).out;
      EXPECT_THAT(kept, Not(testing::AnyOf(HasSubstr("490154203237518"), HasSubstr("52, 57, 48"))));
      EXPECT_EQ(Program("find @evidence -perm /077").out, "");
      const Json::Value again = orx_test::ParseJson(
          Simulator("run -q --profile single-sim --replay @evidence -- " ORX_PROGRAM
                    " --json check " +
                    row.words)
              .out)["result"]["checks"][0];
      for (const char* same : {"verdict", "exit_code", "code", "message", "cause"}) {
        EXPECT_EQ(again[same], check[same]) << kept;
      }
      std::filesystem::remove_all(work("evidence"));
    }
  }

  // ExpectShownAgain does so too, and has another, healthy device answer by what was kept of this.
  void ExpectShownAgain(const std::vector<FaultRow>& rows) {
    evidence_ = " --evidence @evidence";
    ExpectAll(rows);
    evidence_.clear();
  }

  // Xml evaluates an XPath expression on the JUnit report.
  std::string Xml(const std::string& path) {
    const ProgramResult result = Program({"xmllint", "--xpath", path, "@junit.xml"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return result.out.substr(0, result.out.find_last_not_of('\n') + 1);
  }

  std::string evidence_;
  Json::Value report_;
  int exit_code_ = -1;
};

const char kAttest[] = "attestation --relaxed";
const char kRkpBrand[] = "rkp-ids --ids brand";
const char kAllIds[] = "attestation --ids all --timeout 5";
const char kSoon[] = "attestation --ids imei --timeout 0.4";

TEST_F(CheckCommandTest, AttestationIsJudgedByWhatWasSeen) {
  ExpectAll({
      {"generateKey:dead-object", kAttest, "ENV 4 KM-TRANSPORT", "default generateKey"},
      {"generateKey:null-status", kAttest, "ENV 4 KM-TRANSPORT", "default generateKey"},
      {"generateKey:-1000", kAttest, "FAIL 1 KM-UNKNOWN-ERROR",
       "of its own (default generateKey answered UNKNOWN_ERROR)."},
      {"generateKey:-32", kAttest, "FAIL 1 KM-FAILED", "UNEXPECTED_NULL_POINTER"},
      // What an import would be told of these errors is of no use here.
      {"generateKey:-38", kAttest, "FAIL 1 ATTEST-GENERATE", "INVALID_ARGUMENT"},
  });
  ExpectShownAgain({
      {"service:default:absent", kAttest, "ENV 4 KM-SERVICE-MISSING", "not find it (default)."},
      {"generateKey:dead-object@1", kAttest, "FAIL 1 KM-UNKNOWN-ERROR", "done again"},
      {"generateKey:-49", kAttest, "ENV 4 KM-HARDWARE", "SECURE_HW_COMMUNICATION"},
  });
}

TEST_F(CheckCommandTest, MadeKeysAreJudgedByWhatWasSeen) {
  const char kStrongbox[] = "attestation --strongbox";
  ExpectShownAgain({
      {"generateKey:empty-blob", kAttest, "FAIL 1 KM-EMPTY-BLOB", "without a key blob"},
      {"generateKey:no-root", kAttest, "FAIL 1 ATTEST-CHAIN-SIZE", "another length"},
      {"generateKey:damaged-leaf", kAttest, "FAIL 1 ATTEST-CHAIN-SIGNATURE", "signed"},
  });
  ExpectAll({
      {"generateKey:no-chain", kAttest, "FAIL 1 KM-CHAIN-MISSING", "without a cert"},
      {"", kStrongbox, "PASS 0 OK", ""},
      {"service:strongbox:absent", kStrongbox, "ENV 4 KM-SERVICE-MISSING", "not registered"},
      {"", "model Other", "FAIL 1 ATTEST-DEVICE-ID", "model"},
      {"", kStrongbox, "N/A 3 STRONGBOX-ABSENT", "no StrongBox", "strongbox=no"},
  });
  ExpectShownAgain({{"", "attestation", "FAIL 1 ATTEST-ROOT", "", "attestation-root=/CN=Other"}});
}

TEST_F(CheckCommandTest, IdentifiersAreJudgedByWhatWasSeen) {
  ExpectAll({
      {"", "attestation --ids imei2,meid", "N/A 3 ATTEST-ID-NOT-COVERED", "neither"},
      {"generateKey:-66@2", kAllIds, "FAIL 1 ATTEST-DEVICE-ID", "brand. It passed when"},
      {"modem:silent", kSoon, "TIMEOUT 5 MODEM-SILENT", "does not answer within 0.4 s"},
  });
  ExpectShownAgain({
      {"modem:close", kAllIds, "FAIL 1 MODEM-EXCHANGE", "before it answered"},
      {"modem:quoted", kAllIds, "FAIL 1 IMEI-NOT-PROGRAMMED", "15 digits"},
  });
}

TEST_F(CheckCommandTest, IdentifiersOfTheDeviceAreJudgedByWhatWasSeen) {
  ExpectAll({{"", kAllIds, "FAIL 1 IMEI-INVALID", "15 digits", "imei="}});
  ExpectShownAgain({
      // A missing daemon is no fault of the device under test, whatever the limit was.
      {"", kSoon, "ENV 4 MODEM-UNREACHABLE", "rild-oem within 0.4 s",
       "imei=490154203237518 modem=no"},
      {"", kAllIds, "FAIL 1 ATTEST-DEVICE-ID", "serial, model.",
       "modem=yes provisioned-ids=model=Other,serial=Other"},
  });
  ExpectAll({{"", kAllIds, "ENV 4 PROPERTY-MISSING", "property", "ro.product.vendor.brand="}});
}

TEST_F(CheckCommandTest, RemotelyProvisionedKeysAreJudgedByWhatWasSeen) {
  // A device with factory keys first. Who asks by name says that it is to have none.
  ExpectAll({
      {"", "rkp-ids", "FAIL 1 RKP-FACTORY-KEYS", "still holds"},
      {"generateKey:-49@1", "rkp-ids", "ENV 4 KM-HARDWARE", "SECURE_HW_COMMUNICATION"},
      {"", "rkp-ids --strongbox --ids brand", "PASS 0 OK", ""},
      // No key at all is not a matter of the identifier.
      {"generateKey:-1000", kRkpBrand, "FAIL 1 KM-UNKNOWN-ERROR", "generateKey with a given"},
      {"generateKey:-38", kRkpBrand, "FAIL 1 ATTEST-GENERATE", "INVALID_ARGUMENT"},
  });
  faults_ = {"default.generateEcdsaP256KeyPair:-1"};
  EXPECT_THAT(Rows("--ids none"), testing::Contains("rkp-ids/default N/A RKP-LEFT-OUT"));
}

TEST_F(CheckCommandTest, ADeviceWithoutFactoryKeysIsJudgedByWhatWasSeen) {
  const std::string rkp = "rkp-ids";
  ExpectAll({
      {"", rkp, "PASS 0 OK", "", "attestation=remote"},
      {"service:default.keymint:absent", rkp, "ENV 4 KM-SERVICE-MISSING", "not registered"},
      {"generateKey:-49", rkp, "ENV 4 KM-HARDWARE", "SECURE_HW_COMMUNICATION"},
      {"generateKey:-1000@1", rkp, "FAIL 1 KM-UNKNOWN-ERROR", "done again"},
      {"service:default.rkp:absent", rkp, "ENV 4 RKP-SERVICE-MISSING", "not registered"},
      {"generateEcdsaP256KeyPair:-1", rkp, "FAIL 1 RKP-KEYPAIR", "answered"},
      {"generateEcdsaP256KeyPair:dead-object", rkp, "ENV 4 KM-TRANSPORT", "EcdsaP256"},
      {"", "model x", "N/A 3 ATTEST-REMOTE", "provisioned remotely"},
      {"generateKey:-74", kRkpBrand, "FAIL 1 RKP-KEY-REFUSED", "with a given attestation key"},
      {"generateKey:-74", "attestation", "FAIL 1 KM-KEYS-NOT-PROVISIONED", "no factory"},
  });
  ExpectShownAgain({
      {"generateEcdsaP256KeyPair:damaged", rkp, "FAIL 1 RKP-PUBLIC-KEY", "COSE"},
      {"", "attestation", "N/A 3 ATTEST-REMOTE", "provisioned remotely"},
      // Without remotely provisioned keys either, nothing excuses the missing ones.
      {"service:default.rkp:absent", "attestation", "FAIL 1 KM-KEYS-NOT-PROVISIONED",
       "no factory attestation keys"},
      {"", "attestation", "FAIL 1 KM-KEYS-NOT-PROVISIONED", "no factory", "attestation=none"},
      {"", rkp, "N/A 3 RKP-ABSENT", ""},
      {"", "shared-secret", "N/A 3 STRONGBOX-ABSENT", "no StrongBox", "strongbox=no"},
  });
}

TEST_F(CheckCommandTest, KeyMintIsJudgedByWhatWasSeen) {
  const char kStrongbox[] = "keymint --strongbox";
  ExpectAll({
      {"", kStrongbox, "PASS 0 OK", ""},
      {"importKey:-6@2", kStrongbox, "FAIL 1 KM-UNFIT", "Failed: import, RSA-2048 (UNSUPPORTED"},
      {"begin:-12@3", "keymint", "FAIL 1 KM-UNFIT", "signature, RSA-2048, SHA-1 (UNSUPPORTED_DIG"},
      {"begin:-12@3", kStrongbox, "PASS 0 OK", ""},
      {"begin:-12@4", kStrongbox, "FAIL 1 KM-UNFIT", "signature, RSA-2048, SHA-256"},
      // With one RSA key less to exercise, so that the rest takes half the time.
      {"deleteKey:-100", kStrongbox, "FAIL 1 KM-UNIMPLEMENTED", "AES-128 (UNIMPLEMENTED); del"},
      {"finish:dead-object", kStrongbox, "ENV 4 KM-TRANSPORT", "strongbox finish"},
      {"finish:dead-object@9", "keymint", "FAIL 1 KM-UNKNOWN-ERROR", "done again. Failed: decr"},
      {"importKey:-49", kStrongbox, "ENV 4 KM-HARDWARE", "SECURE_HW_COMMUNICATION"},
      {"service:default:absent", "keymint", "ENV 4 KM-SERVICE-MISSING", "not registered"},
      {"begin:no-operation", kStrongbox, "FAIL 1 KM-NO-OPERATION", "Failed: encryption, AES-128"},
      {"begin:params", kStrongbox, "FAIL 1 KM-DEVICE-NONCE", "Failed: encryption, AES-128"},
  });
  ExpectShownAgain({
      {"importKey:-6@3 begin:-12@4", "keymint", "FAIL 1 KM-UNFIT",
       "import, RSA-4096 (UNSUPPORTED_KEY_SIZE)"},
      {"finish:damaged@2", kStrongbox, "FAIL 1 KM-WRONG-RESULT", "decryption, AES-128 (wrong res"},
  });
}

TEST_F(CheckCommandTest, TheRootOfTrustIsJudgedByWhatWasSeen) {
  const std::string root = "root-of-trust";
  const char kSend[] = "strongbox sendRootOfTrust";
  ExpectShownAgain({
      {"strongbox.sendRootOfTrust:-30", root, "FAIL 1 ESE-NOT-BOUND", "VERIFICATION_FAILED"},
      {"getRootOfTrust:dead-object@1", root, "FAIL 1 ESE-ROOT-OF-TRUST", "done again"},
  });
  ExpectAll({
      {"strongbox.sendRootOfTrust:dead-object", root, "ENV 4 KM-TRANSPORT", kSend},
      {"strongbox.sendRootOfTrust:dead-object@1", root, "FAIL 1 ESE-NOT-BOUND", "done again"},
      {"default.getRootOfTrust:damaged", root, "FAIL 1 ESE-NOT-BOUND", "sendRootOfTrust"},
      {"default.getRootOfTrust:-49", root, "ENV 4 KM-HARDWARE", "default getRootOfTrust"},
      {"strongbox.getRootOfTrustChallenge:-100", root, "N/A 3 ESE-OTHER-WAY", "another"},
      {"strongbox.getInterfaceVersion:version=1", root, "N/A 3 ESE-VERSION", "version 2"},
      {"service:strongbox:absent", root, "ENV 4 ESE-STRONGBOX-MISSING", "not registered"},
  });
}

TEST_F(CheckCommandTest, TheSharedSecretIsJudgedByWhatWasSeen) {
  const std::string secret = "shared-secret";
  const char kMissing[] = "ENV 4 SS-SERVICE-MISSING", kCompute[] = "strongbox computeSharedSecret";
  const char kParameters[] = "strongbox.getSharedSecretParameters:nonce=31";
  ExpectAll({
      {"service:default:absent", secret, kMissing, "not registered"},
      {kParameters, secret, "FAIL 1 SS-PARAMETERS", "wrong length."},
      {"service:strongbox.sharedsecret:absent", secret, kMissing, "not"},
      {"default.computeSharedSecret:-1", secret, "FAIL 1 SS-COMPUTE", "answered"},
      {"strongbox.computeSharedSecret:cut", secret, "FAIL 1 SS-LENGTH", "31 bytes, not 32"},
  });
  ExpectShownAgain({
      {"strongbox.computeSharedSecret:dead-object", secret, "ENV 4 KM-TRANSPORT", kCompute},
      {"default.computeSharedSecret:damaged", secret, "FAIL 1 SS-DIFFERENT", "differ"},
  });
}

// The plan and the single checks take one way to a verdict, so profiles are enough here.
TEST_F(CheckCommandTest, ThePlanFitsEveryKindOfDevice) {
  const char kAbsent[] = "N/A STRONGBOX-ABSENT", kNoKeys[] = "FAIL KM-KEYS-NOT-PROVISIONED";
  const char* const plan[][4] = {
      {"keymint/default", "PASS OK", "PASS OK", "PASS OK"},
      {"keymint/strongbox", "PASS OK", "PASS OK", kAbsent},
      {"shared-secret/both", "PASS OK", "PASS OK", kAbsent},
      {"root-of-trust/both", "PASS OK", "PASS OK", kAbsent},
      {"attestation/default", "PASS OK", "N/A ATTEST-REMOTE", kNoKeys},
      {"attestation/strongbox", "PASS OK", "PASS OK", kAbsent},
      {"model/default", "PASS OK", "N/A ATTEST-REMOTE", "ENV PROPERTY-MISSING"},
      {"attestation-ids/default", "PASS OK", "N/A ATTEST-REMOTE", kNoKeys},
      {"attestation-ids/strongbox", "PASS OK", "PASS OK", kAbsent},
      {"rkp-ids/default", "N/A RKP-LEFT-OUT", "PASS OK", "N/A RKP-ABSENT"},
      {"rkp-ids/strongbox", "PASS OK", "PASS OK", kAbsent}};
  const std::pair<const char*, int> devices[] = {{"dual-sim", 0}, {"remote-only", 0}, {"bare", 1}};
  for (size_t i = 0; i < std::size(devices); ++i) {
    SCOPED_TRACE(devices[i].first);
    std::filesystem::remove_all(work("device"));
    profile_ = devices[i].first;
    std::vector<std::string> rows;
    for (const auto& row : plan) rows.push_back(row[0] + std::string(" ") + row[1 + i]);
    EXPECT_EQ(Rows("--keep-going"), rows);
    EXPECT_EQ(exit_code_, devices[i].second);
  }
  EXPECT_THAT(Orx("check list").out, ContainsRegex("\nroot-of-trust  both  +is the StrongBox"));
}

TEST_F(CheckCommandTest, AFailureEndsTheRunAndNamesWhatWasNotRun) {
  SetDevice("strongbox-preshared-key=other");
  EXPECT_THAT(Rows(""), ElementsAre("keymint/default PASS OK", "keymint/strongbox PASS OK",
                                    "shared-secret/both FAIL SS-DIFFERENT"));
  EXPECT_EQ(report_["summary"]["not_run"].asInt(), 8);
  EXPECT_EQ(report_["not_run"][7].asString(), "rkp-ids/strongbox");
  EXPECT_THAT(Orx("check all").out,
              AllOf(HasSubstr("1 failed, 0 not applicable, 0 environment, 8 not run\n"),
                    HasSubstr("not run: root-of-trust/both, attestation/default, "),
                    ContainsRegex("\nshared-secret/both:\n  reason:  .*\n  library: .*\n"
                                  "  next:    .*\n")));
  EXPECT_THAT(Orx("check shared-secret -q").out, Not(HasSubstr("\n  ")));
}

TEST_F(CheckCommandTest, TheModemIsWaitedForOnce) {
  faults_ = {"modem:silent"};
  const std::vector<std::string> rows = Rows("--keep-going --timeout 0.4");
  ASSERT_EQ(rows.size(), 11u);
  EXPECT_EQ(rows[7], "attestation-ids/default TIMEOUT MODEM-SILENT");
  EXPECT_EQ(rows[10], "rkp-ids/strongbox TIMEOUT MODEM-SILENT");
  EXPECT_EQ(report_["checks"][10]["duration"].asDouble(), 0);
  EXPECT_THAT(report_["checks"][10]["cause"].asString(), HasSubstr("did not wait again"));
  EXPECT_EQ(exit_code_, 5);
}

TEST_F(CheckCommandTest, AnInterruptedRunReportsWhatItDid) {
  faults_ = {"modem:silent"};
  options_.terminal = true;
  options_.signal_when_shown = "connected, waiting";
  const ProgramResult result = Orx("check all --junit @junit.xml");
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_THAT(result.out, AllOf(HasSubstr("attestation-ids  default    INTERRUPTED"),
                                HasSubstr("7 passed"), HasSubstr("1 interrupted, 3 not run\n"),
                                HasSubstr("not run: attestation-ids/strongbox, rkp-ids/default")));
  EXPECT_EQ(Xml("count(//testcase)"), "11");
  EXPECT_EQ(Xml("string(//testcase[8]/error/@type)"), "INTERRUPTED");
  EXPECT_EQ(Xml("count(//testcase/skipped[@message='not run'])"), "3");
}

TEST_F(CheckCommandTest, OneRunPerIdentifierNamesAllThatFail) {
  SetDevice("provisioned-ids=model=Other,serial=Other");
  const Json::Value report =
      OrxJson("report", "check attestation --ids brand,serial,model --keep-going");
  std::vector<std::string> verdicts;
  for (const Json::Value& check : report["checks"]) {
    verdicts.push_back(check["check"].asString() + " " + check["verdict"].asString());
  }
  EXPECT_THAT(verdicts, ElementsAre("attestation:brand PASS", "attestation:serial FAIL",
                                    "attestation:model FAIL"));
  EXPECT_THAT(report["checks"][1]["cause"].asString(), HasSubstr("serial"));
  Expect("check attestation --ids brand,colour", 2);
}

TEST_F(CheckCommandTest, RepeatedChecksAreJudgedOverAllRuns) {
  EXPECT_THAT(Orx("check root-of-trust --repeat 4").out, HasSubstr("OK (4 runs)\n"));
  // Each run is a process of its own: what all runs together count is the modem's requests, two of
  // a run that passes.
  faults_ = {"modem:quoted@3", "modem:close@6"};
  const Json::Value check = OrxJson("check", "check attestation --ids brand --repeat 4");
  EXPECT_EQ(check["code"].asString(), "IMEI-NOT-PROGRAMMED");
  EXPECT_EQ(check["runs"]["done"].asInt(), 4);
  EXPECT_EQ(check["runs"]["failed"].asInt(), 2);
  EXPECT_EQ(check["runs"]["first"].asInt(), 2);
  EXPECT_EQ(check["runs"]["last"].asInt(), 4);
  EXPECT_EQ(check["runs"]["last_code"].asString(), "MODEM-EXCHANGE");
  Expect("check shared-secret --repeat 0", 2);
  Expect("check shared-secret --repeat x", 2);
}

TEST_F(CheckCommandTest, CapturedChainsAreJudgedAsOnTheDevice) {
  faults_ = {"generateKey:damaged-leaf"};
  Orx("attest-key -o @chain");
  const Json::Value judged = OrxJson("answer", "chain check @chain/chain.pem");
  const Json::Value check = OrxJson("check", "check attestation");
  EXPECT_EQ(judged["code"], check["code"]);
  EXPECT_EQ(judged["advice"], check["advice"]);
  EXPECT_THAT(judged["cause"].asString(), ContainsRegex("[a-z] \\(certificate 0 is not signed by"));
}

TEST_F(CheckCommandTest, AdviceIsGivenAndChangesNoVerdict) {
  ExpectAll({{"", "attestation", "PASS 0 OK", "expired on", "attestation-expired=yes"},
             {"", "attestation", "PASS 0 OK", "key is not the published one"}});
  SetDevice("attestation-root=/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US");
  ExpectAll({{"", "attestation", "FAIL 1 ATTEST-ROOT", "the newer attestation root"},
             {"", kAttest, "PASS 0 OK", "the newer attestation root"}});
}

TEST_F(CheckCommandTest, ReportsMaskIdentifiersUnlessAskedNotTo) {
  const std::string words = "check attestation --ids imei --junit @junit.xml";
  faults_ = {"default.generateKey:-66@2"};
  const std::string masked =
      Orx(words).out + Read("junit.xml") + OrxJson("check", words).toStyledString();
  // As text, and as the byte list of a key parameter.
  EXPECT_THAT(masked, Not(HasSubstr("490154203237518")));
  EXPECT_THAT(masked, Not(HasSubstr("52, 57, 48")));
  EXPECT_THAT(OrxJson("check", words + " --show-ids").toStyledString(), HasSubstr("52, 57, 48"));
}

TEST_F(CheckCommandTest, JunitTellsTheVerdictsApart) {
  SetDevice("strongbox-preshared-key=other");
  faults_ = {"default.generateKey:-49"};
  Orx("check all --keep-going --junit @junit.xml");
  EXPECT_EQ(Xml("string(/testsuite/@tests)"), "11");
  EXPECT_EQ(Xml("string(/testsuite/@failures)"), Xml("count(//failure)"));
  EXPECT_EQ(Xml("string(/testsuite/@errors)"), Xml("count(//error)"));
  EXPECT_EQ(Xml("string(/testsuite/@skipped)"), Xml("count(//skipped)"));
  EXPECT_EQ(Xml("string(//testcase[@name='shared-secret']/failure/@type)"), "SS-DIFFERENT");
  EXPECT_EQ(Xml("string(//testcase[@classname='orx.default']/error/@type)"), "KM-HARDWARE");
}

TEST_F(CheckCommandTest, AReportThatCannotBeWrittenIsAFailureBeforeTheFirstCheck) {
  for (const char* quiet : {"-v", "-q", "--json"}) {
    const ProgramResult result = Orx({"check", "shared-secret", quiet, "--junit", "@no/junit.xml"});
    EXPECT_EQ(result.exit_code, 1) << quiet;
    EXPECT_THAT(result.out + result.err, HasSubstr("No such file")) << quiet;
    EXPECT_THAT(result.out + result.err, Not(HasSubstr("negotiation"))) << quiet;
  }
}

TEST_F(CheckCommandTest, JsonLinesComeAsChecksEnd) {
  const ProgramResult result = Orx("check all --json-lines");
  std::istringstream lines(result.out);
  std::vector<Json::Value> values;
  for (std::string line; std::getline(lines, line);) values.push_back(orx_test::ParseJson(line));
  ASSERT_EQ(values.size(), 12u);
  EXPECT_EQ(values[0]["check"].asString(), "keymint");
  EXPECT_EQ(values[10]["verdict"].asString(), "PASS");
  EXPECT_EQ(orx_test::SchemaErrors(values[11], Schema()), "");
}

TEST_F(CheckCommandTest, AHealthyReportLeavesRoomOnTheSmallestScreen) {
  const char command[] = "stty cols 60; " ORX_PROGRAM " check all";
  const ProgramResult shown = Inside({"script", "-qec", command, "/dev/null"});
  EXPECT_EQ(shown.exit_code, 0) << shown.out;
  EXPECT_LE(std::count(shown.out.begin(), shown.out.end(), '\n'), 24 - 3) << shown.out;
  EXPECT_THAT(shown.out, AllOf(HasSubstr("\x1b[32mPASS"), Not(HasSubstr("\x1b[33m"))));
}

TEST_F(CheckCommandTest, NotesAreShownUnlessQuiet) {
  EXPECT_THAT(Orx("check attestation").out, HasSubstr("note: attestation/default: the root's key"));
  EXPECT_THAT(Orx("check keymint --strongbox").out,
              HasSubstr("lacks, as it may: import, RSA-4096"));
  EXPECT_THAT(Orx("check attestation --strongbox").out, HasSubstr("its attestation key itself"));
  EXPECT_THAT(Orx("check attestation -q").out, Not(HasSubstr("note:")));
  faults_ = {"modem:echo"};
  EXPECT_THAT(Orx("check attestation --ids imei").out, HasSubstr("it repeats the command"));
}

TEST_F(CheckCommandTest, ShowsAndWritesTheChainOfAnAttestationKey) {
  Expect("attest-key -o @chain", 0);
  const ProgramResult openssl = Program(
      "openssl verify -x509_strict -no_check_time -CAfile @chain/cert3.pem"
      " -untrusted @chain/chain.pem @chain/cert0.pem");
  EXPECT_EQ(openssl.exit_code, 0) << openssl.err;
  Expect("chain check @chain/chain.pem", 0, "PASS  chain of 4  OK\nnote: the root");
  EXPECT_EQ(OrxJson("answer", "chain check @chain/chain.pem --size 5")["code"],
            "ATTEST-CHAIN-SIZE");
  Write("cut", Read("chain/chain.pem").substr(0, 1500));
  Expect("chain check @cut", 1, "[CERTIFICATE-FORMAT]");

  const Json::Value chain = OrxJson("answer", "chain show @chain/chain.pem");
  ASSERT_EQ(chain["certificates"].size(), 4u);
  const Json::Value& leaf = chain["certificates"][0];
  EXPECT_EQ(leaf["subject"].asString(), "/CN=Android Keystore Key");
  EXPECT_EQ(leaf["key"].asString(), "EC P-256");
  const Json::Value& record = leaf["attestation"];
  EXPECT_EQ(record["attestationVersion"].asInt(), 300);
  EXPECT_EQ(record["attestationSecurityLevel"].asString(), "TrustedEnvironment");
  EXPECT_EQ(record["attestationChallenge"].asString(), "orx");
  EXPECT_EQ(record["hardwareEnforced"]["purpose"][0].asString(), "ATTEST_KEY");
  EXPECT_EQ(record["hardwareEnforced"]["keySize"].asInt(), 256);
  EXPECT_FALSE(record["hardwareEnforced"]["rootOfTrust"]["deviceLocked"].asBool());
  EXPECT_FALSE(record.isMember("error"));
  EXPECT_EQ(chain["certificates"][3]["subject"].asString(), "/serialNumber=f92009e853b6b045");
  Expect("chain show @chain/cert0.pem", 0, "    verifiedBootState: Unverified\n");

  Write("text", "text");
  Expect("chain show @text", 1, "[CERTIFICATE-FORMAT]");
  Expect("attest-key --strongbox -o @chain", 0);
  EXPECT_EQ(OrxJson("answer", "chain show @chain/chain.pem")["certificates"].size(), 1u);
  faults_ = {"generateKey:chain"};
  const Json::Value certificates = OrxJson("answer", "attest-key -o @chain")["certificates"];
  EXPECT_TRUE(certificates.size() == 5 && certificates[4].isNull()) << certificates;
}

}  // namespace
}  // namespace orx_tool
