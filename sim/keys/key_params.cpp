// SPDX-License-Identifier: Apache-2.0
#include "sim/keys/key_params.h"

#include <algorithm>
#include <type_traits>

namespace orx_sim {
namespace {

using Value = km::KeyParameterValue;

// The kinds of value from `algorithm` to `dateTime`, which are all numbers.
using NumberKinds = std::make_index_sequence<static_cast<size_t>(Value::Tag::blob)>;

template <size_t kind>
void ReadNumber(const Value& value, std::optional<int64_t>* number) {
  constexpr auto tag = static_cast<Value::Tag>(kind);
  if (value.getTag() != tag || tag == Value::Tag::invalid) return;
  constexpr bool is_long = tag == Value::Tag::longInteger || tag == Value::Tag::dateTime;
  using Unsigned = std::conditional_t<is_long, uint64_t, uint32_t>;
  *number = static_cast<int64_t>(static_cast<Unsigned>(value.get<tag>()));
}

template <size_t... kinds>
std::optional<int64_t> ReadNumber(const Value& value, std::index_sequence<kinds...>) {
  std::optional<int64_t> number;
  (ReadNumber<kinds>(value, &number), ...);
  return number;
}

template <size_t kind>
void WriteNumber(Value::Tag wanted, int64_t number, Value* value) {
  constexpr auto tag = static_cast<Value::Tag>(kind);
  using Type = std::decay_t<decltype(value->get<tag>())>;
  if (wanted == tag && tag != Value::Tag::invalid) value->set<tag>(static_cast<Type>(number));
}

template <size_t... kinds>
void WriteNumber(Value::Tag wanted, int64_t number, Value* value, std::index_sequence<kinds...>) {
  (WriteNumber<kinds>(wanted, number, value), ...);
}

}  // namespace

std::optional<int64_t> NumberOf(const km::KeyParameterValue& value) {
  return ReadNumber(value, NumberKinds());
}

km::KeyParameterValue MakeNumber(km::KeyParameterValue::Tag kind, int64_t number) {
  Value value;
  WriteNumber(kind, number, &value, NumberKinds());
  return value;
}

std::optional<int64_t> FindNumber(const KeyParams& params, Tag tag) {
  for (const km::KeyParameter& param : params) {
    if (param.tag == tag) return NumberOf(param.value);
  }
  return std::nullopt;
}

const Bytes* FindBlob(const KeyParams& params, Tag tag) {
  for (const km::KeyParameter& param : params) {
    const bool is_blob = param.value.getTag() == Value::Tag::blob;
    if (param.tag == tag && is_blob) return &param.value.get<Value::Tag::blob>();
  }
  return nullptr;
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
    return param.tag == tag && NumberOf(param.value) == value;
  });
}

void Remove(KeyParams* params, Tag tag) {
  params->erase(std::remove_if(params->begin(), params->end(),
                               [tag](const km::KeyParameter& param) { return param.tag == tag; }),
                params->end());
}

}  // namespace orx_sim
