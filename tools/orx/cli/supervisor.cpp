// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/supervisor.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace orx_tool {
namespace {

constexpr double kGraceSeconds = 0.5;
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t ending_signal = 0;

void NoteSignal(int signal_number) {
  ending_signal = signal_number;
}

double Now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// SignalGuard blocks the ending signals and notes them; only WaitReadable lets them in, so that
// none is missed between a look at ending_signal and the wait.
class SignalGuard {
 public:
  SignalGuard() {
    ending_signal = 0;
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : kEndingSignals) sigaddset(&ending, number);
    sigprocmask(SIG_BLOCK, &ending, &old_mask_);
    struct sigaction note = {};
    note.sa_handler = NoteSignal;
    for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
      sigaction(kEndingSignals[i], &note, &old_actions_[i]);
    }
  }
  ~SignalGuard() { Restore(); }
  SignalGuard(const SignalGuard&) = delete;
  SignalGuard& operator=(const SignalGuard&) = delete;

  void Restore() {
    for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
      sigaction(kEndingSignals[i], &old_actions_[i], nullptr);
    }
    sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
  }

  // WaitReadable returns whether `fd` has data or its end; false after `seconds` (negative: never)
  // or a signal.
  bool WaitReadable(int fd, double seconds) const {
    pollfd waited = {fd, POLLIN, 0};
    timespec timeout = {};
    if (seconds >= 0) {
      timeout.tv_sec = static_cast<time_t>(seconds);
      timeout.tv_nsec = static_cast<long>((seconds - static_cast<double>(timeout.tv_sec)) * 1e9);
    }
    return ppoll(&waited, 1, seconds < 0 ? nullptr : &timeout, &old_mask_) > 0;
  }

 private:
  sigset_t old_mask_;
  struct sigaction old_actions_[std::size(kEndingSignals)];
};

// Drain reads what is there. Returns false at the end of the data.
bool Drain(int fd, std::string* payload) {
  char bytes[4096];
  const ssize_t got = read(fd, bytes, sizeof(bytes));
  if (got > 0) payload->append(bytes, static_cast<size_t>(got));
  return got > 0 || (got < 0 && errno == EINTR);
}

// Collect reads until the child closes its end. Returns how that came about.
ChildResult::End Collect(const SignalGuard& signals, int fd, double seconds, std::string* payload) {
  const double deadline = Now() + seconds;
  for (;;) {
    const double left = seconds > 0 ? std::max(deadline - Now(), 0.0) : -1;
    if (signals.WaitReadable(fd, left)) {
      if (!Drain(fd, payload)) return ChildResult::End::kExited;
    } else if (ending_signal != 0) {
      return ChildResult::End::kInterrupted;
    } else if (seconds > 0 && Now() >= deadline) {
      return ChildResult::End::kTimedOut;
    }
  }
}

void EndChild(const SignalGuard& signals, pid_t child, int fd) {
  kill(child, SIGTERM);
  std::string ignored;
  const double deadline = Now() + kGraceSeconds;
  while (Now() < deadline && signals.WaitReadable(fd, kGraceSeconds)) {
    if (!Drain(fd, &ignored)) return;
  }
  kill(child, SIGKILL);
}

[[noreturn]] void RunChild(SignalGuard& signals, const std::function<int(int)>& work, int fd) {
  signals.Restore();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int code = work(fd);
  fflush(stdout);
  exit(code);
}

}  // namespace

ChildResult RunInChild(const std::function<int(int fd)>& work, double seconds) {
  ChildResult result;
  int ends[2];
  fflush(stdout);
  fflush(stderr);
  if (pipe(ends) != 0) return {ChildResult::End::kCrashed, 0, ""};
  SignalGuard signals;
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    RunChild(signals, work, ends[1]);
  }
  close(ends[1]);
  if (child > 0) {
    result.end = Collect(signals, ends[0], seconds, &result.payload);
    if (result.end != ChildResult::End::kExited) EndChild(signals, child, ends[0]);
  }
  close(ends[0]);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return {ChildResult::End::kCrashed, 0, ""};
  if (result.end == ChildResult::End::kInterrupted) {
    result.status = ending_signal;
  } else if (result.end == ChildResult::End::kExited) {
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    if (WIFSIGNALED(status)) result.end = ChildResult::End::kCrashed;
  }
  return result;
}

}  // namespace orx_tool
