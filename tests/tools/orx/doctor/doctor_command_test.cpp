// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "tests/tools/orx/tool_fixture.h"
#include "tools/orx/doctor/doctor_probes.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;
using testing::Not;

// Enough for a slow machine; the doctor's own limit is for devices.
const std::vector<std::string> kDoctor = {"doctor", "--timeout", "60"};

class DoctorCommandTest : public ToolTest {
 protected:
  // Problems maps each area with a problem to its code.
  std::map<std::string, std::string> Problems(const Json::Value& answer) {
    std::map<std::string, std::string> problems;
    for (const Json::Value& finding : answer["findings"]) {
      if (finding["status"].asString() != "PROBLEM") continue;
      problems[finding["area"].asString()] = finding["code"].asString();
      EXPECT_NE(finding["advice"].asString(), "");
      EXPECT_NE(finding["owner"].asString(), "");
    }
    return problems;
  }
};

TEST_F(DoctorCommandTest, FindsAHealthyDeviceHealthy) {
  ASSERT_EQ(Orx({"key", "import", "50", "--hex", std::string(32, '0')}).exit_code, 0);
  const ProgramResult result = Orx(kDoctor);
  EXPECT_EQ(result.exit_code, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("version 3, TRUSTED_ENVIRONMENT"));
  EXPECT_THAT(result.out, HasSubstr("-byte blob, AES-128\n"));
  EXPECT_THAT(result.out, HasSubstr("a daemon listens on /dev/socket/rild-oem"));
  EXPECT_THAT(result.out, Not(HasSubstr("SIM0000000000001")));
  EXPECT_THAT(result.out, HasSubstr("property                ro.product.vendor.brand = "));
  EXPECT_THAT(result.out, HasSubstr("note     property                ro."));
  EXPECT_TRUE(OrxJson("doctor", kDoctor)["healthy"].asBool());
}

TEST_F(DoctorCommandTest, NamesWhatIsMissingWithItsOwner) {
  profile_ = "bare";
  const Json::Value answer = OrxJson("doctor", kDoctor);
  const auto problems = Problems(answer);
  EXPECT_EQ(problems.at("modem"), "MODEM-UNREACHABLE");
  EXPECT_EQ(problems.at("property"), "PROPERTY-MISSING");
  EXPECT_EQ(problems.count("keymint/default"), 0u);
  EXPECT_EQ(Orx(kDoctor).exit_code, 4);
}

TEST_F(DoctorCommandTest, TellsKeysThatTheDeviceDoesNotOpen) {
  for (const char* id : {"17", "50", "51"}) {
    ASSERT_EQ(Orx({"key", "import", id, "--hex", std::string(32, '0')}).exit_code, 0);
  }
  const std::string blob = "/mnt/vendor/persist/security/zol_key_";
  EXPECT_EQ(Simulator({"run", "-q", "--device", work("device"), "--", "bash", "-c",
                       "echo x >>" + blob + "user0; rm " + blob + "user1; mkdir " + blob + "user1"})
                .exit_code,
            0);
  const auto problems = Problems(OrxJson("doctor", kDoctor));
  EXPECT_EQ(problems.at("key slot 50"), "KM-BLOB-REFUSED");
  EXPECT_EQ(problems.at("key slot 51"), "KEY-FILE-UNREADABLE");
  EXPECT_EQ(problems.count("key slot 17"), 0u);
  EXPECT_EQ(Orx(kDoctor).exit_code, 1);
}

TEST_F(DoctorCommandTest, AMissingServiceAndFolderAreEnvironmentFailures) {
  std::filesystem::remove("/mnt/vendor/persist/security");
  const ProgramResult result =
      orx_test::RunProgram({ORX_PROGRAM, "doctor", "--json", "--timeout", "60"});
  EXPECT_EQ(result.exit_code, 4);
  const auto problems = Problems(orx_test::ParseJson(result.out)["result"]);
  EXPECT_EQ(problems.at("symmetric service"), "KM-SERVICE-MISSING");
  EXPECT_EQ(problems.at("keymint/default"), "KM-SERVICE-MISSING");
  EXPECT_EQ(problems.at("folder"), "PERSIST-MISSING");
  Write("/mnt/vendor/persist/security", "a file");
  EXPECT_THAT(orx_test::RunProgram({ORX_PROGRAM, "key", "list"}).err, HasSubstr("is not a folder"));
}

struct ServiceRow {
  const char* fault;
  std::vector<std::string> options;
  const char* area;
  const char* code;
  int exit_code;
};

TEST_F(DoctorCommandTest, AServiceThatDoesNotAnswerWellIsAProblem) {
  const ServiceRow rows[] = {
      {"strongbox.getHardwareInfo:dead-object", {}, "keymint/strongbox", "KM-TRANSPORT", 4},
      {"strongbox.getHardwareInfo:-1000", {}, "keymint/strongbox", "KM-FAILED", 1},
      {"default.rkp.getInterfaceVersion:dead-object", {}, "rkp/default", "KM-TRANSPORT", 4},
      {"default.getHardwareInfo:delay=30", {"--timeout", "0.5"}, "service", "TIMED-OUT", 5}};
  for (const ServiceRow& row : rows) {
    SCOPED_TRACE(row.fault);
    faults_ = {row.fault};
    std::vector<std::string> words =
        row.options.empty() ? kDoctor : std::vector<std::string>{"doctor"};
    words.insert(words.end(), row.options.begin(), row.options.end());
    const Json::Value answer = OrxAnswer(words);
    EXPECT_EQ(answer["exit_code"].asInt(), row.exit_code);
    EXPECT_EQ(Problems(answer["result"])[row.area], row.code);
  }
}

TEST_F(DoctorCommandTest, AFolderThatTakesNoFilesIsAProblem) {
  EXPECT_EQ(FolderProblem(65536, false, true), "");
  EXPECT_EQ(FolderProblem(65535, false, true), "PERSIST-FULL");
  EXPECT_EQ(FolderProblem(65536, true, true), "PERSIST-FULL");
  EXPECT_EQ(FolderProblem(65536, false, false), "PERSIST-DENIED");
  const std::string folder = "/mnt/vendor/persist/security";
  std::filesystem::permissions(folder, std::filesystem::perms(0555));
  std::vector<std::string> words = {ORX_PROGRAM, "doctor", "--json", "--timeout", "60"};
  if (access(folder.c_str(), W_OK) == 0) {
    // The superuser may write everywhere.
    const std::vector<std::string> as_nobody = {"setpriv", "--reuid=65534", "--regid=65534",
                                                "--clear-groups"};
    words.insert(words.begin(), as_nobody.begin(), as_nobody.end());
  }
  const ProgramResult result = orx_test::RunProgram(words);
  EXPECT_EQ(Problems(orx_test::ParseJson(result.out)["result"])["folder"], "PERSIST-DENIED");
}

struct ExplainCase {
  std::vector<std::string> words;
  const char* text;
};

TEST_F(DoctorCommandTest, ExplainTakesCodesErrorsAndLogLines) {
  const ExplainCase cases[] = {
      {{"KM-SERVICE-MISSING"}, "log line: Could not obtain the keymint service"},
      {{"km-service-missing"}, "owner: init and sepolicy"},
      {{"KEY_REQUIRES_UPGRADE"}, "KM-KEY-OUTDATED (exit code 1)"},
      {{"--", "-62"}, "KM-KEY-OUTDATED (exit code 1)"},
      {{"SYM: No key loaded"}, "SYM-NO-KEY"},
      {{"SYM:", "No", "key", "loaded"}, "SYM-NO-KEY"},
      {{"11-21 06:31:00.123  812  812 D ORX     : src/keymint/ORX_SYM.cpp:178: SYM: AES begin "
        "(decrypt) failed, code:-33, blob size:120"},
       "KM-BLOB-REFUSED"},
      {{"orx: The key slot holds no key. [KEY-SLOT-EMPTY]"}, "KEY-SLOT-EMPTY (exit code 1)"},
      {{"[KEY-SLOT-EMPTY]"}, "KEY-SLOT-EMPTY (exit code 1)"},
      {{"  library: SYM: No key loaded"}, "SYM-NO-KEY"},
      {{"FAIL attestation/default 0.01 ATTEST-ROOT"}, "ATTEST-ROOT (exit code 1)"},
      {{"         KM-BLOB-REFUSED: Import the key again. (operator)"}, "KM-BLOB-REFUSED"},
      {{"  reason:  The KeyMint service is not registered, or this process may not find it "
        "(default)."},
       "KM-SERVICE-MISSING"},
      {{"KM: GenerateKey"}, "no failure"}};
  for (const ExplainCase& c : cases) {
    std::vector<std::string> words = {ORX_PROGRAM, "explain"};
    words.insert(words.end(), c.words.begin(), c.words.end());
    const ProgramResult result = orx_test::RunProgram(words);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr(c.text));
  }
  EXPECT_EQ(orx_test::RunProgram({ORX_PROGRAM, "explain", "no such thing"}).exit_code, 1);
  EXPECT_THAT(orx_test::RunProgram({ORX_PROGRAM, "explain"}).out, HasSubstr("\nSS-DIFFERENT"));
}

}  // namespace
}  // namespace orx_tool
