// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/supervisor.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "tools/orx/cli/clock.h"
#include "tools/orx/cli/signals.h"

namespace orx_tool {
namespace {

constexpr double kLongSeconds = 3600;  // of a wait without an end of its own

// Drain reads what is there. Returns false at the end of the data.
bool Drain(int fd, std::string* payload) {
  char bytes[4096];
  const ssize_t got = read(fd, bytes, sizeof(bytes));
  if (got > 0) payload->append(bytes, static_cast<size_t>(got));
  return got > 0 || (got < 0 && errno == EINTR);
}

// Collector reads what the child writes until it closes its end.
class Collector {
 public:
  Collector(const SignalHold& signals, int fd, const ChildWatch& watch, std::string* payload)
      : signals_(signals), fd_(fd), watch_(watch), payload_(*payload) {}

  // Collect returns how the reading ended.
  ChildResult::End Collect() {
    for (;;) {
      const double now = MonotonicSeconds() - start_;
      if (watch_.seconds > 0 && now >= watch_.seconds) return ChildResult::End::kTimedOut;
      if (signals_.Wait(fd_, SecondsToWait(now))) {
        if (!Drain(fd_, &payload_)) return ChildResult::End::kExited;
        HandOnLines();
      } else if (signals_.Noted() != 0) {
        return ChildResult::End::kInterrupted;
      }
      Pulse();
    }
  }

 private:
  double SecondsToWait(double now) const {
    double seconds = watch_.seconds > 0 ? watch_.seconds - now : kLongSeconds;
    if (watch_.on_pulse) seconds = std::min(seconds, std::max(next_pulse_ - now, 0.0));
    return seconds;
  }

  void HandOnLines() {
    for (size_t end = payload_.find('\n', handed_on_); end != std::string::npos;
         end = payload_.find('\n', handed_on_)) {
      if (watch_.on_line) watch_.on_line(payload_.substr(handed_on_, end - handed_on_));
      handed_on_ = end + 1;
    }
    if (!watch_.on_line) return;
    payload_.erase(0, handed_on_);
    handed_on_ = 0;
  }

  void Pulse() {
    const double now = MonotonicSeconds() - start_;
    if (!watch_.on_pulse || now < next_pulse_) return;
    watch_.on_pulse(now);
    next_pulse_ += watch_.pulse_seconds;
  }

  const SignalHold& signals_;
  const int fd_;
  const ChildWatch& watch_;
  std::string& payload_;
  const double start_ = MonotonicSeconds();
  double next_pulse_ = watch_.pulse_seconds;
  size_t handed_on_ = 0;
};

void EndChild(const SignalHold& signals, pid_t child, int fd, double grace_seconds) {
  kill(child, SIGTERM);
  std::string ignored;
  const double deadline = MonotonicSeconds() + grace_seconds;
  double left = grace_seconds;
  while (left > 0) {
    if (signals.Wait(fd, left) && !Drain(fd, &ignored)) return;
    left = deadline - MonotonicSeconds();
  }
  kill(child, SIGKILL);
}

[[noreturn]] void RunChild(const std::function<int(int)>& work, int fd) {
  SignalHold::LetGo();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int code = work(fd);
  fflush(stdout);
  exit(code);
}

}  // namespace

ChildResult RunInChild(const std::function<int(int fd)>& work, const ChildWatch& watch) {
  ChildResult result;
  int ends[2];
  fflush(stdout);
  fflush(stderr);
  if (pipe(ends) != 0) return {ChildResult::End::kCrashed, 0, ""};
  const SignalHold signals;
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    RunChild(work, ends[1]);
  }
  close(ends[1]);
  if (child > 0) {
    result.end = Collector(signals, ends[0], watch, &result.payload).Collect();
    if (result.end != ChildResult::End::kExited) {
      EndChild(signals, child, ends[0], watch.grace_seconds);
    };
  }
  close(ends[0]);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return {ChildResult::End::kCrashed, 0, ""};
  // A terminal sends its signal to both, so the child may be gone before this process looks.
  if (result.end == ChildResult::End::kExited && signals.Noted() != 0) {
    result.end = ChildResult::End::kInterrupted;
  }
  if (result.end == ChildResult::End::kInterrupted) {
    result.status = signals.Noted();
  } else if (result.end == ChildResult::End::kExited) {
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    if (WIFSIGNALED(status)) result.end = ChildResult::End::kCrashed;
  }
  return result;
}

}  // namespace orx_tool
