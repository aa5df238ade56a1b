// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "tools/orx/cli/terminal.h"
#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// Version of the JSON answers. It rises when a member changes its meaning or goes away.
constexpr int kSchemaVersion = 2;

// AnswerSchema is the JSON Schema (draft 2020-12) of the JSON answers of all commands.
extern const char* const kAnswerSchema;

struct Settings {
  bool verbose = false;
  bool quiet = false;
  bool json = false;
  bool json_lines = false;     // JSON documents of one line each
  bool show_ids = false;       // else what names this very device is masked in the library's lines
  double timeout_seconds = 0;  // 0: none
};

// LineStyle says how a line is shown on a terminal: the first `word` of it in `color`, and what
// does not fit its width under column `indent` (0: under the line's own text).
struct LineStyle {
  Color color = Color::kNone;
  std::string word;
  size_t indent = 0;
};

// Output is the one way in which a command answers: text on standard output, or with --json one
// JSON object alone there; notes and failures on standard error. Whatever it prints has its control
// characters escaped, as much of it comes from the device.
class Output {
 public:
  Output(const Settings& settings, const std::string& command)
      : settings_(settings), command_(command) {}

  const Settings& settings() const { return settings_; }
  bool json() const { return settings_.json; }
  // Whether progress may be drawn: a terminal, and neither --quiet nor --json nor --verbose.
  bool interactive() const;

  // Text prints one line of the answer; nothing under --json.
  void Text(const std::string& line, const LineStyle& style = {}) const;
  // Note prints a line that is no part of the answer, on standard error.
  void Note(const std::string& line) const;
  // Verbose prints a line of the library's log, with --verbose.
  void Verbose(const LogLine& line) const;
  // answer() holds the members of the JSON answer's "result".
  Json::Value& answer() { return answer_; }

  // Event prints `json` at once, under --json-lines only.
  void Event(const Json::Value& json) const;

  // Finish ends the command with its answer and returns `exit_code`. The answer may be complete and
  // tell of a failure: a check that failed, a device that is not healthy.
  int Finish(int exit_code);
  int Succeed() { return Finish(kDone); }
  // Fail ends the command with a failure and returns its exit code.
  int Fail(const Problem& problem);

  // Envelope is what every JSON answer begins with.
  Json::Value Envelope(int exit_code) const;
  void PrintJson(const Json::Value& document) const;

 private:
  void PrintProblem(const Problem& problem) const;
  Problem Completed(Problem problem) const;

  Settings settings_;
  std::string command_;
  Json::Value answer_{Json::objectValue};
};

// DeliverAnswer is the last step of every process that printed an answer: it returns `exit_code`,
// or says that standard output did not take all of the answer and returns that failure's exit code
// when `exit_code` was a success.
int DeliverAnswer(int exit_code);

// PrintTable aligns the columns of `rows`; the first row is the heading.
void PrintTable(const Output& output, const std::vector<std::vector<std::string>>& rows);

}  // namespace orx_tool
