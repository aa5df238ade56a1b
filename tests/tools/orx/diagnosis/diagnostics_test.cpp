// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/diagnostics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace orx_tool {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// ---- The table against the sources ----

// Every C++ source of the library, joined.
std::string LibrarySources() {
  std::string sources;
  for (const char* folder : {"src", "include"}) {
    const auto root = std::filesystem::path(ORX_SOURCE_DIR) / folder;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      const auto extension = entry.path().extension();
      if (extension != ".cpp" && extension != ".h") continue;
      std::ifstream file(entry.path());
      sources.append(std::istreambuf_iterator<char>(file), {});
    }
  }
  return sources;
}

// ReadLiteral reads the string literal at `*at`, adjacent ones joined, and moves behind it.
std::string ReadLiteral(const std::string& text, size_t* at) {
  std::string literal;
  size_t i = *at;
  while (i < text.size() && text[i] == '"') {
    for (++i; text[i] != '"'; ++i) {
      if (text[i] != '\\') {
        literal += text[i];
        continue;
      }
      ++i;
      literal += text[i] == 'n' ? '\n' : text[i];
    }
    *at = ++i;
    i = text.find_first_not_of(" \n", i);
  }
  return literal;
}

// The formats handed to the log macro.
std::set<std::string> LoggedFormats(const std::string& sources) {
  std::set<std::string> formats;
  const std::string call = "ORX_LOG(";
  for (size_t at = sources.find(call); at != std::string::npos; at = sources.find(call, at)) {
    at = sources.find_first_not_of(" \n", at + call.size());
    if (sources[at] == '"') formats.insert(ReadLiteral(sources, &at));
  }
  return formats;
}

// Every string literal, so that a message which reaches the log through a table counts as well.
std::set<std::string> Literals(const std::string& sources) {
  std::set<std::string> literals;
  for (size_t at = sources.find('"'); at != std::string::npos; at = sources.find('"', at)) {
    const bool character = at > 0 && sources[at - 1] == '\'';
    if (character) {
      ++at;
    } else {
      literals.insert(ReadLiteral(sources, &at));
    }
  }
  return literals;
}

bool InTable(const std::string& format) {
  for (const Message& message : Messages()) {
    if (format == message.format) return true;
  }
  return false;
}

// A message of the library by its prefix, wherever it stands.
bool LooksLikeMessage(const std::string& text) {
  for (const char* prefix : {"KM: ", "SYM: ", "RSA: ", "ATTEST: "}) {
    if (text.rfind(prefix, 0) == 0) return true;
  }
  return false;
}

TEST(DiagnosticsTable, HoldsEveryMessageOfTheLibrary) {
  const std::string sources = LibrarySources();
  std::set<std::string> formats = LoggedFormats(sources);
  ASSERT_GT(formats.size(), 50u);
  for (const std::string& literal : Literals(sources)) {
    if (LooksLikeMessage(literal)) formats.insert(literal);
  }
  formats.erase("%s");  // a text chosen elsewhere; its literal is found there
  for (const std::string& format : formats) {
    EXPECT_TRUE(InTable(format)) << "not in diagnostics.def: " << format;
  }
}

TEST(DiagnosticsTable, HoldsNoMessageThatTheLibraryDoesNotLog) {
  const std::set<std::string> literals = Literals(LibrarySources());
  for (const Message& message : Messages()) {
    EXPECT_EQ(literals.count(message.format), 1u) << "in no source: " << message.format;
  }
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
    EXPECT_THAT(problem.cause, HasSubstr(cause_part));
  }
}

TEST(MatchMessageTest, TakesTheArgumentsOut) {
  const auto match = MatchMessage("SYM: AES begin (encrypt) failed, code:-33, blob size:12");
  ASSERT_TRUE(match);
  EXPECT_THAT(match->arguments, testing::ElementsAre("encrypt", "-33", "12"));
}

TEST(MatchMessageTest, PrefersTheMoreLiteralMessage) {
  const auto match = MatchMessage("Failed to get prop:ro.vendor.boot.serialno");
  ASSERT_TRUE(match);
  EXPECT_THAT(match->arguments, IsEmpty());
}

TEST(MatchMessageTest, RefusesAlmostRightText) {
  EXPECT_FALSE(MatchMessage("SYM: delete key failed: many"));
  EXPECT_FALSE(
      MatchMessage("KM: Begin "
                   "again"));
  EXPECT_FALSE(MatchMessage(""));
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
