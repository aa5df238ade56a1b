// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/launch.h"

#include <android-base/cmsg.h>
#include <android-base/file.h>
#include <android-base/macros.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "sim/base/files.h"
#include "sim/base/module_path.h"
#include "sim/tool/file_faults.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

sigset_t Signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  for (const int number : kEndingSignals) sigaddset(&signals, number);
  return signals;
}

sigset_t mask_before;  // of this process, which the command gets back

// The signals that were ignored when orx-sim was started, as nohup(1) does, stay so for the
// command.
std::string IgnoredSignals() {
  unsigned long ignored = 0;
  for (const int number : kEndingSignals) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) ignored |= 1UL << number;
  }
  return std::to_string(ignored);
}

// What this process and orx-sim-enter share. Standard error is the command's alone: what the
// sandbox itself says is kept, to be the reason when it fails.
struct Wires {
  unique_fd control;        // this process's end
  unique_fd command_end;    // the command's
  unique_fd said;           // gets what the sandbox says
  unique_fd command_error;  // the standard error of the command; invalid if there is none

  bool Make() {
    command_error.reset(fcntl(STDERR_FILENO, F_DUPFD, 3));
    said.reset(memfd_create("sandbox", MFD_CLOEXEC));
    if (!said.ok() ||
        !android::base::Socketpair(AF_UNIX, SOCK_SEQPACKET, 0, &control, &command_end)) {
      return false;
    }
    return fcntl(control.get(), F_SETFD, FD_CLOEXEC) == 0;
  }
};

std::vector<std::string> Arguments(const Sandbox& sandbox, const Launch& launch,
                                   const Wires& wires) {
  std::vector<std::string> arguments = sandbox.arguments(launch.placements);
  std::string flags = "-";
  if (launch.faults->HasFileFaults()) flags += kEnterFilter;
  if (sandbox.hides_signals) flags += kEnterWait;
  for (const std::string& argument : std::vector<std::string>{
           fs::path(ModulePath()).parent_path() / "orx-sim-enter",
           std::to_string(wires.command_end.get()), std::to_string(wires.command_error.get()),
           IgnoredSignals(), flags}) {
    arguments.push_back(argument);
  }
  arguments.insert(arguments.end(), launch.command.begin(), launch.command.end());
  return arguments;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

pid_t StartSandbox(const Sandbox& sandbox, const Launch& launch, const Wires& wires) {
  std::vector<std::string> arguments = Arguments(sandbox, launch, wires);
  const std::vector<char*> argv = Pointers(arguments);
  const pid_t pid = fork();
  if (pid != 0) return pid;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(wires.said.get(), STDERR_FILENO);
  for (const int number : kEndingSignals) signal(number, SIG_IGN);
  sigprocmask(SIG_SETMASK, &mask_before, nullptr);
  execvp(argv[0], argv.data());
  fprintf(stderr, "%s: %s\n", argv[0], strerror(errno));
  _exit(kExitRunFailed);
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
  return ExitCode(status);
}

// The first sentence of what the sandbox said.
std::string WhatItSaid(const Sandbox& sandbox, const unique_fd& said) {
  std::string text;
  lseek(said.get(), 0, SEEK_SET);
  android::base::ReadFdToString(said.get(), &text);
  text = text.substr(0, text.find('\n'));
  text = text.substr(0, text.find(". "));
  if (text.empty()) return std::string(sandbox.program) + " failed";
  return android::base::StartsWith(text, sandbox.program) ? text : sandbox.program + (": " + text);
}

// Runs the command in this sandbox. Returns its exit code, or nothing with the sandbox's reason if
// the command was never reached.
std::optional<int> Try(const Sandbox& sandbox, const Launch& launch,
                       const std::string& why_not_better, std::string* reason) {
  Wires wires;
  if (!wires.Make()) return FailToRun(Reason("socketpair"));
  const pid_t pid = StartSandbox(sandbox, launch, wires);
  if (pid < 0) return FailToRun(Reason("fork"));
  wires.command_end.reset();
  pid_t command = 0;
  std::vector<unique_fd> listener;
  const ssize_t got = android::base::ReceiveFileDescriptorVector(wires.control.get(), &command,
                                                                 sizeof(command), 1, &listener);
  std::unique_ptr<FileFaults> file_faults;
  if (got == sizeof(command)) {
    if (!listener.empty()) {
      file_faults = std::make_unique<FileFaults>(std::move(listener[0]), launch.faults,
                                                 launch.faulty_folders);
    }
    launch.announce(sandbox, why_not_better);
  }
  wires.control.reset();  // lets the command begin
  const int exit_code = WaitForSandbox(pid, command);
  if (got == sizeof(command)) return exit_code;
  *reason = WhatItSaid(sandbox, wires.said);
  return std::nullopt;
}

}  // namespace

int FailToRun(const std::string& reason) {
  fprintf(stderr, "orx-sim: %s\n", reason.c_str());
  return kExitRunFailed;
}

void HoldSignals() {
  const sigset_t signals = Signals();
  sigprocmask(SIG_BLOCK, &signals, &mask_before);
}

int RunInSandbox(const Launch& launch) {
  const bool needs_read_only =
      std::any_of(launch.placements.begin(), launch.placements.end(),
                  [](const Placement& placement) { return placement.read_only; });
  std::string reasons;
  for (const Sandbox& sandbox : Sandboxes()) {
    std::string reason = std::string(sandbox.program) + " cannot make a folder read-only";
    if (!needs_read_only || sandbox.makes_read_only) {
      const std::optional<int> exit_code = Try(sandbox, launch, reasons, &reason);
      if (exit_code) return *exit_code;
    }
    reasons += (reasons.empty() ? "" : "; ") + reason;
  }
  return FailToRun(
      reasons +
      "; install bubblewrap where user namespaces are allowed, or proot where ptrace(2) is");
}

}  // namespace orx_sim
