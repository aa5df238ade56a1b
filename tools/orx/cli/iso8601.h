// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/asn1.h>

#include <cstdint>
#include <limits>
#include <string>

namespace orx_tool {

// Iso8601 is a time in UTC ("2026-01-31T12:00:00Z", ISO 8601, RFC 3339); empty for one beyond the
// calendar. It does not go through time_t, which ends in 2038 where it has 32 bits.
inline std::string Iso8601(int64_t seconds) {
  constexpr int64_t kDaySeconds = int64_t{24} * 3600;
  const int64_t days = seconds / kDaySeconds;
  if (days < std::numeric_limits<int>::min() || days > std::numeric_limits<int>::max()) return "";
  const bssl::UniquePtr<ASN1_TIME> time(
      ASN1_TIME_adj(nullptr, 0, static_cast<int>(days), static_cast<long>(seconds % kDaySeconds)));
  if (time == nullptr) return "";
  const bssl::UniquePtr<ASN1_GENERALIZEDTIME> general(
      ASN1_TIME_to_generalizedtime(time.get(), nullptr));
  if (general == nullptr) return "";
  const auto* digits = reinterpret_cast<const char*>(ASN1_STRING_get0_data(general.get()));
  std::string text(digits, static_cast<size_t>(ASN1_STRING_length(general.get())));
  for (const size_t at : {size_t{4}, size_t{7}}) text.insert(at, "-");
  text.insert(10, "T");
  for (const size_t at : {size_t{13}, size_t{16}}) text.insert(at, ":");
  return text;
}

}  // namespace orx_tool
