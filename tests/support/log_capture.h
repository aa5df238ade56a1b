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

  // messages returns what was logged since construction or Clear(), if `path` is not empty by the
  // source at `path`.
  std::vector<std::string> messages(const std::string& path = "") const;

  // Take returns messages(path) and clears all.
  std::vector<std::string> Take(const std::string& path = "");

  void Clear();

  // OnMessage calls `hook` with each message as it is logged, on the thread that logs it: a test
  // can act between two steps of a function that logs them.
  void OnMessage(std::function<void(const std::string& message)> hook);
};

}  // namespace orx_test
