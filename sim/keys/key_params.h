// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/ErrorCode.h>

#include <optional>
#include <utility>
#include <vector>

#include "sim/base/bytes.h"
#include "sim/keys/key_parameters.h"

namespace orx_sim {

using km::Tag;
using KeyParams = std::vector<km::KeyParameter>;

// NumberOf returns the value of an enum, bool, integer or date parameter, unsigned types without
// sign; empty for byte strings.
std::optional<int64_t> NumberOf(const km::KeyParameterValue& value);

// MakeNumber is the reverse; for the kinds `invalid` and `blob` the value is the default one.
km::KeyParameterValue MakeNumber(km::KeyParameterValue::Tag kind, int64_t number);

// FindNumber returns the value of the first parameter with this tag.
std::optional<int64_t> FindNumber(const KeyParams& params, Tag tag);

// BlobOrEmpty is FindBlob, with an absent byte string taken for an empty one.
Bytes BlobOrEmpty(const KeyParams& params, Tag tag);

// CountOf returns how many parameters have this tag.
size_t CountOf(const KeyParams& params, Tag tag);

// Has returns whether the tag is there.
bool Has(const KeyParams& params, Tag tag);

// ContainsNumber returns whether one of the parameters with this tag has this value.
bool ContainsNumber(const KeyParams& params, Tag tag, int64_t value);

template <typename Enum>
bool Contains(const KeyParams& params, Tag tag, Enum value) {
  return ContainsNumber(params, tag, static_cast<int64_t>(value));
}

// FindEnum returns the first parameter with this tag as an enum.
template <typename Enum>
std::optional<Enum> FindEnum(const KeyParams& params, Tag tag) {
  const std::optional<int64_t> number = FindNumber(params, tag);
  if (!number) return std::nullopt;
  return static_cast<Enum>(static_cast<int32_t>(*number));
}

// Remove drops every parameter with this tag.
void Remove(KeyParams* params, Tag tag);

// Parameters by kind of value.
template <km::KeyParameterValue::Tag kind, typename Value>
km::KeyParameter Param(Tag tag, Value value) {
  return {tag, km::KeyParameterValue::make<kind>(std::move(value))};
}
inline km::KeyParameter UintParam(Tag tag, int64_t value) {
  return Param<km::KeyParameterValue::integer>(tag, static_cast<int32_t>(value));
}
inline km::KeyParameter UlongParam(Tag tag, int64_t value) {
  return Param<km::KeyParameterValue::longInteger>(tag, value);
}
inline km::KeyParameter BlobParam(Tag tag, Bytes value) {
  return Param<km::KeyParameterValue::blob>(tag, std::move(value));
}

}  // namespace orx_sim
