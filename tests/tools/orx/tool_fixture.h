// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/strings.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "sim/base/module_path.h"
#include "sim/device.h"
#include "tests/support/json_schema.h"
#include "tests/support/run_program.h"
#include "tests/support/temp_folder.h"
#include "tools/orx/program.h"

namespace orx_tool {

using orx_test::ProgramResult;
using orx_test::Words;

// An RSA-2048 key for tests alone, in PKCS#8. Making one takes longer than a test.
inline const char kRsaKey[] = ORX_SOURCE_DIR "/tests/tools/orx/rsa_key.pem";

// ToolTest runs orx as a user does: as a process, within a simulated device that lasts for the test
// case. Files of the case go into work(); a word "@NAME" of a command line is one of them.
class ToolTest : public testing::Test {
 protected:
  ToolTest() {
    setenv("TERM", "xterm", 1);
    setenv("RSA_KEY", kRsaKey, 1);
  }

  std::string work(const std::string& name) const { return work_ / name; }

  // Without a device the program sees this test's own empty folder.
  bool in_device_ = true;
  // The device is made on first use, with this profile.
  std::string profile_ = "dual-sim";
  std::vector<std::string> faults_;
  // Orx is the program itself, with nothing of the test's process, in place of a fork of that: the
  // leak sanitizer would look for the threads of the process that was forked.
  bool starts_anew_ = dlsym(RTLD_DEFAULT, "__asan_init") != nullptr;
  orx_test::ProgramOptions options_;

  ProgramResult Program(Words words) {
    for (std::string& word : words) {
      if (word[0] == '@') word = work(word.substr(1));
    }
    if (words[0] != ORX_PROGRAM || starts_anew_) return orx_test::RunProgram(words, options_);
    words.erase(words.begin());
    return orx_test::RunProgram([&] { return RunTool(words); }, options_);
  }

  // Shell runs a script that must succeed, in the folder of the case's files.
  void Shell(const std::string& script) {
    const ProgramResult result = Program({"bash", "-euc", "cd " + work("") + "\n" + script});
    ASSERT_EQ(result.exit_code, 0) << result.err;
  }

  ProgramResult Simulator(const Words& words) { return Program(Words{ORX_SIM_PROGRAM} + words); }

  ProgramResult Orx(const Words& words) {
    if (!in_device_) return Program(Words{ORX_PROGRAM} + words);
    return Inside(Words{ORX_PROGRAM} + words);
  }

  // Expect runs orx, which must end with this exit code and say this, on standard error if it
  // failed; a failure prints nothing else.
  ProgramResult Expect(const Words& words, int exit_code, const std::string& text = "") {
    SCOPED_TRACE(testing::PrintToString(words));
    const ProgramResult result = Orx(words);
    EXPECT_EQ(result.exit_code, exit_code) << result.err;
    EXPECT_THAT(exit_code == 0 ? result.out : result.err, testing::HasSubstr(text));
    EXPECT_TRUE(exit_code == 0 || result.out.empty()) << result.out;
    return result;
  }

  // ExpectAll does so for each of these.
  struct Row {
    Words words;
    int exit_code;
    std::string text = {};
  };
  void ExpectAll(const std::vector<Row>& rows) {
    for (const Row& row : rows) Expect(row.words, row.exit_code, row.text);
  }

  // Inside runs another program within the device. The case has a sandbox of its own, so the device
  // lies at the real paths, without the one that orx-sim run would start each time. Faults of files
  // and folders are those of orx-sim run alone.
  ProgramResult Inside(const Words& words) {
    MakeDevice();
    orx_sim::FaultTable faults;
    std::string error;
    for (const std::string& fault : faults_) EXPECT_TRUE(faults.Add(fault, &error)) << error;
    orx_sim::ModemDaemon modem;
    EXPECT_TRUE(StartModem(*device_, {}, &faults, "/dev/socket/rild-oem", &modem, &error)) << error;
    setenv("ANDROID_HOST_DEVICE", orx_sim::ModulePath().c_str(), 1);
    setenv("ORX_SIM_DEVICE", device_->path().c_str(), 1);
    setenv("ORX_SIM_FAULTS", android::base::Join(faults_, '\n').c_str(), 1);
    const ProgramResult result = Program(words);
    unsetenv("ANDROID_HOST_DEVICE");
    return result;
  }

  // SetDevice changes a setting of the device ("os-patch-level=202701").
  void SetDevice(const std::string& setting) {
    MakeDevice();
    std::string error;
    ASSERT_TRUE(device_->Set({setting}, &error)) << error;
  }

  // OrxAnswer runs with --json and gives the whole answer, held against what 'orx --schema' prints.
  Json::Value OrxAnswer(const Words& words) {
    const ProgramResult result = Orx(Words("--json") + words);
    Json::Value answer = orx_test::ParseJson(result.out);
    EXPECT_EQ(orx_test::SchemaErrors(answer, Schema()), "") << result.out;
    EXPECT_EQ(answer["exit_code"].asInt(), result.exit_code);
    EXPECT_EQ(answer["ok"].asBool(), result.exit_code == 0);
    return answer;
  }

  // OrxJson is the result of the answer, or of a report its first "check".
  Json::Value OrxJson(const std::string& part, const Words& words) {
    const Json::Value answer = OrxAnswer(words);
    EXPECT_TRUE(answer.isMember("result")) << answer.toStyledString();
    return part == "check" ? answer["result"]["checks"][0] : answer["result"];
  }

  // A name without a slash in front is one of the case's files.
  void Write(const std::string& name, const std::string& content) {
    std::ofstream(Path(name), std::ios::binary) << content;
  }
  std::string Read(const std::string& name) {
    std::ostringstream content;
    content << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return content.str();
  }
  bool Exists(const std::string& name) { return std::filesystem::exists(Path(name)); }

  static const Json::Value& Schema() {
    static const auto& schema =
        *new Json::Value(orx_test::ParseJson(orx_test::RunProgram({ORX_PROGRAM, "--schema"}).out));
    return schema;
  }

 private:
  std::string Path(const std::string& name) { return name[0] == '/' ? name : work(name); }

  void MakeDevice() {
    if (Exists("device")) return;
    std::string error;
    device_ = orx_sim::DeviceFolder::Create(work("device"), profile_, &error,
                                            orx_sim::Lifetime::kThrownAway);
    ASSERT_TRUE(device_) << error;
  }

  std::shared_ptr<orx_sim::DeviceFolder> device_;
  orx_test::TempFolder work_;
};

}  // namespace orx_tool
