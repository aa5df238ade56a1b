// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orx_tool {

// The lines that the library writes to the Android log while the tool calls it. They are the only
// place where the library says why a call failed, so the tool reads them in its own process; on a
// device they go on to the system log as well.

// LogLine is one line: the place in the library's sources ("src/keymint/ORX_SYM.cpp:77") and the
// message.
struct LogLine {
  std::string place;
  std::string message;
};

// SplitLogLine takes "path:line: message" apart; text without a place becomes the message.
LogLine SplitLogLine(const std::string& text);

// StartLibraryLog begins to collect. `show` is called with each line as it comes, if set.
void StartLibraryLog(std::function<void(const LogLine& line)> show);

// ClearLibraryLog forgets the lines so far. Called before a library call whose lines matter.
void ClearLibraryLog();

// LibraryLogLines returns the lines since the last ClearLibraryLog, at most the newest 4000.
std::vector<LogLine> LibraryLogLines();

// SetLibraryLogObserver has `observer` called with each line as it comes; an empty function ends
// that. Used to show what a long call is doing.
void SetLibraryLogObserver(std::function<void(const LogLine& line)> observer);

// SendLibraryLog has a child process tell its parent each line as it comes, through `fd` (-1 ends
// that). ReceivedLogLine is the line in one that the child sent, if it is of the log: the parent
// can say what a child was waiting for that had to be killed.
void SendLibraryLog(int fd);
std::optional<LogLine> ReceivedLogLine(const std::string& sent);

}  // namespace orx_tool
