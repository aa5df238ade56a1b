// SPDX-License-Identifier: Apache-2.0
// The program orx-sim, run as a user runs it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "sim/files.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Words = std::vector<std::string>;

constexpr char kKeyMint[] = "android.hardware.security.keymint.IKeyMintDevice/";

struct Result {
  int exit_code = -1;
  std::string out;
  std::string err;
};

std::string Content(const std::string& path) {
  std::string content;
  std::string error;
  EXPECT_TRUE(ReadFile(path, &content, &error)) << error;
  return content;
}

class OrxSimTest : public ::testing::Test {
 protected:
  OrxSimTest() {
    std::string pattern = ::testing::TempDir() + "/orx-sim-test.XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = fs::canonical(pattern);
    fs::create_directory(folder_ + "/tmp");
    fs::create_directory(folder_ + "/work");
    std::ofstream(folder_ + "/in") << "from standard input";
    std::ofstream(folder_ + "/out").close();
  }
  ~OrxSimTest() override { RemoveTree(folder_); }

  pid_t Start(Words words) {
    words[0] = words[0] == "orx-sim" ? ORX_SIM_PROGRAM : words[0];
    const pid_t pid = fork();
    if (pid != 0) return pid;
    setenv("TMPDIR", (folder_ + "/tmp").c_str(), 1);
    if (chdir((folder_ + "/work").c_str()) != 0) _exit(99);
    Redirect(STDIN_FILENO, "in", O_RDONLY);
    Redirect(STDOUT_FILENO, "out", O_WRONLY | O_CREAT | O_TRUNC);
    Redirect(STDERR_FILENO, "err", O_WRONLY | O_CREAT | O_TRUNC);
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(98);
  }

  Result Wait(pid_t pid) {
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    return {WEXITSTATUS(status), Content(folder_ + "/out"), Content(folder_ + "/err")};
  }

  Result Run(const Words& words) { return Wait(Start(words)); }

  Result OrxSim(const Words& words) {
    Words all = {"orx-sim"};
    all.insert(all.end(), words.begin(), words.end());
    return Run(all);
  }

  Result RunInside(const std::string& script, Words options = {}) {
    options.insert(options.begin(), {"run", "-q"});
    for (const char* const word : {"--", "sh", "-c"}) options.push_back(word);
    options.push_back(script);
    return OrxSim(options);
  }

  // Nothing of a run stays in the folder for temporary files.
  void ExpectNothingLeft() { EXPECT_TRUE(fs::is_empty(folder_ + "/tmp")); }

  void WaitForOutput() {
    for (int i = 0; i < 1000 && Content(folder_ + "/out").empty(); ++i) usleep(10000);
  }

  std::string folder_;

 private:
  void Redirect(int descriptor, const char* name, int flags) {
    const int file = open((folder_ + "/" + name).c_str(), flags, 0600);
    if (file < 0 || dup2(file, descriptor) != descriptor) _exit(97);
  }
};

TEST_F(OrxSimTest, ExitCodeIsTheCommandsOwn) {
  struct Case {
    const char* script;
    int exit_code;
  };
  const Case cases[] = {
      {"exit 0", 0},          {"exit 1", 1},         {"exit 200", 200},
      {"kill -KILL $$", 137}, {"kill -HUP $$", 129},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(RunInside(c.script).exit_code, c.exit_code) << c.script;
    ExpectNothingLeft();
  }
}

TEST_F(OrxSimTest, FailuresGiveOneLineAndTheirExitCode) {
  std::ofstream(folder_ + "/plain") << "x";
  const std::string plain = folder_ + "/plain";
  fs::create_directory(folder_ + "/none");
  struct Case {
    Words words;
    int exit_code;
    const char* reason;
  };
  const Case cases[] = {
      {{"run", "-q", "no-such-command"}, 127, "no-such-command: No such file or directory"},
      {{"run", "-q", plain}, 126, "Permission denied"},
      {{"run", "--device", folder_ + "/gone", "true"}, 125, "/gone: No such file or directory"},
      {{"run", "--device", folder_ + "/none", "true"}, 125, "not a simulated device"},
      {{"run", "--profile", "none", "true"}, 125, "there is no profile \"none\""},
      {{"run", "--fault", "begin", "true"}, 2, "fault \"begin\""},
      {{"run", "-q"}, 2, "run needs a command"},
      {{"run", "--device", "a", "--profile", "b", "true"}, 2, "leave out --profile"},
      {{"run", "--devil", "a"}, 2, "unrecognized option '--devil'"},
      {{"new"}, 2, "new needs one folder"},
      {{"new", folder_}, 1, "not empty"},
      {{"new", folder_ + "/x", "--profile", "none"}, 1, "there is no profile \"none\""},
      {{"set", folder_ + "/none", "modem=no"}, 1, "not a simulated device"},
      {{"set", folder_ + "/none"}, 2, "NAME=VALUE"},
      {{"info", folder_ + "/none"}, 1, "not a simulated device"},
      {{"info"}, 2, "info needs one folder"},
      {{"start"}, 2, "there is no command \"start\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reason);
    const Result result = OrxSim(c.words);
    EXPECT_EQ(result.exit_code, c.exit_code);
    EXPECT_THAT(result.err, AllOf(StartsWith("orx-sim: "), HasSubstr(c.reason)));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.out, "");
    ExpectNothingLeft();
  }
  const Result result = Run({"env", "PATH=" + folder_, ORX_SIM_PROGRAM, "run", "-q", "/bin/true"});
  EXPECT_EQ(result.exit_code, 125);
  EXPECT_EQ(result.err,
            "orx-sim: bwrap: No such file or directory; the package bubblewrap has it\n");
}

TEST_F(OrxSimTest, HelpIsThereOnEveryLevel) {
  for (const Words& words : {Words{"--help"},
                             {"new", "--help"},
                             {"run", "--help"},
                             {"set", "-h"},
                             {"info", "--help"},
                             {"profiles", "--help"}}) {
    const Result result = OrxSim(words);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.out, StartsWith("usage: orx-sim "));
    EXPECT_EQ(result.err, "");
  }
  EXPECT_THAT(OrxSim({"run", "--help"}).out,
              AllOf(HasSubstr("dead-object"), HasSubstr("modem:late")));
  EXPECT_THAT(OrxSim({"set", "--help"}).out, HasSubstr("os-patch-level"));
  EXPECT_EQ(OrxSim({"profiles"}).out, "bare\ndual-sim\nsingle-sim\n");
}

TEST_F(OrxSimTest, SaysThatTheDeviceIsSimulatedUnlessQuiet) {
  EXPECT_EQ(OrxSim({"run", "--profile", "bare", "true"}).err,
            "orx-sim: simulated device, profile bare, thrown away afterwards\n");
  ASSERT_EQ(OrxSim({"new", folder_ + "/device"}).exit_code, 0);
  EXPECT_EQ(OrxSim({"run", "--device", "../device", "true"}).err,
            "orx-sim: simulated device, profile dual-sim, " + folder_ + "/device\n");
  EXPECT_EQ(OrxSim({"run", "--quiet", "true"}).err, "");
}

TEST_F(OrxSimTest, CommandKeepsItsSurroundings) {
  const Result result = RunInside(
      "cat; echo; pwd; echo to-file >made; echo $VALUE; id -u; echo to-error >&2; ls -d /dev/fd");
  EXPECT_EQ(result.out, "from standard input\n" + folder_ + "/work\n\n" +
                            std::to_string(geteuid()) + "\n/dev/fd\n");
  EXPECT_EQ(result.err, "to-error\n");
  EXPECT_EQ(Content(folder_ + "/work/made"), "to-file\n");
  EXPECT_EQ(OrxSim({"run", "-q", "echo", "-q", "--device", "x"}).out, "-q --device x\n")
      << "options behind the command are the command's";
}

TEST_F(OrxSimTest, DeviceStaysWhatItIsFromRunToRun) {
  const std::string device = folder_ + "/device";
  ASSERT_EQ(OrxSim({"new", device, "--profile", "single-sim"}).exit_code, 0);
  EXPECT_EQ(RunInside("echo 1 >/mnt/vendor/persist/security/file", {"--device", device}).exit_code,
            0);
  EXPECT_EQ(Content(device + "/persist/file"), "1\n");
  EXPECT_EQ(RunInside("cat /mnt/vendor/persist/security/file", {"--device", device}).out, "1\n");
  EXPECT_EQ(RunInside("ls /mnt/vendor/persist/security").out, "") << "another device";
  ASSERT_EQ(OrxSim({"set", device, "os-patch-level=203001", "ro.some=thing"}).exit_code, 0);
  EXPECT_THAT(OrxSim({"info", device}).out, AllOf(HasSubstr("203001"), HasSubstr("thing")));
  EXPECT_THAT(RunInside(std::string(ORX_SIM_PROGRAM) + " info", {"--device", device}).out,
              HasSubstr("203001"))
      << "a program may ask for the device that it runs in";
}

TEST_F(OrxSimTest, ProgramsSeeServicesAndPropertiesFromTheFirstCall) {
  const std::string tee = kKeyMint + std::string("default");
  const std::string strongbox = kKeyMint + std::string("strongbox");
  const auto probe = [&](const Words& options) {
    Words words = {"run", "-q"};
    words.insert(words.end(), options.begin(), options.end());
    for (const std::string& word :
         {std::string(ORX_SIM_PROBE), tee, strongbox, std::string("ro.vendor.hw.dualsim")}) {
      words.push_back(word);
    }
    return OrxSim(words).out;
  };
  EXPECT_EQ(probe({}), "present\npresent\ntrue\n");
  EXPECT_EQ(probe({"--profile", "bare"}), "present\nabsent\n(none)\n");
  EXPECT_EQ(probe({"--fault", "service:default:absent"}), "absent\npresent\ntrue\n");
  EXPECT_EQ(Run({ORX_SIM_PROBE, tee, "ro.vendor.hw.dualsim"}).out, "absent\n(none)\n")
      << "outside of a run there is no device";
}

TEST_F(OrxSimTest, ModemListensDuringTheRun) {
  EXPECT_EQ(RunInside("test -S /dev/socket/rild-oem").exit_code, 0);
  EXPECT_EQ(RunInside("ls /dev/socket", {"--profile", "bare"}).out, "");
  ExpectNothingLeft();
  // Each of two runs of one device has a modem of its own, which ends with its run.
  ASSERT_EQ(OrxSim({"new", folder_ + "/device"}).exit_code, 0);
  const std::string inner = std::string(ORX_SIM_PROGRAM) +
                            " run -q --device ../device true && test -S /dev/socket/rild-oem";
  EXPECT_EQ(RunInside(inner, {"--device", folder_ + "/device"}).exit_code, 0);
}

TEST_F(OrxSimTest, SignalsReachTheCommandAndNothingIsLeftBehind) {
  struct Case {
    int number;
    const char* script;
    int exit_code;
  };
  const Case cases[] = {
      {SIGTERM, "trap 'exit 42' TERM; echo ready; while :; do sleep 0.02; done", 42},
      {SIGINT, "trap 'exit 43' INT; echo ready; while :; do sleep 0.02; done", 43},
      {SIGHUP, "echo ready; exec sleep 100", 128 + SIGHUP},
      {SIGQUIT, "echo ready; exec sleep 100", 128 + SIGQUIT},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.script);
    const pid_t pid = Start({"orx-sim", "run", "-q", "--", "sh", "-c", c.script});
    WaitForOutput();
    EXPECT_FALSE(fs::is_empty(folder_ + "/tmp")) << "the throw-away device is still needed";
    EXPECT_EQ(kill(pid, c.number), 0);
    EXPECT_EQ(Wait(pid).exit_code, c.exit_code);
    ExpectNothingLeft();
    std::ofstream(folder_ + "/out").close();
  }
}

TEST_F(OrxSimTest, IgnoredSignalsStayIgnored) {
  const pid_t pid = Start({"sh", "-c",
                           std::string("trap '' INT; exec ") + ORX_SIM_PROGRAM +
                               " run -q -- sh -c 'kill -INT $$; echo lives'"});
  EXPECT_EQ(Wait(pid).out, "lives\n");
}

// bubblewrap's arguments for this file system without the folder /mnt.
Words WithoutMnt() {
  Words words = {"bwrap", "--die-with-parent"};
  for (const auto& entry : fs::directory_iterator("/")) {
    const std::string path = entry.path();
    if (path == "/mnt") continue;
    if (entry.is_symlink()) {
      words.insert(words.end(), {"--symlink", fs::read_symlink(path), path});
    } else {
      words.insert(words.end(), {"--dev-bind", path, path});
    }
  }
  return words;
}

TEST_F(OrxSimTest, WhatLiesBesideTheDevicesFoldersStays) {
  const std::string outside = folder_ + "/disk";
  fs::create_directory(outside);
  // A folder that the device's has to be put into loses what is put directly into it, so that is
  // refused; one further up is the user's own.
  struct Case {
    const char* existing;
    const char* rebuilt;
  };
  for (const Case& c : {Case{"/mnt/other", "/mnt"}, Case{"/mnt/vendor/other", "/mnt/vendor"}}) {
    SCOPED_TRACE(c.rebuilt);
    const std::string script = "set -e; echo data >/mnt/disk/file; cat /mnt/link/file; test -d " +
                               std::string(c.existing) +
                               "; echo 1 >/mnt/vendor/persist/security/file\n"
                               "if echo lost 2>/dev/null >" +
                               c.rebuilt +
                               "/lost; then exit 9; fi\n"
                               "test -c /dev/null && test -d /dev/shm && echo x >/dev/null";
    const Result result =
        Run({"bwrap", "--dev-bind",    "/",     "/",        "--tmpfs",   "/mnt", "--bind",
             outside, "/mnt/disk",     "--dir", c.existing, "--symlink", "disk", "/mnt/link",
             "--",    ORX_SIM_PROGRAM, "run",   "-q",       "--",        "sh",   "-c",
             script});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, "data\n");
    EXPECT_EQ(Content(outside + "/file"), "data\n");
  }
}

TEST_F(OrxSimTest, WorksWhereThereIsNoMntAtAll) {
  Words words = WithoutMnt();
  words.insert(words.end(), {"--", ORX_SIM_PROGRAM, "run", "-q", "--", "sh", "-c",
                             "echo 1 >/mnt/vendor/persist/security/file && echo 2 >made && pwd"});
  const Result result = Run(words);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.out, folder_ + "/work\n");
  EXPECT_EQ(Content(folder_ + "/work/made"), "2\n");
}

}  // namespace
}  // namespace orx_sim
