// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/output.h"

#include <stdio.h>
#include <unistd.h>

#include <algorithm>

namespace orx_tool {
namespace {

Json::Value ProblemToJson(const Problem& problem) {
  Json::Value error(Json::objectValue);
  error["code"] = problem.code;
  error["cause"] = problem.cause;
  error["message"] = problem.library_line;
  error["advice"] = problem.advice;
  error["owner"] = problem.owner;
  return error;
}

}  // namespace

bool Output::interactive() const {
  return !settings_.quiet && !settings_.json && !settings_.verbose && isatty(STDERR_FILENO);
}

void Output::Text(const std::string& line) const {
  if (!settings_.json) printf("%s\n", line.c_str());
}

void Output::Note(const std::string& line) const {
  if (!settings_.quiet && !settings_.json) fprintf(stderr, "%s\n", line.c_str());
}

void Output::PrintJson(const Json::Value& document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["precision"] = 6;
  builder["precisionType"] = "decimal";
  printf("%s\n", Json::writeString(builder, document).c_str());
}

int Output::Finish(int exit_code) {
  if (settings_.json) {
    Json::Value document = answer_;
    document["schema_version"] = kSchemaVersion;
    document["command"] = command_;
    document["ok"] = exit_code == kDone;
    document["exit_code"] = exit_code;
    PrintJson(document);
  }
  if (fflush(stdout) == 0 && !ferror(stdout)) return exit_code;
  const Problem problem = MakeProblem("OUTPUT-FAILED", "cannot write to standard output");
  PrintProblem(problem);
  return problem.exit_code;
}

int Output::Fail(const Problem& problem) {
  if (settings_.json) {
    Json::Value document(Json::objectValue);
    document["schema_version"] = kSchemaVersion;
    document["command"] = command_;
    document["ok"] = false;
    document["exit_code"] = problem.exit_code;
    document["error"] = ProblemToJson(problem);
    PrintJson(document);
  } else {
    PrintProblem(problem);
  }
  fflush(stdout);
  return problem.exit_code;
}

void Output::PrintProblem(const Problem& problem) const {
  fprintf(stderr, "orx: %s [%s]\n", problem.cause.c_str(), problem.code.c_str());
  if (settings_.quiet) return;
  if (!problem.library_line.empty()) {
    fprintf(stderr, "  library: %s\n", problem.library_line.c_str());
  }
  if (!problem.advice.empty()) fprintf(stderr, "  try: %s\n", problem.advice.c_str());
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
    output.Text(line + row.back());
  }
}

}  // namespace orx_tool
