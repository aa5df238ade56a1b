// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/diagnostics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/replaced.h"

namespace orx_tool {
namespace {

using orx_test::Replaced;

// ---- The table against the sources ----

// What stands in the string literals behind this in the library's sources, adjacent ones joined.
std::set<std::string> LiteralsBehind(const std::string& before) {
  std::vector<std::string> found;
  for (const char* folder : {"src", "include"}) {
    const auto root = std::filesystem::path(ORX_SOURCE_DIR) / folder;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      const auto extension = entry.path().extension();
      if (extension != ".cpp" && extension != ".h") continue;
      std::ifstream file(entry.path());
      std::string text(std::istreambuf_iterator<char>(file), {});
      text = Replaced(text, "'\"'|\"[ \n]+\"", "");
      Replaced(text, before + "\"(([^\"\\\n]|\\\\.)*)\"", "", &found);
    }
  }
  std::set<std::string> literals;
  for (const std::string& text : found) literals.insert(Replaced(text, "\\\\n", "\n"));
  return literals;
}

TEST(DiagnosticsTable, HoldsTheMessagesOfTheLibraryAndNoOther) {
  std::set<std::string> formats = LiteralsBehind("ORX_LOG\\([ \n]*");
  ASSERT_GT(formats.size(), 50u);
  // One that reaches the log through a table counts as well.
  const std::set<std::string> literals = LiteralsBehind("");
  for (const std::string& literal : literals) {
    if (Replaced(literal, "^(KM|SYM|RSA|ATTEST): ", "") != literal) formats.insert(literal);
  }
  formats.erase("%s");  // a text chosen elsewhere; its literal is found there
  for (const Message& known : Messages()) {
    formats.erase(known.format);
    EXPECT_EQ(literals.count(known.format), 1u) << "in no source: " << known.format;
  }
  EXPECT_THAT(formats, testing::IsEmpty()) << "not in diagnostics.def";
}

TEST(DiagnosticsTable, IsConsistent) {
  std::set<std::string> codes;
  for (const Reason& reason : Reasons()) {
    EXPECT_TRUE(codes.insert(reason.code).second) << reason.code << " twice";
    EXPECT_EQ(std::string(reason.cause).back(), '.') << reason.code;
    EXPECT_NE(reason.exit_code, kDone) << reason.code;
  }
  std::set<std::string> formats;
  for (const Message& message : Messages()) {
    EXPECT_TRUE(formats.insert(message.format).second) << message.format << " twice";
    const bool failure =
        message.kind == MessageKind::kFailure || message.kind == MessageKind::kConsequence;
    if (!failure) continue;
    EXPECT_EQ(codes.count(message.reason), 1u) << message.reason;
  }
  for (const KeyMintError& error : KeyMintErrors()) EXPECT_EQ(codes.count(error.reason), 1u);
}

// ---- Finding the cause ----

TEST(DiagnosisTest, NamesTheCause) {
  const std::tuple<const char*, const char*, int, const char*, const char*> rows[] = {
      {"first failure wins", "KM-SERVICE-MISSING", kEnvironment, "not registered",
       "strongbox was 0\nCould not obtain the keymint service\nKM: ImportKey\n"
       "SYM: Import key failed with error: -32\n"},
      {"KeyMint's error by number says more", "KM-KEY-OUTDATED", kFailed, "KEY_REQUIRES_UPGRADE",
       "KM: Begin\nSYM: AES begin (encrypt) failed, code:-62, blob size:120\n"},
      {"by name", "KM-KEYS-NOT-PROVISIONED", kFailed, "ATTESTATION_KEYS_NOT_PROVISIONED",
       "ATTEST: could not generate a valid attestation key. Reason: "
       "ATTESTATION_KEYS_NOT_PROVISIONED\n"},
      {"an unknown one keeps its number", "KM-FAILED", kFailed, "-10007",
       "RSA: begin failed with error: -10007\n"},
      {"what was got over does not count", "ATTEST-DEVICE-ID", kFailed, "identifier",
       "ORX_DEVICE_GetMeid: meid is not programmed to NV!\n"
       "ATTEST: ORX get MEID fail, convert IMEI to MEID\n"
       "ATTEST: attestation fails with device ID\n"},
      {"a consequence alone is taken", "ATTEST-CHAIN-INVALID", kFailed, "chain",
       "ATTEST: attest key cert chain invalid\n"},
      {"failure before its consequences", "MODEM-UNREACHABLE", kEnvironment, "socket",
       "Failed to disable the blocking mode\nConnect to AT command engine with 30 fails\n"
       " -- Unable to establish connection with AT engine after try 30 times\n"
       "Done, status= -1\nORX_DEVICE_GetImei failed!\n"},
      {"nothing known", "UNEXPLAINED", kFailed, "without", "strongbox was 0\n"},
      {"no lines", "UNEXPLAINED", kFailed, "without", ""}};
  for (const auto& [title, code, exit_code, cause_part, messages] : rows) {
    SCOPED_TRACE(title);
    std::vector<LogLine> lines;
    std::istringstream text(messages);
    for (std::string line; std::getline(text, line);) lines.push_back({"src/x.cpp:1", line});
    const Problem problem = Diagnose(lines);
    EXPECT_EQ(problem.code, code);
    EXPECT_EQ(problem.exit_code, exit_code);
    EXPECT_THAT(problem.cause, testing::HasSubstr(cause_part));
  }
}

TEST(MatchMessageTest, TakesTheArgumentsOutOfTheMostLiteralMessage) {
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"SYM: AES begin (encrypt) failed, code:-33, blob size:12", {"encrypt", "-33", "12"}},
      {"Failed to get prop:ro.vendor.boot.serialno", {}}};
  for (const auto& [text, arguments] : rows) EXPECT_EQ(MatchMessage(text)->arguments, arguments);
  for (const char* other : {"SYM: delete key failed: many", "KM: Begin again", ""}) {
    EXPECT_FALSE(MatchMessage(other)) << other;
  }
}

TEST(MaskIdentifiersTest, HidesWhatNamesTheDeviceAndNothingElse) {
  EXPECT_EQ(MaskIdentifiers("Parse IMEI from modem is: 352099001761481"),
            "Parse IMEI from modem is: 35*************");
  EXPECT_EQ(MaskIdentifiers("AT data receive is 352099001761481, data length is 15"),
            "AT data receive is 35*************, data length is 15");
  EXPECT_EQ(MaskIdentifiers("ATTEST: validate key with auth tag-KeyParameter{tag: "
                            "ATTESTATION_ID_IMEI, value: KeyParameterValue{blob: [52, 57]}}"),
            "ATTEST: validate key with auth tag-KeyParameter{tag: ATTESTATION_ID_IMEI, value: "
            "KeyParameterValue{blob: [*]}}");
  EXPECT_EQ(MaskIdentifiers("SYM: Failed to read key blob from /mnt/x"),
            "SYM: Failed to read key blob from /mnt/x");
}

TEST(SplitLogLineTest, TakesThePlaceOff) {
  const LogLine line = SplitLogLine("src/mtk/x.cpp:12: get: one: two\n");
  EXPECT_EQ(line.place, "src/mtk/x.cpp:12");
  EXPECT_EQ(line.message, "get: one: two");
  for (const char* text :
       {"KM: Begin", "Connected", "of x.cpp:12", "x.cpp:: get", "x.cpp:12:get"}) {
    EXPECT_EQ(SplitLogLine(text).place, "") << text;
    EXPECT_EQ(SplitLogLine(text).message, text);
  }
}

}  // namespace
}  // namespace orx_tool
