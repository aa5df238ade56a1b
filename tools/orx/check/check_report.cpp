// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_report.h"

#include <stdio.h>

#include <algorithm>

#include "tools/orx/cli/json_lines.h"

namespace orx_tool {
namespace {

int Count(const std::vector<CheckResult>& results, Verdict verdict) {
  return static_cast<int>(
      std::count_if(results.begin(), results.end(),
                    [&](const CheckResult& result) { return result.verdict == verdict; }));
}

std::string SecondsText(double seconds) {
  char text[32];
  snprintf(text, sizeof(text), "%.2f", seconds);
  return text;
}

std::string FullName(const CheckResult& result) {
  return result.name + "/" + result.instance;
}

// XmlText escapes text for XML 1.0, which has no way to write most control characters.
std::string XmlText(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else if (byte < 0x20 && c != '\n' && c != '\t') {
      escaped += '?';
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string JunitOutcome(const CheckResult& result) {
  const std::string message = XmlText(result.code + ": " + result.cause);
  std::string body;
  for (const std::string& line : DetailLines(result, /*notes_only=*/false)) body += line + "\n";
  for (const std::string& line : result.evidence) body += line + "\n";
  switch (result.verdict) {
    case Verdict::kPass:
      return "";
    case Verdict::kNotApplicable:
      return "    <skipped message=\"" + message + "\"/>\n";
    case Verdict::kEnvironment:
      return "    <error type=\"" + XmlText(result.code) + "\" message=\"" + message + "\">" +
             XmlText(body) + "</error>\n";
    case Verdict::kFail:
      break;
  }
  return "    <failure type=\"" + XmlText(result.code) + "\" message=\"" + message + "\">" +
         XmlText(body) + "</failure>\n";
}

}  // namespace

std::string ResultLine(const CheckResult& result) {
  char text[128];
  snprintf(text, sizeof(text), "%-4s %-28s %7.2f ", VerdictName(result.verdict),
           FullName(result).c_str(), result.seconds);
  return text + result.code;
}

std::string TableHeading() {
  return "CHECK            INSTANCE   VERDICT  SECONDS  CODE";
}

std::string TableRow(const CheckResult& result) {
  char text[128];
  snprintf(text, sizeof(text), "%-15s  %-9s  %-7s  %7.2f  ", result.name.c_str(),
           result.instance.c_str(), VerdictName(result.verdict), result.seconds);
  return text + result.code;
}

std::vector<std::string> DetailLines(const CheckResult& result, bool notes_only) {
  std::vector<std::string> lines;
  if (!notes_only) {
    if (!result.cause.empty()) lines.push_back("  reason:  " + result.cause);
    if (!result.message.empty()) lines.push_back("  library: " + result.message);
  }
  const char* label = notes_only ? "  note:    " : "  next:    ";
  for (const std::string& advice : result.advice) lines.push_back(label + advice);
  return lines;
}

Json::Value ResultJson(const CheckResult& result) {
  Json::Value json(Json::objectValue);
  json["check"] = result.name;
  json["instance"] = result.instance;
  json["verdict"] = VerdictName(result.verdict);
  json["code"] = result.code;
  json["cause"] = result.cause;
  json["message"] = result.message;
  json["evidence"] = Texts(result.evidence);
  json["advice"] = Texts(result.advice);
  json["duration"] = result.seconds;
  return json;
}

Json::Value ReportJson(const std::vector<CheckResult>& results, int not_run) {
  Json::Value document(Json::objectValue);
  document["checks"] = Json::Value(Json::arrayValue);
  for (const CheckResult& result : results) document["checks"].append(ResultJson(result));
  Json::Value summary(Json::objectValue);
  summary["passed"] = Count(results, Verdict::kPass);
  summary["failed"] = Count(results, Verdict::kFail);
  summary["not_applicable"] = Count(results, Verdict::kNotApplicable);
  summary["environment"] = Count(results, Verdict::kEnvironment);
  summary["not_run"] = not_run;
  document["summary"] = summary;
  return document;
}

std::string SummaryLine(const std::vector<CheckResult>& results, int not_run) {
  std::string line = std::to_string(Count(results, Verdict::kPass)) + " passed, " +
                     std::to_string(Count(results, Verdict::kFail)) + " failed, " +
                     std::to_string(Count(results, Verdict::kNotApplicable)) + " not applicable, " +
                     std::to_string(Count(results, Verdict::kEnvironment)) + " environment";
  if (not_run > 0) line += ", " + std::to_string(not_run) + " not run (--keep-going runs them)";
  return line;
}

std::string JunitXml(const std::vector<CheckResult>& results) {
  double seconds = 0;
  for (const CheckResult& result : results) seconds += result.seconds;
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"orx check\"";
  xml += " tests=\"" + std::to_string(results.size()) + "\"";
  xml += " failures=\"" + std::to_string(Count(results, Verdict::kFail)) + "\"";
  xml += " errors=\"" + std::to_string(Count(results, Verdict::kEnvironment)) + "\"";
  xml += " skipped=\"" + std::to_string(Count(results, Verdict::kNotApplicable)) + "\"";
  xml += " time=\"" + SecondsText(seconds) + "\">\n";
  for (const CheckResult& result : results) {
    xml += "  <testcase classname=\"orx." + XmlText(result.instance) + "\" name=\"" +
           XmlText(result.name) + "\" time=\"" + SecondsText(result.seconds) + "\">\n" +
           JunitOutcome(result) + "  </testcase>\n";
  }
  return xml + "</testsuite>\n";
}

}  // namespace orx_tool
