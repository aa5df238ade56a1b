// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "tools/orx/check/check.h"

namespace orx_tool {

// The forms in which check results are reported. 'orx --schema' describes the JSON.

// ResultLine is "VERDICT name seconds CODE".
std::string ResultLine(const CheckResult& result);

// The same as a row of a table: check, instance, verdict, seconds, code.
std::string TableHeading();
std::string TableRow(const CheckResult& result);

// DetailLines are the reason, the library's line and what to look at next; with `notes_only` the
// advice alone.
std::vector<std::string> DetailLines(const CheckResult& result, bool notes_only);

// ResultJson is the object of one check.
Json::Value ResultJson(const CheckResult& result);

// ReportJson is the document of several checks: their objects and one summary.
Json::Value ReportJson(const std::vector<CheckResult>& results, int not_run);

// SummaryLine counts the verdicts.
std::string SummaryLine(const std::vector<CheckResult>& results, int not_run);

// JunitXml is the report in the XML form that CI systems read: a failure for FAIL, an error for
// ENV, skipped for N/A.
std::string JunitXml(const std::vector<CheckResult>& results);

}  // namespace orx_tool
