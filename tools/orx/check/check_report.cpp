// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_report.h"

#include <stdio.h>

#include <algorithm>
#include <utility>

#include "tools/orx/cli/json_lines.h"

namespace orx_tool {
namespace {

int Count(const std::vector<CheckResult>& results, Verdict verdict) {
  return static_cast<int>(
      std::count_if(results.begin(), results.end(),
                    [&](const CheckResult& result) { return result.verdict == verdict; }));
}

Json::Value RunsJson(const Runs& runs) {
  Json::Value json(Json::objectValue);
  json["done"] = runs.done;
  json["failed"] = runs.failed;
  json["first"] = runs.first;
  json["last"] = runs.last;
  json["last_code"] = runs.last_code;
  return json;
}

std::string Attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + XmlText(value) + "\"";
}

std::string JunitOutcome(const CheckResult& result) {
  if (result.verdict == Verdict::kPass) return "";
  const std::string message = Attribute("message", result.code + ": " + result.cause);
  if (result.verdict == Verdict::kNotApplicable) return "    <skipped" + message + "/>\n";
  std::string body;
  for (const std::string& line : ReasonLines(result)) body += line + "\n";
  for (const std::string& line : result.evidence) body += line + "\n";
  const std::string element = result.verdict == Verdict::kFail ? "failure" : "error";
  return "    <" + element + Attribute("type", result.code) + message + ">" + XmlText(body) + "</" +
         element + ">\n";
}

std::string JunitCase(const std::string& name, const std::string& instance, double seconds,
                      const std::string& outcome) {
  return "  <testcase" + Attribute("classname", "orx." + instance) + Attribute("name", name) +
         Attribute("time", SecondsOf(seconds)) + ">\n" + outcome + "  </testcase>\n";
}

size_t CountOf(const std::string& name, const std::vector<CheckResult>& results) {
  return static_cast<size_t>(
      std::count_if(results.begin(), results.end(),
                    [&](const CheckResult& result) { return result.name == name; }));
}

// NamesOf names `some` of the results: a check that is there with all its instances by its name.
std::string NamesOf(const std::vector<CheckResult>& some, const std::vector<CheckResult>& results) {
  std::string names;
  std::string whole;
  for (const CheckResult& result : some) {
    if (result.name == whole) continue;
    const size_t count = CountOf(result.name, results);
    whole = count > 1 && count == CountOf(result.name, some) ? result.name : "";
    names += (names.empty() ? "" : ", ") + (whole.empty() ? result.full_name() : whole);
  }
  return names;
}

}  // namespace

std::string SecondsOf(double seconds) {
  char text[32];
  snprintf(text, sizeof(text), "%.2f", seconds);
  return text;
}

std::string XmlText(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else if ((c < 0x20 || c > 0x7e) && c != '\n' && c != '\t') {
      escaped += '?';
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string RunsText(const Runs& runs) {
  if (runs.failed == 0) return "none of " + std::to_string(runs.done) + " failed";
  return std::to_string(runs.failed) + " of " + std::to_string(runs.done) +
         " failed; the first was run " + std::to_string(runs.first) + ", the last was run " +
         std::to_string(runs.last) + " (" + runs.last_code + ")";
}

std::string CodeText(const CheckResult& result) {
  if (!result.runs) return result.code;
  const std::string failed =
      result.runs->failed == 0 ? "" : std::to_string(result.runs->failed) + " of ";
  return result.code + " (" + failed + std::to_string(result.runs->done) + " runs)";
}

std::string ResultLine(const CheckResult& result) {
  char text[128];
  snprintf(text, sizeof(text), "%-7s %-28s %7.2f ", VerdictName(result.verdict),
           result.full_name().c_str(), result.seconds);
  return text + CodeText(result);
}

std::string TableHeading() {
  return "CHECK            INSTANCE   VERDICT  SECONDS  CODE";
}

std::string TableRow(const CheckResult& result) {
  char text[128];
  snprintf(text, sizeof(text), "%-15s  %-9s  %-7s  %7.2f  ", result.name.c_str(),
           result.instance.c_str(), VerdictName(result.verdict), result.seconds);
  return text + CodeText(result);
}

std::vector<std::string> ReasonLines(const CheckResult& result) {
  if (result.verdict == Verdict::kPass) return {};
  std::vector<std::string> lines;
  if (!result.cause.empty()) lines.push_back("  reason:  " + result.cause);
  if (!result.message.empty()) lines.push_back("  library: " + result.message);
  if (result.runs) lines.push_back("  runs:    " + RunsText(*result.runs));
  for (const std::string& advice : result.advice) lines.push_back("  next:    " + advice);
  return lines;
}

std::vector<std::string> NoteLines(const std::vector<CheckResult>& results) {
  std::vector<std::pair<std::string, std::vector<CheckResult>>> notes;  // text, whose it is
  const auto add = [&](const std::string& text, const CheckResult& result) {
    auto known = std::find_if(notes.begin(), notes.end(),
                              [&](const auto& note) { return note.first == text; });
    if (known == notes.end()) known = notes.insert(known, {text, {}});
    known->second.push_back(result);
  };
  for (const CheckResult& result : results) {
    if (result.verdict == Verdict::kNotApplicable) add(result.cause, result);
    if (result.verdict != Verdict::kPass) continue;
    for (const std::string& text : result.advice) add(text, result);
  }
  std::vector<std::string> lines;
  lines.reserve(notes.size());
  for (const auto& [text, whose] : notes) {
    std::string& line = lines.emplace_back("note: ");
    line.append(NamesOf(whose, results)).append(": ").append(text);
  }
  return lines;
}

std::vector<std::string> SummaryLines(const CheckReport& report) {
  std::string counts =
      std::to_string(Count(report.results, Verdict::kPass)) + " passed, " +
      std::to_string(Count(report.results, Verdict::kFail)) + " failed, " +
      std::to_string(Count(report.results, Verdict::kNotApplicable)) + " not applicable, " +
      std::to_string(Count(report.results, Verdict::kEnvironment)) + " environment";
  const int timed_out = Count(report.results, Verdict::kTimedOut);
  const int interrupted = Count(report.results, Verdict::kInterrupted);
  if (timed_out > 0) counts += ", " + std::to_string(timed_out) + " timed out";
  if (interrupted > 0) counts += ", " + std::to_string(interrupted) + " interrupted";
  if (report.not_run.empty()) return {counts};
  std::string names;
  for (const Check& check : report.not_run) {
    names += (names.empty() ? "" : ", ") + check.full_name();
  }
  const std::string hint = interrupted > 0 ? "" : " (--keep-going runs them)";
  return {counts + ", " + std::to_string(report.not_run.size()) + " not run",
          "not run: " + names + hint};
}

Json::Value ResultJson(const CheckResult& result) {
  Json::Value json(Json::objectValue);
  json["check"] = result.name;
  json["instance"] = result.instance;
  json["verdict"] = VerdictName(result.verdict);
  json["exit_code"] = result.exit_code;
  json["code"] = result.code;
  json["cause"] = result.cause;
  json["message"] = result.message;
  json["evidence"] = Texts(result.evidence);
  json["advice"] = Texts(result.advice);
  json["duration"] = result.seconds;
  if (result.runs) json["runs"] = RunsJson(*result.runs);
  return json;
}

void AddReport(const CheckReport& report, Json::Value* answer) {
  Json::Value& checks = (*answer)["checks"] = Json::Value(Json::arrayValue);
  for (const CheckResult& result : report.results) checks.append(ResultJson(result));
  Json::Value& not_run = (*answer)["not_run"] = Json::Value(Json::arrayValue);
  for (const Check& check : report.not_run) not_run.append(check.full_name());
  Json::Value& summary = (*answer)["summary"] = Json::Value(Json::objectValue);
  summary["passed"] = Count(report.results, Verdict::kPass);
  summary["failed"] = Count(report.results, Verdict::kFail);
  summary["not_applicable"] = Count(report.results, Verdict::kNotApplicable);
  summary["environment"] = Count(report.results, Verdict::kEnvironment);
  summary["timed_out"] = Count(report.results, Verdict::kTimedOut);
  summary["interrupted"] = Count(report.results, Verdict::kInterrupted);
  summary["not_run"] = static_cast<int>(report.not_run.size());
}

std::string JunitXml(const CheckReport& report) {
  const std::vector<CheckResult>& results = report.results;
  const size_t not_run = report.not_run.size();
  const int errors = Count(results, Verdict::kEnvironment) + Count(results, Verdict::kTimedOut) +
                     Count(results, Verdict::kInterrupted);
  const size_t skipped = static_cast<size_t>(Count(results, Verdict::kNotApplicable)) + not_run;
  double seconds = 0;
  std::string cases;
  for (const CheckResult& result : results) {
    seconds += result.seconds;
    cases += JunitCase(result.name, result.instance, result.seconds, JunitOutcome(result));
  }
  for (const Check& check : report.not_run) {
    cases += JunitCase(check.name, check.instance, 0, "    <skipped message=\"not run\"/>\n");
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite" + Attribute("name", "orx check") +
         Attribute("tests", std::to_string(results.size() + not_run)) +
         Attribute("failures", std::to_string(Count(results, Verdict::kFail))) +
         Attribute("errors", std::to_string(errors)) +
         Attribute("skipped", std::to_string(skipped)) + Attribute("time", SecondsOf(seconds)) +
         ">\n" + cases + "</testsuite>\n";
}

}  // namespace orx_tool
