// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/tools/orx/tool_fixture.h"
#include "tools/orx/doctor/doctor_probes.h"
#include "tools/orx/doctor/needs.h"

namespace orx_tool {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): a literal is not seen as a use of its operator
using std::string_literals::operator""s;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

// Enough for a slow machine; the doctor's own limit is for devices.
const char kDoctor[] = "doctor --timeout 60";

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

  // Lines holds what is to be added, for one area or for all, each as "area> file: line".
  static std::vector<std::string> Lines(const Json::Value& answer, const std::string& area = "") {
    std::vector<std::string> lines;
    for (const Json::Value& finding : answer["findings"]) {
      if (!area.empty() && finding["area"].asString() != area) continue;
      for (const Json::Value& line : finding["add"]) {
        lines.push_back(finding["area"].asString() + "> " + line["file"].asString() + ": " +
                        line["line"].asString());
      }
    }
    return lines;
  }

  // OutsideAsNobody is the doctor's answer where no device is, as a user without privileges.
  Json::Value OutsideAsNobody() {
    Words words = {ORX_PROGRAM, "doctor", "--json", "--timeout", "60"};
    // The superuser may everything.
    if (geteuid() == 0) words = "setpriv --reuid=65534 --regid=65534 --clear-groups" + words;
    return orx_test::ParseJson(Program(words).out)["result"];
  }
};

TEST_F(DoctorCommandTest, FindsAHealthyDeviceHealthy) {
  Expect("key import 50 --random", 0);
  const ProgramResult result = Orx(kDoctor);
  EXPECT_EQ(result.exit_code, 0) << result.out;
  for (const char* text : {"version 3, TRUSTED_ENVIRONMENT", "-byte blob, AES-128\n",
                           "a daemon listens on /dev/socket/rild-oem",
                           "property                ro.product.vendor.brand = ",
                           "note     property                ro."}) {
    EXPECT_THAT(result.out, HasSubstr(text));
  }
  EXPECT_THAT(result.out, testing::Not(HasSubstr("SIM0000000000001")));
  EXPECT_TRUE(OrxJson("doctor", kDoctor)["healthy"].asBool());
}

TEST_F(DoctorCommandTest, TellsKeysThatTheDeviceDoesNotOpen) {
  for (const std::string id : {"17", "50", "51"}) Expect("key import --random " + id, 0);
  Inside({"bash", "-c",
          "cd /mnt/vendor/persist/security; echo x >>zol_key_user0;"
          "rm zol_key_user1; mkdir zol_key_user1"});
  const Json::Value answer = OrxAnswer(kDoctor);
  EXPECT_EQ(answer["exit_code"].asInt(), 1);
  const auto problems = Problems(answer["result"]);
  EXPECT_EQ(problems.at("key slot 50"), "KM-BLOB-REFUSED");
  EXPECT_EQ(problems.at("key slot 51"), "KEY-FILE-UNREADABLE");
  EXPECT_EQ(problems.count("key slot 17"), 0u);
}

TEST_F(DoctorCommandTest, AMissingServiceAndFolderAreEnvironmentFailures) {
  in_device_ = false;
  std::filesystem::remove("/mnt/vendor/persist/security");
  const Json::Value answer = OrxAnswer(kDoctor);
  EXPECT_EQ(answer["exit_code"].asInt(), 4);
  const auto problems = Problems(answer["result"]);
  EXPECT_EQ(problems.at("symmetric service"), "KM-SERVICE-MISSING");
  EXPECT_EQ(problems.at("keymint/default"), "KM-SERVICE-MISSING");
  EXPECT_EQ(problems.at("folder"), "PERSIST-MISSING");
  Write("/mnt/vendor/persist/security", "a file");
  EXPECT_THAT(Orx("key list").err, HasSubstr("is not a folder"));
}

TEST_F(DoctorCommandTest, AServiceThatDoesNotAnswerWellIsAProblem) {
  const std::tuple<const char*, const char*, const char*, const char*, int> rows[] = {
      {"strongbox.getHardwareInfo:dead-object", kDoctor, "keymint/strongbox", "KM-TRANSPORT", 4},
      {"strongbox.getHardwareInfo:-1000", kDoctor, "keymint/strongbox", "KM-FAILED", 1},
      {"default.rkp.getInterfaceVersion:dead-object", kDoctor, "rkp/default", "KM-TRANSPORT", 4},
      {"default.getHardwareInfo:delay=30", "doctor --timeout 0.5", "service", "TIMED-OUT", 5}};
  for (const auto& [fault, words, area, code, exit_code] : rows) {
    SCOPED_TRACE(fault);
    faults_ = {fault};
    const Json::Value answer = OrxAnswer(words);
    EXPECT_EQ(answer["exit_code"].asInt(), exit_code);
    EXPECT_EQ(Problems(answer["result"])[area], code);
  }
}

TEST_F(DoctorCommandTest, AFolderThatTakesNoFilesIsAProblem) {
  EXPECT_EQ(FolderProblem(65536, false, true), "");
  EXPECT_EQ(FolderProblem(65535, false, true), "PERSIST-FULL");
  EXPECT_EQ(FolderProblem(65536, true, true), "PERSIST-FULL");
  EXPECT_EQ(FolderProblem(65536, false, false), "PERSIST-DENIED");
  const std::string folder = "/mnt/vendor/persist/security";
  std::filesystem::permissions(folder, std::filesystem::perms(0555));
  EXPECT_EQ(Problems(OutsideAsNobody())["folder"], "PERSIST-DENIED");
}

TEST_F(DoctorCommandTest, NamesTheLineThatAnIntegratorForgot) {
  profile_ = "bare";
  const Json::Value whole = OrxAnswer(kDoctor);
  const Json::Value& answer = whole["result"];
  EXPECT_EQ(whole["exit_code"].asInt(), 4);
  const auto problems = Problems(answer);
  EXPECT_EQ(problems.at("modem"), "MODEM-UNREACHABLE");
  EXPECT_EQ(problems.at("property"), "PROPERTY-MISSING");
  EXPECT_EQ(problems.count("keymint/default"), 0u);
  const std::string contexts = "> android/sepolicy/strongbox/service_contexts: android.hardware.";
  for (const std::string& line :
       {"keymint/strongbox" + contexts +
            "security.keymint.IKeyMintDevice/strongbox u:object_r:hal_keymint_service:s0",
        "rkp/strongbox" + contexts +
            "security.keymint.IRemotelyProvisionedComponent/strongbox "
            "u:object_r:hal_remotelyprovisionedcomponent_service:s0",
        "shared-secret/strongbox" + contexts +
            "security.sharedsecret.ISharedSecret/strongbox u:object_r:hal_sharedsecret_service:s0",
        "keymint/strongbox> the HAL's VINTF manifest: <fqname>IKeyMintDevice/strongbox</fqname>"s,
        "modem> the modem daemon's init .rc file: socket rild-oem stream 0660 root radio"s,
        "property> android/orx.rc: setprop ro.vendor.boot.serialno ${ro.boot.serialno}"s,
        "property> the product's makefile: PRODUCT_VENDOR_PROPERTIES += ro.vendor.hw.dualsim=true"s,
        "property> the product's makefile: PRODUCT_BRAND, _DEVICE, _MANUFACTURER, _MODEL and _NAME "
        ":= ..."s}) {
    EXPECT_THAT(Lines(answer), Contains(line));
  }
  EXPECT_THAT(Lines(OutsideAsNobody()),
              AllOf(Contains("keymint/default> DOMAIN.te: orx_keymint_client(DOMAIN)"),
                    Contains("rkp/default> DOMAIN.te: orx_keymint_client(DOMAIN)")));
  for (const Json::Value& finding : answer["findings"]) {
    EXPECT_EQ(finding["add"].empty(), finding["status"].asString() == "ok") << finding;
  }
}

TEST_F(DoctorCommandTest, SpeaksToIntegratorsOnAndroidOrWhenAsked) {
  profile_ = "bare";
  const std::string line =
      "         add to android/orx.rc: setprop ro.vendor.boot.serialno ${ro.boot.serialno}\n"
      "         ro.boot.serialno itself is closed to vendor domains; init alone may pass it on.\n";
  EXPECT_THAT(Orx(kDoctor).out, testing::Not(HasSubstr("add to")));
  EXPECT_THAT(Orx("doctor -v --timeout 60").out, HasSubstr(line));
  SetDevice("ro.build.version.sdk=34");
  EXPECT_THAT(Orx(kDoctor).out,
              AllOf(HasSubstr(line), HasSubstr("         if it should be there, add to ")));
}

TEST_F(DoctorCommandTest, TellsAMissingGroupFromAWrongModeAndFromThePolicy) {
  const char folder[] = "/mnt/vendor/persist/security";
  const char modem[] = "/dev/socket/rild-oem";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {AF_UNIX, "/dev/socket/rild-oem"};
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  const std::string group = "> the caller's init .rc file: group ";
  const std::string make_folder =
      "folder> android/orx.rc: mkdir /mnt/vendor/persist/security 0770 system system";
  const std::string make_socket =
      "modem> the modem daemon's init .rc file: socket rild-oem stream 0660 root radio";
  // The path, its mode (-1: not there), the lines.
  const std::tuple<const char*, int, std::vector<std::string>> rows[] = {
      {folder, 0070, {"folder" + group + "system", make_folder}},
      {folder, 0500, {make_folder}},
      {folder, -1, {make_folder}},
      {modem, 0777, {}},
      {modem, 0060, {"modem" + group + "radio", make_socket}},
      {modem, 0400, {make_socket}},
      {modem, -1, {make_socket}},
  };
  for (const auto& [path, mode, expected] : rows) {
    SCOPED_TRACE(std::string(path) + " " + std::to_string(mode));
    if (mode < 0) {
      std::filesystem::remove(path);
    } else {
      std::filesystem::permissions(path, std::filesystem::perms(mode));
    }
    EXPECT_EQ(Lines(OutsideAsNobody(), path == folder ? "folder" : "modem"), expected);
  }
  // What mode and group allow, the policy forbids.
  const std::string path = work("");
  std::filesystem::permissions(path, std::filesystem::perms(0570));
  const uid_t user = geteuid();
  if (user == 0) {
    ASSERT_TRUE(chown(path.c_str(), 0, 65534) == 0 && setegid(65534) == 0 && seteuid(65534) == 0);
  }
  const Remedy remedy = PathRemedy(modem, path.c_str(), EACCES, R_OK);
  seteuid(user);
  ASSERT_EQ(remedy.lines.size(), 2u);
  EXPECT_EQ(remedy.lines[0].file, "android/sepolicy/modem/file_contexts");
  EXPECT_EQ(remedy.lines[1].line, "orx_modem_client(DOMAIN)");
}

TEST_F(DoctorCommandTest, ExplainTakesCodesErrorsAndLogLines) {
  in_device_ = false;
  const std::pair<Words, const char*> cases[] = {
      {{"KM-SERVICE-MISSING"}, "log line: Could not obtain the keymint service"},
      {{"KM-FAILED"}, "Import key failed with error: %d\n  log line: "},
      {{"km-service-missing"}, "owner: init and sepolicy"},
      {{"KEY_REQUIRES_UPGRADE"}, "KM-KEY-OUTDATED (exit code 1)"},
      {{"--", "-62"}, "KEY_REQUIRES_UPGRADE (-62)"},
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
      {{"KM: GenerateKey"}, "no failure"},
      {{}, "\nSS-DIFFERENT"}};
  for (const auto& [words, text] : cases) Expect(Words("explain") + words, 0, text);
  for (const char* other :
       {"no such thing", "no such heading:", "notes", "all is OK", "[KM-BUSYNESS]"}) {
    Expect({"explain", other}, 1);
  }
}

TEST_F(DoctorCommandTest, ExplainTakesEveryLineOfAFailure) {
  const std::pair<Words, const char*> failures[] = {
      {"check all --keep-going --ids brand", "generateKey:-1000"},
      {"check all", "strongbox.computeSharedSecret:damaged"},
      {"check attestation --ids imei --timeout 5", "modem:echo"},
      {"doctor --timeout 60", "service:strongbox:absent"},
      {"imei --timeout 0.4", "modem:silent"},
      {"imei", "modem:close"},
      {"store get 5", ""},
      {"sign 50 -i @none", ""},
      {"encrypt 50", ""},
      {"key import 50 --random", "importKey:-49"}};
  options_.input = "data";
  std::set<std::string> explained;
  const auto explain = [&](const ProgramResult& failed) {
    EXPECT_NE(failed.exit_code, 0);
    std::istringstream lines(failed.out + failed.err);
    for (std::string line; std::getline(lines, line);) {
      if (explained.insert(line).second) Expect({"explain", line}, 0);
    }
  };
  for (const auto& [words, fault] : failures) {
    faults_ = Words(fault);
    in_device_ = true;
    const ProgramResult failed = Orx(words);
    in_device_ = false;
    explain(failed);
  }
  explain(Simulator("run -q --fault write:ENOSPC -- " ORX_PROGRAM " store put 5"));
}

}  // namespace
}  // namespace orx_tool
