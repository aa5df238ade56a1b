// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <cstdint>
#include <string>

namespace orx_tool {

// Iso8601 is a time in UTC ("2026-01-31T12:00:00Z", ISO 8601, RFC 3339); empty for one beyond the
// calendar.
inline std::string Iso8601(int64_t seconds) {
  const auto time = static_cast<time_t>(seconds);
  tm utc = {};
  char text[64] = {};
  if (gmtime_r(&time, &utc) == nullptr || utc.tm_year < -1900 || utc.tm_year > 8099) return "";
  strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

}  // namespace orx_tool
