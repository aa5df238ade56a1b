// SPDX-License-Identifier: Apache-2.0
#include "sim/key_params.h"

#include <algorithm>

namespace orx_sim {

std::optional<int64_t> NumberOf(const km::KeyParameter& param) {
  using Value = km::KeyParameterValue;
  const Value& value = param.value;
  switch (value.getTag()) {
    case Value::Tag::invalid:
    case Value::Tag::blob:
      return std::nullopt;
    case Value::Tag::algorithm:
      return static_cast<int64_t>(value.get<Value::algorithm>());
    case Value::Tag::blockMode:
      return static_cast<int64_t>(value.get<Value::blockMode>());
    case Value::Tag::paddingMode:
      return static_cast<int64_t>(value.get<Value::paddingMode>());
    case Value::Tag::digest:
      return static_cast<int64_t>(value.get<Value::digest>());
    case Value::Tag::ecCurve:
      return static_cast<int64_t>(value.get<Value::ecCurve>());
    case Value::Tag::origin:
      return static_cast<int64_t>(value.get<Value::origin>());
    case Value::Tag::keyPurpose:
      return static_cast<int64_t>(value.get<Value::keyPurpose>());
    case Value::Tag::hardwareAuthenticatorType:
      return static_cast<int64_t>(value.get<Value::hardwareAuthenticatorType>());
    case Value::Tag::securityLevel:
      return static_cast<int64_t>(value.get<Value::securityLevel>());
    case Value::Tag::boolValue:
      return value.get<Value::boolValue>() ? 1 : 0;
    case Value::Tag::integer:
      return static_cast<uint32_t>(value.get<Value::integer>());
    case Value::Tag::longInteger:
      return value.get<Value::longInteger>();
    case Value::Tag::dateTime:
      return value.get<Value::dateTime>();
  }
  return std::nullopt;
}

std::optional<int64_t> FindNumber(const KeyParams& params, Tag tag) {
  for (const km::KeyParameter& param : params) {
    if (param.tag == tag) return NumberOf(param);
  }
  return std::nullopt;
}

Bytes BlobOrEmpty(const KeyParams& params, Tag tag) {
  const Bytes* const blob = FindBlob(params, tag);
  return blob == nullptr ? Bytes() : *blob;
}

size_t CountOf(const KeyParams& params, Tag tag) {
  return static_cast<size_t>(
      std::count_if(params.begin(), params.end(),
                    [tag](const km::KeyParameter& param) { return param.tag == tag; }));
}

bool Has(const KeyParams& params, Tag tag) {
  return CountOf(params, tag) != 0;
}

bool ContainsNumber(const KeyParams& params, Tag tag, int64_t value) {
  return std::any_of(params.begin(), params.end(), [tag, value](const km::KeyParameter& param) {
    return param.tag == tag && NumberOf(param) == value;
  });
}

void Remove(KeyParams* params, Tag tag) {
  params->erase(std::remove_if(params->begin(), params->end(),
                               [tag](const km::KeyParameter& param) { return param.tag == tag; }),
                params->end());
}

}  // namespace orx_sim
