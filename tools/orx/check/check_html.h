// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>

#include "tools/orx/check/check_report.h"

namespace orx_tool {

// HtmlReport is the report as one page for a browser: no network, no scripts, and whatever a device
// sent shows as text. `envelope` is what the JSON answer begins with. Results with what was seen
// (CheckResult::seen) have the chains of attestation keys drawn.
std::string HtmlReport(const CheckReport& report, const Json::Value& envelope);

}  // namespace orx_tool
