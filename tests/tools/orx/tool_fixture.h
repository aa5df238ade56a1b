// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/json_schema.h"
#include "tests/support/run_program.h"
#include "tests/support/temp_folder.h"

namespace orx_tool {

using orx_test::ProgramOptions;
using orx_test::ProgramResult;

// ToolTest runs orx as a user does: as a program, within a simulated device that lasts for the
// test case. Files of the case go into work().
class ToolTest : public testing::Test {
 protected:
  ToolTest() { setenv("TERM", "xterm", 1); }

  std::string work(const std::string& name) const { return work_ / name; }

  // The device is made on first use, with this profile.
  std::string profile_ = "dual-sim";
  std::vector<std::string> faults_;
  ProgramOptions options_;

  ProgramResult Simulator(const std::vector<std::string>& words) {
    std::vector<std::string> argv = {ORX_SIM_PROGRAM};
    argv.insert(argv.end(), words.begin(), words.end());
    return orx_test::RunProgram(argv, options_);
  }

  ProgramResult Orx(const std::vector<std::string>& words) {
    MakeDevice();
    std::vector<std::string> argv = {"run", "-q", "--device", work("device")};
    for (const std::string& fault : faults_) {
      argv.push_back("--fault");
      argv.push_back(fault);
    }
    argv.push_back("--");
    argv.push_back(ORX_PROGRAM);
    argv.insert(argv.end(), words.begin(), words.end());
    return Simulator(argv);
  }

  // SetDevice changes a setting of the device ("os-patch-level=202701").
  void SetDevice(const std::string& setting) {
    MakeDevice();
    const ProgramResult result = Simulator({"set", work("device"), setting});
    ASSERT_EQ(result.exit_code, 0) << result.err;
  }

  // OrxAnswer runs with --json and gives the whole answer, held against what 'orx --schema' prints.
  Json::Value OrxAnswer(std::vector<std::string> words) {
    words.insert(words.begin(), "--json");
    const ProgramResult result = Orx(words);
    Json::Value answer = orx_test::ParseJson(result.out);
    EXPECT_EQ(orx_test::SchemaErrors(answer, Schema()), "") << result.out;
    EXPECT_EQ(answer["exit_code"].asInt(), result.exit_code);
    EXPECT_EQ(answer["ok"].asBool(), result.exit_code == 0);
    return answer;
  }

  // OrxJson is a part of the answer: the "failure" as a whole, of a report its first "check", else
  // the result.
  Json::Value OrxJson(const std::string& part, const std::vector<std::string>& words) {
    const Json::Value answer = OrxAnswer(words);
    if (part == "failure") return answer;
    EXPECT_TRUE(answer.isMember("result")) << answer.toStyledString();
    return part == "check" ? answer["result"]["checks"][0] : answer["result"];
  }

  static void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
  }
  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  static bool Exists(const std::string& path) { return std::filesystem::exists(path); }

  static const Json::Value& Schema() {
    static const auto& schema =
        *new Json::Value(orx_test::ParseJson(orx_test::RunProgram({ORX_PROGRAM, "--schema"}).out));
    return schema;
  }

 private:
  void MakeDevice() {
    if (Exists(work("device"))) return;
    const ProgramResult result = Simulator({"new", work("device"), "--profile", profile_});
    ASSERT_EQ(result.exit_code, 0) << result.err;
  }

  orx_test::TempFolder work_;
};

}  // namespace orx_tool
