// SPDX-License-Identifier: Apache-2.0
// The program orx-sim, run as a user runs it.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "sim/base/files.h"
#include "tests/support/run_program.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using orx_test::ProgramResult;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Words = std::vector<std::string>;

class OrxSimTest : public ::testing::Test {
 protected:
  OrxSimTest() {
    std::string pattern = ::testing::TempDir() + "/orx-sim-test.XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = fs::canonical(pattern);
    fs::create_directory(folder_ + "/tmp");
    fs::create_directory(folder_ + "/run");
  }
  ~OrxSimTest() override { RemoveTree(folder_); }

  // Runs a program in the folder "work". Nothing may stay in the folder for temporary files.
  ProgramResult Run(const Words& words) {
    Words argv = {"env", "-C", folder_ + "/run", "TMPDIR=" + folder_ + "/tmp"};
    argv.insert(argv.end(), words.begin(), words.end());
    orx_test::ProgramOptions options;
    options.input = "from standard input";
    ProgramResult result = orx_test::RunProgram(argv, options);
    EXPECT_TRUE(fs::is_empty(folder_ + "/tmp"));
    return result;
  }

  ProgramResult OrxSim(Words words) {
    words.insert(words.begin(), ORX_SIM_PROGRAM);
    return Run(words);
  }

  ProgramResult RunInside(const std::string& script, const Words& options = {}) {
    Words words = {"run", "-q"};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--", "sh", "-c", script});
    return OrxSim(words);
  }

  std::string folder_;
};

TEST_F(OrxSimTest, FailuresGiveOneLineAndTheirExitCode) {
  std::ofstream(folder_ + "/plain") << "x";
  struct Case {
    Words words;
    int exit_code;
    const char* reason;
  };
  const Case cases[] = {
      {{"run", "-q", "no-such-command"}, 127, "no-such-command: No such file or directory"},
      {{"run", "-q", "../plain"}, 126, "Permission denied"},
      {{"run", "--device", "../gone", "true"}, 125, "/gone: No such file or directory"},
      {{"run", "--device", "../tmp", "true"}, 125, "not a simulated device"},
      {{"run", "--profile", "none", "true"}, 125, "there is no profile \"none\""},
      {{"run", "--fault", "begin", "true"}, 2, "fault \"begin\""},
      {{"run", "-q"}, 2, "run needs a command"},
      {{"run", "--devil", "a"}, 2, "unrecognized option '--devil'"},
      {{"new", folder_}, 1, "not empty"},
      {{"set", "../gone", "modem=no"}, 1, "No such file"},
      {{"info"}, 2, "info needs one folder"},
      {{"start"}, 2, "there is no command \"start\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reason);
    const ProgramResult result = OrxSim(c.words);
    EXPECT_EQ(result.exit_code, c.exit_code);
    EXPECT_THAT(result.err, AllOf(StartsWith("orx-sim: "), HasSubstr(c.reason)));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
  EXPECT_EQ(Run({"env", "PATH=" + folder_, ORX_SIM_PROGRAM, "run", "-q", "/bin/true"}).err,
            "orx-sim: bwrap: No such file or directory; the package bubblewrap has it\n");
}

TEST_F(OrxSimTest, CommandKeepsItsSurroundingsAndItsExitCode) {
  const ProgramResult result =
      RunInside("cat; echo; pwd; id -u; echo 1 >made; echo to-error >&2; exit 200");
  EXPECT_EQ(result.exit_code, 200);
  EXPECT_EQ(result.out,
            "from standard input\n" + folder_ + "/run\n" + std::to_string(geteuid()) + "\n");
  EXPECT_EQ(result.err, "to-error\n");
  EXPECT_TRUE(fs::exists(folder_ + "/run/made"));
  EXPECT_EQ(OrxSim({"run", "-q", "echo", "-q", "--device", "x"}).out, "-q --device x\n")
      << "options behind the command are the command's";
  EXPECT_EQ(OrxSim({"run", "--profile", "bare", "true"}).err,
            "orx-sim: simulated device, profile bare, thrown away afterwards\n");
}

TEST_F(OrxSimTest, DeviceStaysWhatItIsFromRunToRun) {
  const Words device = {"--device", folder_ + "/device"};
  ASSERT_EQ(OrxSim({"new", folder_ + "/device"}).exit_code, 0);
  EXPECT_EQ(RunInside("echo 1 >/mnt/vendor/persist/security/file", device).exit_code, 0);
  EXPECT_EQ(RunInside("cat /mnt/vendor/persist/security/file", device).out, "1\n");
  EXPECT_EQ(RunInside("ls /mnt/vendor/persist/security").out, "") << "another device";
  ASSERT_EQ(OrxSim({"set", folder_ + "/device", "os-patch-level=203001"}).exit_code, 0);
  EXPECT_THAT(RunInside(std::string(ORX_SIM_PROGRAM) + " info", device).out, HasSubstr("203001"));
}

TEST_F(OrxSimTest, ProgramsSeeServicesAndPropertiesFromTheFirstCall) {
  const std::string keymint = "android.hardware.security.keymint.IKeyMintDevice/";
  const Words probe = {ORX_TEST_FOLDER "/sim_probe", keymint + "default", keymint + "strongbox",
                       "ro.vendor.hw.dualsim"};
  const auto inside = [&](Words words) {
    words.insert(words.begin(), {"run", "-q"});
    words.insert(words.end(), probe.begin(), probe.end());
    return OrxSim(words).out;
  };
  EXPECT_EQ(inside({}), "present\npresent\ntrue\n");
  EXPECT_EQ(inside({"--profile", "bare"}), "present\nabsent\n(none)\n");
  EXPECT_EQ(inside({"--fault", "service:default:absent"}), "absent\npresent\ntrue\n");
  EXPECT_EQ(Run(probe).out, "absent\nabsent\n(none)\n") << "outside there is no device";
}

TEST_F(OrxSimTest, EachRunHasItsOwnModem) {
  ASSERT_EQ(OrxSim({"new", folder_ + "/device"}).exit_code, 0);
  const std::string run = std::string(ORX_SIM_PROGRAM) + " run -q --device ../device ";
  EXPECT_EQ(
      Run({"sh", "-c", run + run + "true && " + run + "test -S /dev/socket/rild-oem"}).exit_code,
      0);
  EXPECT_EQ(RunInside("ls /dev/socket", {"--profile", "bare"}).out, "");
}

TEST_F(OrxSimTest, SignalsReachTheCommandAndNothingIsLeftBehind) {
  // The parent of the command is the sandbox, whose parent is orx-sim.
  const std::string send = "read -r _ _ _ sim _ </proc/$PPID/stat; kill -";
  const std::string wait = " $sim; while :; do sleep 0.02; done";
  EXPECT_EQ(RunInside("trap 'exit 42' TERM; " + send + "TERM" + wait).exit_code, 42);
  EXPECT_EQ(RunInside("trap 'exit 43' INT; " + send + "INT" + wait).exit_code, 43);
  EXPECT_EQ(RunInside(send + "HUP" + wait).exit_code, 128 + 1);
  EXPECT_EQ(RunInside("kill -KILL $$").exit_code, 128 + 9);
  const std::string ignoring = "trap '' INT; exec " ORX_SIM_PROGRAM " run -q -- ";
  EXPECT_EQ(Run({"sh", "-c", ignoring + "sh -c 'kill -INT $$; echo lives'"}).out, "lives\n");
}

TEST_F(OrxSimTest, WhatLiesBesideTheDevicesFoldersStays) {
  fs::create_directory(folder_ + "/disk");
  // What is put directly into a folder that had to be rebuilt would be lost, so it is refused.
  for (const std::string rebuilt : {"/mnt", "/mnt/vendor"}) {
    const std::string script = "set -e; echo data >/mnt/disk/file; cat /mnt/link/file; test -d " +
                               rebuilt +
                               "/other; echo 1 >/mnt/vendor/persist/security/file\n"
                               "if echo lost 2>/dev/null >" +
                               rebuilt + "/lost; then exit 9; fi; test -d /dev/shm";
    const ProgramResult result = Run({"bwrap",
                                      "--dev-bind",
                                      "/",
                                      "/",
                                      "--tmpfs",
                                      "/mnt",
                                      "--bind",
                                      folder_ + "/disk",
                                      "/mnt/disk",
                                      "--dir",
                                      rebuilt + "/other",
                                      "--symlink",
                                      "disk",
                                      "/mnt/link",
                                      "--",
                                      ORX_SIM_PROGRAM,
                                      "run",
                                      "-q",
                                      "--",
                                      "sh",
                                      "-c",
                                      script});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, "data\n");
    EXPECT_TRUE(fs::exists(folder_ + "/disk/file"));
  }
}

TEST_F(OrxSimTest, WorksWhereThereIsNoMntAtAll) {
  Words words = {"bwrap"};
  for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
    const std::string path = entry.path();
    if (path == "/mnt") continue;
    const bool link = entry.is_symlink();
    words.insert(words.end(), {link ? "--symlink" : "--dev-bind",
                               link ? fs::read_symlink(path).string() : path, path});
  }
  words.insert(words.end(), {"--", ORX_SIM_PROGRAM, "run", "-q", "--", "sh", "-c",
                             "echo 1 >/mnt/vendor/persist/security/file && pwd"});
  EXPECT_EQ(Run(words).out, folder_ + "/run\n");
}

}  // namespace
}  // namespace orx_sim
