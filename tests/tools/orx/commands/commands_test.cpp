// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/orx.h>

#include <algorithm>
#include <set>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

TEST(CommandTable, HasUniqueNamesAndOptions) {
  std::vector<std::string> names;
  for (const Command& command : Commands()) {
    names.push_back(command.name);
    std::vector<std::string> options;
    std::string letters;
    for (const auto* list : {&command.options, &GlobalOptions()}) {
      for (const Option& option : *list) {
        options.push_back(option.name);
        if (option.letter != 0) letters += option.letter;
      }
    }
    std::sort(options.begin(), options.end());
    std::sort(letters.begin(), letters.end());
    EXPECT_EQ(std::adjacent_find(options.begin(), options.end()), options.end()) << command.name;
    EXPECT_EQ(std::adjacent_find(letters.begin(), letters.end()), letters.end()) << command.name;
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class EveryCommandTest : public ToolTest {
 protected:
  // Runs gives for each command a line that succeeds after those before it, as far as one can.
  std::vector<std::vector<std::string>> Runs() const {
    const std::string data = work("data");
    return {{"key", "import", "50", "--hex", std::string(32, '0')},
            {"key", "import", "51", "--pkcs8", work("rsa.pem")},
            {"key", "list"},
            {"key", "show", "50"},
            {"encrypt", "50", "-i", data, "-o", work("cipher")},
            {"decrypt", "50", "-i", work("cipher"), "-o", work("plain")},
            {"sign", "51", "-i", data},
            {"verify", "51", "-i", data, "-s", data},
            {"rsa-encrypt", "51", "-i", data},
            {"rsa-decrypt", "51", "-i", data},
            {"key", "delete", "50", "--file"},
            {"hash", "sha1", data},
            {"kdf", "--secret", data, "-n", "8"},
            {"random", "8", "-o", work("random")},
            {"store", "put", "1", "-i", data},
            {"store", "get", "1"},
            {"store", "size", "1"},
            {"store", "list"},
            {"store", "rm", "1"},
            {"ids"},
            {"imei"},
            {"imei2"},
            {"meid"},
            {"uid"},
            {"mode"},
            {"records"},
            {"modem", "AT+CGSN"},
            {"check", "attestation"},
            {"check", "model", "x"},
            {"check", "rkp-ids"},
            {"check", "root-of-trust"},
            {"check", "shared-secret"},
            {"check", "all", "--keep-going"},
            {"attest-key", "-o", work("chain")},
            {"chain", "show", work("chain/chain.pem")},
            {"doctor", "--timeout", "60"},
            {"explain", "USAGE"}};
  }
};

TEST_F(EveryCommandTest, AnswersInTheOneEnvelope) {
  Write(work("data"), "data");
  ASSERT_EQ(orx_test::RunProgram(
                {"openssl", "genpkey", "-quiet", "-algorithm", "RSA", "-out", work("rsa.pem")})
                .exit_code,
            0);
  std::set<std::string> missing;
  for (const Command& command : Commands()) missing.insert(command.name);
  for (const std::vector<std::string>& words : Runs()) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Json::Value answer = OrxAnswer(words);
    missing.erase(answer["command"].asString());
    EXPECT_EQ(answer["tool_version"].asString(), ORX_VERSION_STRING);
    EXPECT_EQ(answer["library_version"].asString(), ORX_VERSION_STRING);
    EXPECT_EQ(answer["device_model"].asString(), "Simulated Dual");
    EXPECT_THAT(answer["time"].asString(),
                MatchesRegex("2[0-9]{3}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]Z"));
  }
  EXPECT_THAT(missing, testing::IsEmpty());
}

TEST_F(EveryCommandTest, TheSchemaRefusesOtherDocuments) {
  const Json::Value schema = Schema();
  const Json::Value answer = OrxAnswer({"mode"});
  for (const std::string& member : answer.getMemberNames()) {
    Json::Value wrong = answer;
    wrong.removeMember(member);
    EXPECT_NE(orx_test::SchemaErrors(wrong, schema), "") << member;
    wrong[member] = Json::Value(Json::arrayValue);
    EXPECT_NE(orx_test::SchemaErrors(wrong, schema), "") << member;
  }
  Json::Value other = answer;
  other["command"] = "key list";  // with the result of another command
  EXPECT_NE(orx_test::SchemaErrors(other, schema), "");
}

TEST_F(EveryCommandTest, VerboseMasksWhatNamesTheDevice) {
  const std::vector<std::string> secrets = {"490154203237518", "SIM0000000000001",
                                            "0123456789abcdef", "52, 57, 48"};
  for (const std::vector<std::string>& words : {std::vector<std::string>{"imei"},
                                                {"uid"},
                                                {"ids"},
                                                {"records"},
                                                {"doctor"},
                                                {"modem", "AT"},
                                                {"check", "attestation", "--ids", "all"}}) {
    SCOPED_TRACE(words[0]);
    std::vector<std::string> verbose = {"-v"};
    verbose.insert(verbose.end(), words.begin(), words.end());
    const std::string log = Orx(verbose).err;
    for (const std::string& secret : secrets) EXPECT_THAT(log, Not(HasSubstr(secret)));
  }
  EXPECT_THAT(Orx({"-v", "imei"}).err, HasSubstr("Parse IMEI from modem is: 49****"));
  EXPECT_THAT(Orx({"-v", "--show-ids", "imei"}).err, HasSubstr("490154203237518"));
}

TEST_F(EveryCommandTest, VersionIsTheHeaders) {
  EXPECT_EQ(Orx({"--version"}).out, "orx " ORX_VERSION_STRING "\n");
}

}  // namespace
}  // namespace orx_tool
