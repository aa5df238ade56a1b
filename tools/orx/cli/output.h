// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// Version of the JSON answers. It rises when a member changes its meaning or goes away.
constexpr int kSchemaVersion = 1;

struct Settings {
  bool verbose = false;
  bool quiet = false;
  bool json = false;
  int timeout_seconds = 0;  // 0: none
};

// Output is the one way in which a command answers: text on standard output, or with --json one
// JSON object alone there; notes and failures on standard error.
class Output {
 public:
  Output(const Settings& settings, const std::string& command)
      : settings_(settings), command_(command) {}

  const Settings& settings() const { return settings_; }
  bool json() const { return settings_.json; }
  // Whether progress may be drawn: a terminal, and neither --quiet nor --json nor --verbose.
  bool interactive() const;

  // Text prints one line of the answer; nothing under --json.
  void Text(const std::string& line) const;
  // Note prints a line that is no part of the answer, on standard error.
  void Note(const std::string& line) const;
  // answer() holds the members of the JSON answer.
  Json::Value& answer() { return answer_; }

  // Finish completes the answer and returns `exit_code`, or kFailed when the answer did not reach
  // its reader. For commands that find something, and find it bad.
  int Finish(int exit_code);
  // Succeed is Finish(kDone).
  int Succeed() { return Finish(kDone); }
  // Fail reports the failure and returns its exit code.
  int Fail(const Problem& problem);
  // Report prints `document` as the whole JSON answer.
  static void PrintJson(const Json::Value& document);

 private:
  void PrintProblem(const Problem& problem) const;

  Settings settings_;
  std::string command_;
  Json::Value answer_{Json::objectValue};
};

// PrintTable aligns the columns of `rows`; the first row is the heading.
void PrintTable(const Output& output, const std::vector<std::vector<std::string>>& rows);

}  // namespace orx_tool
