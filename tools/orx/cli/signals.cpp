// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/signals.h"

#include <limits.h>
#include <poll.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "tools/orx/cli/clock.h"

namespace orx_tool {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

char unfinished_path[PATH_MAX];
int holds = 0;
volatile sig_atomic_t held = 0;
volatile sig_atomic_t noted = 0;
double noted_at = 0;  // written by the handler alone

// One that is sent to a process group comes twice where a parent passes signals on, as orx-sim
// does. The second is no wish to end without a report.
constexpr double kSameSignalSeconds = 0.5;

void OnEndingSignal(int signal_number) {
  if (held != 0) {
    if (noted == 0) noted_at = MonotonicSeconds();
    noted = signal_number;
    return;
  }
  if (noted == signal_number && MonotonicSeconds() - noted_at < kSameSignalSeconds) return;
  EndNow(128 + signal_number);
}

sigset_t EndingSignals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal_number : kEndingSignals) sigaddset(&ending, signal_number);
  return ending;
}

// WaitWithSignals waits with the ending signals let in; true when `fd` has data or its end.
bool WaitWithSignals(int fd, double seconds) {
  sigset_t mask;
  sigprocmask(SIG_SETMASK, nullptr, &mask);
  for (const int signal_number : kEndingSignals) sigdelset(&mask, signal_number);
  pollfd waited = {fd, POLLIN, 0};
  timespec timeout = {};
  timeout.tv_sec = static_cast<time_t>(seconds);
  timeout.tv_nsec = static_cast<long>((seconds - static_cast<double>(timeout.tv_sec)) * 1e9);
  return ppoll(&waited, 1, &timeout, &mask) > 0;
}

}  // namespace

void StartSignals() {
  for (const int signal_number : kEndingSignals) {
    struct sigaction action = {};
    sigaction(signal_number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action.sa_handler = OnEndingSignal;
    sigaction(signal_number, &action, nullptr);
  }
  signal(SIGPIPE, SIG_IGN);
}

bool RemoveOnSignal(const char* path) {
  const size_t length = path != nullptr ? strlen(path) : 0;
  if (length >= sizeof(unfinished_path)) return false;
  const EndingSignalsBlocked blocked;
  memcpy(unfinished_path, length != 0 ? path : "", length + 1);
  return true;
}

void EndNow(int exit_code) {
  if (unfinished_path[0] != 0) unlink(unfinished_path);
  _exit(exit_code);
}

EndingSignalsBlocked::EndingSignalsBlocked() {
  const sigset_t ending = EndingSignals();
  sigprocmask(SIG_BLOCK, &ending, &old_mask_);
}

EndingSignalsBlocked::~EndingSignalsBlocked() {
  sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
}

SignalHold::SignalHold() {
  const sigset_t ending = EndingSignals();
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  if (holds++ == 0) noted = 0;
  held = 1;
}

SignalHold::~SignalHold() {
  if (--holds > 0) return;
  held = 0;  // what comes from here on ends the process
  const sigset_t ending = EndingSignals();
  sigprocmask(SIG_UNBLOCK, &ending, nullptr);
}

int SignalHold::Noted() const {
  WaitWithSignals(-1, 0);  // lets in what waits
  return noted;
}

bool SignalHold::Wait(int fd, double seconds) const {
  return WaitWithSignals(fd, seconds);
}

void SignalHold::LetGo() {
  holds = 0;
  held = 0;
  unfinished_path[0] = 0;
  const sigset_t ending = EndingSignals();
  sigprocmask(SIG_UNBLOCK, &ending, nullptr);
}

}  // namespace orx_tool
