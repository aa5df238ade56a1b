// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

namespace orx_tool {

// The one place for the signals by which a user ends the program: SIGINT, SIGTERM and SIGHUP. Such
// a signal removes the unfinished file and ends the process with exit code 128 plus its number;
// while a SignalHold lives it is noted instead, and the holder decides.

// StartSignals installs the handlers, once, at the program's start. A signal that was ignored
// before (nohup) stays ignored. A closed pipe becomes an error of write like others.
void StartSignals();

// RemoveOnSignal names the unfinished file; null: there is none (any more). One exists at a time.
// Returns false when the path is too long to be kept.
bool RemoveOnSignal(const char* path);

// EndNow removes the unfinished file and ends the process at once.
[[noreturn]] void EndNow(int exit_code);

// EndingSignalsBlocked keeps the ending signals waiting, as between the making of a file and
// RemoveOnSignal.
class EndingSignalsBlocked {
 public:
  EndingSignalsBlocked();
  ~EndingSignalsBlocked();
  EndingSignalsBlocked(const EndingSignalsBlocked&) = delete;
  EndingSignalsBlocked& operator=(const EndingSignalsBlocked&) = delete;

 private:
  sigset_t old_mask_;
};

// SignalHold notes ending signals instead of following them. Holds may nest; only Wait and Noted
// let a signal in, so that none is missed between a look and a wait.
class SignalHold {
 public:
  SignalHold();
  ~SignalHold();
  SignalHold(const SignalHold&) = delete;
  SignalHold& operator=(const SignalHold&) = delete;

  // Noted returns the number of the signal that came since the outermost hold began, or 0.
  int Noted() const;

  // Wait returns whether `fd` has data or its end; false after `seconds` or a signal.
  bool Wait(int fd, double seconds) const;

  // LetGo is for a forked child: signals do there what they do without a hold, and the unfinished
  // file stays the parent's.
  static void LetGo();
};

}  // namespace orx_tool
