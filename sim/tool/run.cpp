// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/run.h"

#include <android-base/file.h>
#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "sim/base/device_folder.h"
#include "sim/base/files.h"
#include "sim/channel/faults.h"
#include "sim/modem/modem.h"
#include "sim/tool/sandbox.h"

extern "C" int android_host_device_attach(void);

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

// The signals that end a program. The command decides what they do; orx-sim and the sandbox live on
// until it has ended, so that nothing is left behind.
constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

int Fail(const std::string& reason) {
  fprintf(stderr, "orx-sim: %s\n", reason.c_str());
  return kExitRunFailed;
}

// RunFolder holds what exists for one run: the sockets, and a device that is thrown away.
class RunFolder {
 public:
  RunFolder() = default;
  ~RunFolder() {
    if (!path_.empty()) RemoveTree(path_);
  }
  RunFolder(const RunFolder&) = delete;
  RunFolder& operator=(const RunFolder&) = delete;

  bool Make(std::string* error) {
    std::error_code ignored;
    std::string path = (fs::temp_directory_path(ignored) / "orx-sim.XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
      *error = Reason(path);
      return false;
    }
    path_ = path;
    return MakeFolder(sockets(), error);
  }
  std::string device() const { return path_ + "/device"; }
  std::string sockets() const { return path_ + "/socket"; }

 private:
  std::string path_;
};

std::shared_ptr<DeviceFolder> OpenDevice(const RunOptions& options, const RunFolder& run,
                                         std::string* error) {
  if (options.device.empty()) return DeviceFolder::Create(run.device(), options.profile, error);
  std::error_code ignored;
  return DeviceFolder::Open(fs::absolute(options.device, ignored).lexically_normal(), error);
}

bool StartModem(const DeviceFolder& folder, const FaultTable& faults, const RunFolder& run,
                ModemDaemon* modem, std::string* error) {
  if (!folder.IsYes("modem")) return true;
  ModemSettings settings;
  settings.imei = folder.Get("imei");
  settings.imei2 = folder.Get("second-imei");
  settings.meid = folder.Get("meid");
  for (const std::string& fault : faults.modem()) {
    if (!SetModemFault(&settings, fault, error)) return false;
  }
  return modem->Start(run.sockets() + "/rild-oem", settings, error);
}

std::string ModulePath() {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&android_host_device_attach), &info);
  return fs::absolute(info.dli_fname).lexically_normal();
}

void SetEnvironment(const RunOptions& options, const DeviceFolder& folder) {
  setenv("ANDROID_HOST_DEVICE", ModulePath().c_str(), 1);
  setenv("ORX_SIM_DEVICE", folder.path().c_str(), 1);
  setenv("ORX_SIM_FAULTS", android::base::Join(options.faults, "\n").c_str(), 1);
  if (options.log) setenv("ORX_SIM_LOG", "1", 1);
}

std::vector<std::string> Arguments(const RunOptions& options,
                                   const std::vector<Placement>& placements, int pid_descriptor,
                                   const std::string& ignored_signals) {
  std::vector<std::string> arguments = {"bwrap", "--die-with-parent"};
  const std::vector<std::string> places = SandboxArguments(placements);
  arguments.insert(arguments.end(), places.begin(), places.end());
  std::error_code error;
  const std::string self = fs::read_symlink("/proc/self/exe", error);
  for (const std::string& argument : std::vector<std::string>{
           "--", self, kBecomeCommand, std::to_string(pid_descriptor), ignored_signals}) {
    arguments.push_back(argument);
  }
  arguments.insert(arguments.end(), options.command.begin(), options.command.end());
  return arguments;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// The signals that were ignored when orx-sim was started, as nohup(1) does, stay so for the
// command.
std::string IgnoredSignals() {
  std::string ignored;
  for (const int number : kEndingSignals) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) ignored += std::to_string(number) + ",";
  }
  return ignored;
}

sigset_t Signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  for (const int number : kEndingSignals) sigaddset(&signals, number);
  return signals;
}

// Waits for the sandbox and passes signals on meanwhile. Those that the terminal sends reach the
// command without help.
int WaitForSandbox(pid_t sandbox, pid_t command) {
  const sigset_t signals = Signals();
  int status = 0;
  while (waitpid(sandbox, &status, WNOHANG) == 0) {
    siginfo_t signal{};
    if (sigwaitinfo(&signals, &signal) < 0 || signal.si_signo == SIGCHLD) continue;
    if (signal.si_code != SI_KERNEL && command > 0) kill(command, signal.si_signo);
  }
  return WIFSIGNALED(status) ? kExitSignal + WTERMSIG(status) : WEXITSTATUS(status);
}

// Runs bubblewrap with the signals blocked in this process and their handling restored only in the
// command itself.
int RunSandbox(const RunOptions& options, const std::vector<Placement>& placements,
               const sigset_t& old_mask) {
  unique_fd pid_in;
  unique_fd pid_out;
  if (!android::base::Pipe(&pid_in, &pid_out, 0)) return Fail("no pipe");
  fcntl(pid_in.get(), F_SETFD, FD_CLOEXEC);
  std::vector<std::string> arguments =
      Arguments(options, placements, pid_out.get(), IgnoredSignals());
  const std::vector<char*> argv = Pointers(arguments);
  const pid_t sandbox = fork();
  if (sandbox < 0) return Fail(Reason("fork"));
  if (sandbox == 0) {
    for (const int number : kEndingSignals) signal(number, SIG_IGN);
    sigprocmask(SIG_SETMASK, &old_mask, nullptr);
    execvp(argv[0], argv.data());
    fprintf(stderr, "orx-sim: bwrap: %s; the package bubblewrap has it\n", strerror(errno));
    _exit(kExitRunFailed);
  }
  pid_out.reset();
  pid_t command = 0;
  const bool began = android::base::ReadFully(pid_in, &command, sizeof(command));
  const int exit_code = WaitForSandbox(sandbox, command);
  if (began || exit_code == kExitRunFailed) return exit_code;
  return Fail("the sandbox could not be set up");
}

// execvp() answers EACCES too when it may not look into a folder of PATH.
int WhyNotExecuted(const std::string& command, int reason) {
  if (reason != EACCES || command.find('/') != std::string::npos) return reason;
  const char* const path = getenv("PATH");
  for (const std::string& folder : android::base::Split(path == nullptr ? "" : path, ":")) {
    if (access((folder + "/" + command).c_str(), F_OK) == 0) return reason;
  }
  return ENOENT;
}

}  // namespace

int Run(const RunOptions& options) {
  const sigset_t signals = Signals();
  sigset_t old_mask;
  sigprocmask(SIG_BLOCK, &signals, &old_mask);
  std::string error;
  FaultTable faults;
  for (const std::string& fault : options.faults) {
    if (!faults.Add(fault, &error)) {
      Fail(error);
      return kExitUsage;
    }
  }
  RunFolder run;
  if (!run.Make(&error)) return Fail(error);
  const std::shared_ptr<DeviceFolder> folder = OpenDevice(options, run, &error);
  if (folder == nullptr) return Fail(error);
  ModemDaemon modem;
  if (!StartModem(*folder, faults, run, &modem, &error)) return Fail(error);
  SetEnvironment(options, *folder);
  if (!options.quiet) {
    fprintf(stderr, "orx-sim: simulated device, profile %s, %s\n", folder->Get("profile").c_str(),
            options.device.empty() ? "thrown away afterwards" : folder->path().c_str());
  }
  return RunSandbox(
      options,
      {{folder->File("persist"), "/mnt/vendor/persist/security"}, {run.sockets(), "/dev/socket"}},
      old_mask);
}

int BecomeCommand(int argc, char** argv) {
  int descriptor = -1;
  if (argc < 3 || !android::base::ParseInt(argv[0], &descriptor, 0)) return kExitRunFailed;
  const unique_fd pid_out(descriptor);
  const pid_t pid = getpid();
  if (!android::base::WriteFully(pid_out, &pid, sizeof(pid))) return kExitRunFailed;
  fcntl(pid_out.get(), F_SETFD, FD_CLOEXEC);
  const std::vector<std::string> ignored = android::base::Split(argv[1], ",");
  for (const int number : kEndingSignals) {
    const bool stays = std::count(ignored.begin(), ignored.end(), std::to_string(number)) != 0;
    signal(number, stays ? SIG_IGN : SIG_DFL);
  }
  execvp(argv[2], argv + 2);
  const int reason = WhyNotExecuted(argv[2], errno);
  fprintf(stderr, "orx-sim: %s: %s\n", argv[2], strerror(reason));
  return reason == ENOENT ? kExitNotFound : kExitNotExecutable;
}

}  // namespace orx_sim
