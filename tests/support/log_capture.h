// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace orx_test {

// LogCapture collects the library's log lines (tag "ORX") of this process while it lives. One at a
// time; lines of other tags are dropped.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // lines returns what was logged since construction or Clear(), "path:line: message" each.
  const std::vector<std::string>& lines() const;

  // messages returns the same without "path:line: ".
  std::vector<std::string> messages() const;

  // Take returns messages() and clears them.
  std::vector<std::string> Take();

  // paths returns the source path of each line.
  std::vector<std::string> paths() const;

  void Clear();

  // OnMessage calls `hook` with each message as it is logged, on the thread that logs it: a test
  // can act between two steps of a function that logs them.
  void OnMessage(std::function<void(const std::string& message)> hook);
};

}  // namespace orx_test
