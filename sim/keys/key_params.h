// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <openssl/evp.h>

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "sim/base/bytes.h"

// The parameter lists of KeyMint, and the key that they describe.
namespace orx_sim {

namespace km = ::aidl::android::hardware::security::keymint;
using km::ErrorCode;
using km::Tag;
using KeyParams = std::vector<km::KeyParameter>;

// NumberOf returns the value of an enum, bool, integer or date parameter without sign, as the
// standard means it; empty for byte strings.
std::optional<int64_t> NumberOf(const km::KeyParameterValue& value);

// MakeNumber is the reverse; for the kinds `invalid` and `blob` the value is the default one.
km::KeyParameterValue MakeNumber(km::KeyParameterValue::Tag kind, int64_t number);

// Readers of a list. A parameter whose value is not of the wanted kind counts as absent: nothing a
// caller sends makes a reader fail.

// FindNumber returns the value of the first parameter with this tag.
std::optional<int64_t> FindNumber(const KeyParams& params, Tag tag);

// FindBlob returns the list's own bytes, or null.
const Bytes* FindBlob(const KeyParams& params, Tag tag);

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

inline bool HasPurpose(const KeyParams& params, km::KeyPurpose purpose) {
  return Contains(params, Tag::PURPOSE, purpose);
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
inline km::KeyParameter DateParam(Tag tag, int64_t value) {
  return Param<km::KeyParameterValue::dateTime>(tag, value);
}
inline km::KeyParameter BlobParam(Tag tag, Bytes value) {
  return Param<km::KeyParameterValue::blob>(tag, std::move(value));
}

// What a caller must present again to use a key (APPLICATION_ID and APPLICATION_DATA), as its
// SHA-256. Nothing that is handed out contains it.
using HiddenDigest = std::array<uint8_t, 32>;

// Key is a key with all that belongs to it.
struct Key {
  KeyId id{};
  HiddenDigest hidden{};
  uint32_t era = 0;
  KeyParams authorizations;        // what the device enforces
  SecretBytes secret;              // of a symmetric key
  bssl::UniquePtr<EVP_PKEY> pair;  // RSA, EC

  km::Algorithm algorithm() const {
    return FindEnum<km::Algorithm>(authorizations, Tag::ALGORITHM).value_or(km::Algorithm{});
  }
};

}  // namespace orx_sim
