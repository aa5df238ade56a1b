// SPDX-License-Identifier: Apache-2.0
// The program orx-sim, run as a user runs it.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/run_program.h"
#include "tests/support/temp_folder.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using orx_test::ProgramResult;
using orx_test::Words;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class OrxSimTest : public ::testing::Test {
 protected:
  OrxSimTest() : folder_(fs::canonical(temp_folder_.path())) {
    fs::create_directory(folder_ + "/tmp");
    fs::create_directory(folder_ + "/run");
  }

  // Runs a program in the folder "run". Nothing may stay in the folder for temporary files.
  ProgramResult Run(const Words& words) {
    orx_test::ProgramOptions options;
    options.input = "from standard input";
    ProgramResult result = orx_test::RunProgram(
        Words{"env", "-C", folder_ + "/run", "TMPDIR=" + folder_ + "/tmp"} + words, options);
    EXPECT_TRUE(fs::is_empty(folder_ + "/tmp"));
    return result;
  }

  ProgramResult OrxSim(const Words& words) { return Run(ORX_SIM_PROGRAM + words); }

  ProgramResult RunInside(const std::string& script, const Words& options = "") {
    return OrxSim("run -q" + options + "-- sh -c" + Words{script});
  }

  const orx_test::TempFolder temp_folder_;
  const std::string folder_;
};

TEST_F(OrxSimTest, FailuresGiveOneLineAndTheirExitCode) {
  std::ofstream(folder_ + "/plain") << "x";
  const std::tuple<Words, int, const char*> cases[] = {
      {"run -q no-such-command", 127, "no-such-command: No such file or directory"},
      {"run -q ../plain", 126, "Permission denied"},
      {"run --device ../gone true", 125, "/gone: No such file or directory"},
      {"run --device ../tmp true", 125, "not a simulated device"},
      {"run --profile none true", 125, "there is no profile \"none\""},
      {"run --fault begin true", 125, "fault \"begin\""},
      {"run -q", 125, "run needs a command"},
      {"run --device x --profile y true", 125, "has its profile already"},
      {{"run", "--device", "", "true"}, 125, "--device needs a value"},
      {"run --devil a", 125, "unrecognized option '--devil'"},
      {{"new", folder_}, 1, "not empty"},
      {"new", 2, "new needs one folder"},
      {"new --devil", 2, "unrecognized option '--devil'"},
      {"faults all", 2, "faults takes no argument"},
      {"set ../gone modem=no", 1, "No such file"},
      {"set x", 2, "set needs a folder and NAME=VALUE"},
      {"info", 2, "info needs one folder"},
      {"start", 2, "there is no command \"start\""},
  };
  for (const auto& [words, exit_code, reason] : cases) {
    SCOPED_TRACE(reason);
    const ProgramResult result = OrxSim(words);
    EXPECT_EQ(result.exit_code, exit_code);
    EXPECT_THAT(result.err, AllOf(StartsWith("orx-sim: "), HasSubstr(reason)));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
  EXPECT_EQ(Run({"env", "PATH=" + folder_, ORX_SIM_PROGRAM, "run", "/bin/true"}).err,
            "orx-sim: bwrap: No such file or directory; proot: No such file or directory; install "
            "bubblewrap where user namespaces are allowed, or proot where ptrace(2) is\n");
  EXPECT_THAT(Run({"env", "TMPDIR=/gone", ORX_SIM_PROGRAM, "run", "true"}).err,
              HasSubstr("temporary files, /gone: "));
  EXPECT_EQ(Run({"env", "TMPDIR=", ORX_SIM_PROGRAM, "run", "-q", "true"}).exit_code, 0);
}

TEST_F(OrxSimTest, HelpGoesToStandardOutput) {
  EXPECT_THAT(OrxSim("--help").out, HasSubstr("usage: orx-sim COMMAND"));
  const ProgramResult without = OrxSim("");
  EXPECT_THAT(without.err, HasSubstr("usage: orx-sim COMMAND"));
  EXPECT_EQ(without.exit_code, 2);
  EXPECT_EQ(OrxSim("profiles").out, "bare\ndual-sim\nremote-only\nsingle-sim\nswapped-strongbox\n");
  for (const char* command : {"new", "run", "faults", "set", "info", "profiles"}) {
    const ProgramResult result = OrxSim({command, "--help"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.out, StartsWith("usage: orx-sim " + std::string(command)));
  }
}

TEST_F(OrxSimTest, CommandKeepsItsSurroundingsAndItsExitCode) {
  const ProgramResult result =
      RunInside("cat; echo; pwd; id -u; echo 1 >made; echo to-error >&2; exit 200");
  EXPECT_EQ(result.exit_code, 200);
  EXPECT_EQ(result.out,
            "from standard input\n" + folder_ + "/run\n" + std::to_string(geteuid()) + "\n");
  EXPECT_EQ(result.err, "to-error\n");
  EXPECT_TRUE(fs::exists(folder_ + "/run/made"));
  const std::string open_files = "ls /proc/self/fd";
  EXPECT_EQ(RunInside(open_files).out, Run({"sh", "-c", open_files}).out)
      << "nothing of orx-sim's is open";
  EXPECT_EQ(OrxSim("run -q echo -q --device x").out, "-q --device x\n")
      << "options behind the command are the command's";
  EXPECT_EQ(OrxSim("run --profile bare true").err,
            "orx-sim: simulated device, profile bare, thrown away afterwards\n");
}

TEST_F(OrxSimTest, EachRunHasItsOwnModemHoweverLongItsFolderIsNamed) {
  ASSERT_EQ(OrxSim("new ../device").exit_code, 0);
  const std::string tmp = folder_ + "/" + std::string(120, 't');
  fs::create_directory(tmp);
  const std::string run = "env TMPDIR=" + tmp + " " ORX_SIM_PROGRAM " run -q --device ../device ";
  EXPECT_EQ(
      Run({"sh", "-c", run + run + "true && " + run + "test -S /dev/socket/rild-oem"}).exit_code,
      0);
  EXPECT_EQ(RunInside("ls /dev/socket", "--profile bare").out, "");

  ASSERT_EQ(OrxSim("set ../device os-patch-level=203002 os-patch-level=203001").exit_code, 0);
  EXPECT_THAT(RunInside(ORX_SIM_PROGRAM " info", "--device ../device").out, HasSubstr("203001"));
}

TEST_F(OrxSimTest, WorksWhereThereAreNoUserNamespaces) {
  const auto run = [&](const std::string& options, const std::string& script) {
    return Run({"unshare", "-U", "-r", "sh", "-c",
                "echo 0 >/proc/sys/user/max_user_namespaces && export ASAN_OPTIONS=detect_leaks=0 "
                "&& exec setpriv --bounding-set=-all --inh-caps=-all " ORX_SIM_PROGRAM " run " +
                    options + " -- sh -c '" + script + "'"});
  };
  const ProgramResult result = run("",
                                   "cat; echo 1 >/mnt/vendor/persist/security/file; "
                                   "test -S /dev/socket/rild-oem; kill -TERM $$");
  EXPECT_EQ(result.exit_code, 128 + 15);
  EXPECT_EQ(result.out, "from standard input");
  EXPECT_THAT(result.err, AllOf(StartsWith("orx-sim: simulated device, profile dual-sim, thrown "
                                           "away afterwards; in proot (bwrap: "),
                                testing::EndsWith(")\n")));
  EXPECT_EQ(run("-q", "exit 5").err, "");
  EXPECT_THAT(run("--fault persist:read-only", "").err, HasSubstr("proot cannot make a folder"));
}

TEST_F(OrxSimTest, TerminalsOpenAndDevicesAreThere) {
  EXPECT_EQ(
      RunInside("script -qec 'test -t 0 && tty >/dev/null && echo terminal' /dev/null </dev/null")
          .out,
      "terminal\r\n");
  EXPECT_EQ(RunInside("head -c 3 /dev/zero | wc -c; echo 1 >/dev/null; echo x >/dev/shm/$$ && "
                      "rm /dev/shm/$$ && echo shared")
                .out,
            "3\nshared\n");
  // Each mount costs a run a third of a millisecond.
  const std::string count = "wc -l </proc/self/mountinfo";
  EXPECT_LE(std::stoi(RunInside(count).out), std::stoi(Run({"sh", "-c", count}).out) + 20);
}

TEST_F(OrxSimTest, FaultsOfFilesShowInThePersistFolderAlone) {
  const std::tuple<std::string, int, const char*> cases[] = {
      {"write:ENOSPC", 0, "No space left on device"},
      {"write:ENOSPC@2", 0, ""},
      {"fsync:EIO@1", 0, "fsync failed for 'file': Input/output error"},
      {"open:EROFS", 1, "failed to open 'file': Read-only file system"},
      {"unlink:EACCES", 1, "cannot remove 'file': Permission denied"},
      {"persist:read-only", 1, "failed to open 'file': Read-only file system"},
      {"persist:missing", 9, ""},
  };
  EXPECT_EQ(RunInside("ls -a /mnt", "--fault persist:missing").out, Run({"ls", "-a", "/mnt"}).out);
  for (const auto& [fault, exit_code, shown] : cases) {
    SCOPED_TRACE(fault);
    const ProgramResult result =
        RunInside("cd /mnt/vendor/persist/security 2>/dev/null || exit 9; echo 1 >" + folder_ +
                      "/run/outside && printf 1 | dd of=file conv=fsync status=none; rm file",
                  "--fault " + fault);
    EXPECT_EQ(result.exit_code, exit_code);
    EXPECT_THAT(result.err, HasSubstr(shown));
    const bool never = fault == "write:ENOSPC@2";
    EXPECT_EQ(result.err.find("orx-sim: ") != std::string::npos, never) << result.err;
    EXPECT_THAT(result.err, HasSubstr(never ? "the fault \"write:ENOSPC@2\" never showed" : ""));
  }
  // So long that it lies on two pages of the process.
  const std::string path = std::string(4000, '/') + "mnt/vendor/persist/security/none";
  EXPECT_THAT(RunInside("rm -f " + path, "--fault unlink:EACCES").err,
              HasSubstr("Permission denied"));
}

TEST_F(OrxSimTest, EveryFaultIsListedAndSaysWhenItNeverShowed) {
  const std::string list = OrxSim("faults").out;
  for (const char* fault :
       {"outdated", "no-operation", "delay=SECONDS", "meid-letters", "it is not there",
        "persist:EFFECT", "CALL:ERROR, on the files of", "name of an errno", "fsync",
        "computeSharedSecret", "service:INSTANCE"}) {
    EXPECT_THAT(list, HasSubstr(fault));
  }
  EXPECT_EQ(
      RunInside(ORX_TEST_FOLDER "/sim_probe", "--fault begin:-62 --fault service:default:absent")
          .err,
      "orx-sim: the fault \"begin:-62\" never showed: no call met it\n");
}

TEST_F(OrxSimTest, TheLogIsShownFromTheFirstLineOn) {
  const std::string probe = ORX_TEST_FOLDER "/sim_probe; exit ";
  EXPECT_THAT(RunInside(probe + "0", "--log").err, HasSubstr("the first line"));
  EXPECT_EQ(RunInside(probe + "0").err, "");
  EXPECT_EQ(RunInside("echo $ANDROID_HOST_LOG").out, "\n") << "a log that nobody asked for";
  EXPECT_EQ(RunInside(probe + "0", "--log-on-failure").err, "");
  const ProgramResult failed = RunInside("echo own >&2; " + probe + "3", "--log-on-failure");
  EXPECT_EQ(failed.exit_code, 3);
  EXPECT_THAT(failed.err, AllOf(StartsWith("own\n"), HasSubstr("the first line")));
}

TEST_F(OrxSimTest, AKilledRunLeavesNothing) {
  // The cleaner needs a moment; what it could not remove, the next run does.
  const std::string killed = ORX_SIM_PROGRAM
      " run -q -- sh -c 'read -r _ _ _ sim _ </proc/$PPID/stat; "
      "kill -KILL $sim; exec sleep 5'; "
      "for i in $(seq 100); do ls $TMPDIR | grep -q . || exit 4; sleep 0.05; done";
  EXPECT_EQ(Run({"sh", "-c", killed}).exit_code, 4);
  fs::create_directory(folder_ + "/tmp/orx-sim-run.000000");
  std::ofstream(folder_ + "/tmp/orx-sim-run.000000/lock") << "";
  EXPECT_EQ(RunInside("exit 3").exit_code, 3);
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
    const ProgramResult result = Run(
        "bwrap --dev-bind / / --tmpfs /mnt --bind " + folder_ + "/disk /mnt/disk --dir " + rebuilt +
        "/other --symlink disk /mnt/link -- " ORX_SIM_PROGRAM " run -q -- sh -c" + Words{script});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, "data\n");
    EXPECT_TRUE(fs::exists(folder_ + "/disk/file"));
  }
}

TEST_F(OrxSimTest, WorksWhereThereIsNoMntAtAll) {
  Words words = "bwrap";
  for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
    const std::string path = entry.path();
    if (path == "/mnt") continue;
    words = words + (entry.is_symlink() ? Words{"--symlink", fs::read_symlink(path), path}
                                        : Words{"--dev-bind", path, path});
  }
  words = words + "-- " ORX_SIM_PROGRAM " run -q -- sh -c" +
          Words{"echo 1 >/mnt/vendor/persist/security/file && pwd"};
  EXPECT_EQ(Run(words).out, folder_ + "/run\n");
}

}  // namespace
}  // namespace orx_sim
