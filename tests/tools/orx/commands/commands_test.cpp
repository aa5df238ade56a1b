// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/orx.h>

#include <set>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

TEST(CommandTable, HasUniqueNamesAndOptions) {
  std::set<std::string> names;
  for (const Command& command : Commands()) {
    EXPECT_TRUE(names.insert(command.name).second) << command.name;
    std::set<std::string> options;
    for (const auto* list : {&command.options, &GlobalOptions()}) {
      for (const Option& option : *list) {
        EXPECT_TRUE(options.insert(option.name).second) << command.name;
        const std::string letter(1, option.letter);
        EXPECT_TRUE(option.letter == 0 || options.insert(letter).second) << command.name;
      }
    }
  }
}

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;

// Lines that succeed one after the other, as far as one can.
const char kLines[] =
    "key import 50 --hex 00000000000000000000000000000000; key list; key show 50;"
    "encrypt 50 -i @data -o @cipher; decrypt 50 -i @cipher -o @plain; key delete 50 --file;"
    "key import 51 --pkcs8 @key; sign 51 -i @data; verify 51 -i @data -s @data;"
    "rsa-encrypt 51 -i @data; rsa-decrypt 51 -i @data;"
    "hash sha1 @data; kdf --secret @data -n 8; random 8 -o @random;"
    "store put 1 -i @data; store get 1; store size 1; store list; store rm 1;"
    "ids; imei; imei2; meid; uid; mode; records; modem AT+CGSN;"
    "check list; check keymint --strongbox; check attestation; check model x; check rkp-ids;"
    "check root-of-trust; check shared-secret; check all --keep-going;"
    "attest-key -o @chain; chain show @chain/chain.pem; chain check @chain/chain.pem;"
    "doctor --timeout 60; explain USAGE";

class EveryCommandTest : public ToolTest {};

TEST_F(EveryCommandTest, AnswersInOneEnvelope) {
  Write("data", "data");
  Write("key", Read(kRsaKey));
  std::set<std::string> missing;
  for (const Command& command : Commands()) missing.insert(command.name);
  std::istringstream lines(kLines);
  for (std::string text; std::getline(lines, text, ';');) {
    SCOPED_TRACE(text);
    const Words line = text;
    const Json::Value answer = OrxAnswer(line);
    const std::string command = answer["command"].asString();
    missing.erase(command);
    EXPECT_EQ(command, line[0] == command ? command : line[0] + " " + line[1]);
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
  const Json::Value answer = OrxAnswer("mode");
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
  for (const char* words :
       {"imei", "uid", "ids", "records", "doctor", "modem AT", "check attestation --ids all"}) {
    SCOPED_TRACE(words);
    const std::string log = Orx(Words("-v") + words).err;
    for (const std::string& secret : secrets) EXPECT_THAT(log, testing::Not(HasSubstr(secret)));
  }
  EXPECT_THAT(Orx("-v imei").err, ContainsRegex("ORX src/mtk/.*: Parse IMEI from modem is: 49\\*"));
  EXPECT_THAT(Orx("-v --show-ids imei").err, HasSubstr("490154203237518"));
}

TEST_F(EveryCommandTest, VersionIsTheHeaders) {
  EXPECT_EQ(Orx("--version").out, "orx " ORX_VERSION_STRING "\n");
}

}  // namespace
}  // namespace orx_tool
