// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/output.h"

#include <errno.h>
#include <orx/orx.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "tools/orx/cli/device.h"
#include "tools/orx/cli/iso8601.h"

namespace orx_tool {

const char* const kAnswerSchema =
#include "tools/orx/cli/answer_schema.inc"
    ;

namespace {

constexpr const char kNoDevice[] =
    "This PC is no Android device. Run the command inside a simulated one: orx-sim run -- orx ";

Json::Value ProblemToJson(const Problem& problem) {
  Json::Value error(Json::objectValue);
  error["code"] = problem.code;
  error["cause"] = problem.cause;
  error["message"] = problem.library_line;
  error["advice"] = problem.advice;
  error["owner"] = problem.owner;
  return error;
}

void PrintLine(FILE* stream, const std::string& line, const LineStyle& style = {}) {
  ClearStatus();
  std::string shown = Wrapped(Printable(line), TerminalWidth(fileno(stream)), style.indent);
  const size_t at = style.word.empty() ? std::string::npos : shown.find(style.word);
  if (at != std::string::npos) {
    shown.replace(at, style.word.size(), Colored(style.color, style.word));
  }
  fprintf(stream, "%s\n", shown.c_str());
}

}  // namespace

bool Output::interactive() const {
  return !settings_.quiet && !settings_.json && !settings_.verbose && IsTerminal(STDERR_FILENO);
}

void Output::Text(const std::string& line, const LineStyle& style) const {
  if (!settings_.json) PrintLine(stdout, line, style);
}

void Output::Note(const std::string& line) const {
  if (!settings_.quiet && !settings_.json) PrintLine(stderr, line);
}

void Output::Verbose(const LogLine& line) const {
  if (!settings_.verbose) return;
  const std::string message = settings_.show_ids ? line.message : MaskIdentifiers(line.message);
  // In one piece, as children write to the same place.
  fputs(("ORX " + line.place + ": " + Printable(message) + "\n").c_str(), stderr);
}

Json::Value Output::Envelope(int exit_code) const {
  Json::Value document(Json::objectValue);
  document["schema_version"] = kSchemaVersion;
  document["command"] = command_;
  document["ok"] = exit_code == kDone;
  document["exit_code"] = exit_code;
  document["tool_version"] = ORX_VERSION_STRING;
  document["library_version"] = ORX_VERSION_STRING;
  document["time"] = Iso8601(time(nullptr));
  const std::string model = DeviceModel();
  document["device_model"] = model.empty() ? Json::Value() : Json::Value(model);
  return document;
}

void Output::Event(const Json::Value& json) const {
  if (!settings_.json_lines) return;
  PrintJson(json);
  fflush(stdout);
}

void Output::PrintJson(const Json::Value& document) const {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = settings_.json_lines ? "" : "  ";
  builder["precision"] = 6;
  builder["precisionType"] = "decimal";
  ClearStatus();
  printf("%s\n", Json::writeString(builder, document).c_str());
}

int Output::Finish(int exit_code) {
  if (settings_.json) {
    Json::Value document = Envelope(exit_code);
    document["result"] = answer_;
    PrintJson(document);
  }
  if (exit_code == kEnvironment && !IsDevice()) Note(kNoDevice + command_);
  return exit_code;
}

// Completed is the problem as it is told: with what is the same for all commands.
Problem Output::Completed(Problem problem) const {
  if (!settings_.show_ids) problem.library_line = MaskIdentifiers(problem.library_line);
  if (problem.exit_code == kEnvironment && !IsDevice()) problem.advice = kNoDevice + command_;
  if (problem.code != "USAGE") return problem;
  const std::string help = command_.empty() ? "orx --help" : "orx " + command_ + " --help";
  problem.cause += "; see '" + help + "'";
  problem.advice.clear();
  return problem;
}

int Output::Fail(const Problem& problem) {
  const Problem told = Completed(problem);
  if (settings_.json) {
    Json::Value document = Envelope(told.exit_code);
    document["error"] = ProblemToJson(told);
    if (!answer_.empty()) document["result"] = answer_;
    PrintJson(document);
  } else {
    PrintProblem(told);
  }
  return told.exit_code;
}

void Output::PrintProblem(const Problem& problem) const {
  fflush(stdout);
  PrintLine(stderr, "orx: " + problem.cause + " [" + problem.code + "]");
  if (settings_.quiet) return;
  if (!problem.library_line.empty()) PrintLine(stderr, "  library: " + problem.library_line);
  if (!problem.advice.empty()) PrintLine(stderr, "  try: " + problem.advice);
}

int DeliverAnswer(int exit_code) {
  errno = 0;
  const bool delivered = fflush(stdout) == 0 && ferror(stdout) == 0;
  ClearStatus();
  if (delivered) return exit_code;
  const std::string reason = errno != 0 ? std::string(": ") + strerror(errno) : "";
  const Problem problem =
      MakeProblem("OUTPUT-FAILED", "the answer did not reach standard output" + reason);
  fprintf(stderr, "orx: %s [%s]\n  try: %s\n", problem.cause.c_str(), problem.code.c_str(),
          problem.advice.c_str());
  return exit_code == kDone ? problem.exit_code : exit_code;
}

void PrintTable(const Output& output, const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i + 1 < row.size(); ++i) {
      line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    }
    const size_t indent = line.size();
    output.Text(line + row.back(), {Color::kNone, "", indent});
  }
}

}  // namespace orx_tool
