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

namespace orx_tool {

using orx_test::ProgramOptions;
using orx_test::ProgramResult;

// ToolTest runs orx as a user does: as a program, within a simulated device that lasts for the
// test case. Files of the case go into work().
class ToolTest : public testing::Test {
 protected:
  ToolTest() {
    char name[] = "/tmp/orx-tool-test.XXXXXX";
    work_ = mkdtemp(name);
  }
  ~ToolTest() override { std::filesystem::remove_all(work_); }

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

  // OrxJson runs with --json and checks the answer against the schema definition `name`.
  Json::Value OrxJson(const std::string& name, std::vector<std::string> words) {
    words.push_back("--json");
    const ProgramResult result = Orx(words);
    const Json::Value answer = orx_test::ParseJson(result.out);
    EXPECT_EQ(orx_test::SchemaErrors(answer, Schema(), name), "") << result.out;
    return answer;
  }

  static void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
  }
  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  static bool Exists(const std::string& path) { return std::filesystem::exists(path); }

 private:
  void MakeDevice() {
    if (Exists(work("device"))) return;
    const ProgramResult result = Simulator({"new", work("device"), "--profile", profile_});
    ASSERT_EQ(result.exit_code, 0) << result.err;
  }

  static Json::Value Schema() {
    return orx_test::ParseJson(Read(ORX_SOURCE_DIR "/tools/orx/check/report.schema.json"));
  }

  std::filesystem::path work_;
};

}  // namespace orx_tool
