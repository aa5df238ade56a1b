// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "tools/orx/check/check.h"

namespace orx_tool {

// CheckReport is what several checks came to, with those that were not run.
struct CheckReport {
  std::vector<CheckResult> results;
  std::vector<Check> not_run;
};

// The forms in which it is told. 'orx --schema' describes the JSON.

// XmlText escapes text for XML 1.0 and HTML, in elements and in attributes in double quotes. XML
// has no way to write most control characters, and what a device sends need not be UTF-8, so
// everything beyond printable ASCII becomes a question mark.
std::string XmlText(const std::string& text);

// SecondsOf writes two decimals.
std::string SecondsOf(double seconds);

// RunsText tells how often a repeated check failed; CodeText is a result's code with that in short.
std::string RunsText(const Runs& runs);
std::string CodeText(const CheckResult& result);

// ResultLine is "VERDICT name seconds CODE".
std::string ResultLine(const CheckResult& result);

// The same as a row of a table: check, instance, verdict, seconds, code.
std::string TableHeading();
std::string TableRow(const CheckResult& result);

// ReasonLines are the reason, the library's line and what to do next; nothing for a pass.
std::vector<std::string> ReasonLines(const CheckResult& result);

// NoteLines are the notes of the checks that passed and the reasons of those that do not apply,
// each once with the checks that it is about.
std::vector<std::string> NoteLines(const std::vector<CheckResult>& results);

// SummaryLines count the verdicts and name the checks that were not run.
std::vector<std::string> SummaryLines(const CheckReport& report);

// ResultJson is the object of one check.
Json::Value ResultJson(const CheckResult& result);

// AddReport adds the members "checks", "not_run" and "summary" to a JSON answer.
void AddReport(const CheckReport& report, Json::Value* answer);

// JunitXml is the report in the XML form that CI systems read: a failure for FAIL, an error for
// ENV, TIMEOUT and INTERRUPTED, skipped for N/A and for checks that were not run.
std::string JunitXml(const CheckReport& report);

}  // namespace orx_tool
