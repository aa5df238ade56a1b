// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameter.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

// Readers of the parameter lists of a request. A parameter whose value is not of the tag's own type
// counts as absent: nothing a caller sends makes a reader fail.
namespace orx_sim {

namespace km = ::aidl::android::hardware::security::keymint;

inline const km::KeyParameter* FindParameter(const std::vector<km::KeyParameter>& params,
                                             km::Tag tag, km::KeyParameterValue::Tag kind) {
  const auto found = std::find_if(params.begin(), params.end(), [&](const km::KeyParameter& param) {
    return param.tag == tag && param.value.getTag() == kind;
  });
  return found == params.end() ? nullptr : &*found;
}

template <km::KeyParameterValue::Tag kKind>
auto FindValue(const std::vector<km::KeyParameter>& params, km::Tag tag) {
  const km::KeyParameter* found = FindParameter(params, tag, kKind);
  return found == nullptr ? std::nullopt : std::make_optional(found->value.get<kKind>());
}

// The list's own bytes, or null.
inline const std::vector<uint8_t>* FindBlob(const std::vector<km::KeyParameter>& params,
                                            km::Tag tag) {
  const km::KeyParameter* found = FindParameter(params, tag, km::KeyParameterValue::blob);
  return found == nullptr ? nullptr : &found->value.get<km::KeyParameterValue::blob>();
}

// Milliseconds since 1970-01-01 UTC; unsigned in the standard, held in a signed member.
inline std::optional<uint64_t> FindDate(const std::vector<km::KeyParameter>& params, km::Tag tag) {
  const auto date = FindValue<km::KeyParameterValue::dateTime>(params, tag);
  return date ? std::make_optional(static_cast<uint64_t>(*date)) : std::nullopt;
}

inline bool HasFlag(const std::vector<km::KeyParameter>& params, km::Tag tag) {
  const km::KeyParameter* found = FindParameter(params, tag, km::KeyParameterValue::boolValue);
  return found != nullptr && found->value.get<km::KeyParameterValue::boolValue>();
}

inline bool HasPurpose(const std::vector<km::KeyParameter>& params, km::KeyPurpose purpose) {
  return std::any_of(params.begin(), params.end(), [&](const km::KeyParameter& param) {
    return param.tag == km::Tag::PURPOSE &&
           param.value.getTag() == km::KeyParameterValue::keyPurpose &&
           param.value.get<km::KeyParameterValue::keyPurpose>() == purpose;
  });
}

}  // namespace orx_sim
