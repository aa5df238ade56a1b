// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/key_rules.h"

#include <aidl/android/hardware/security/keymint/BlockMode.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>

#include <algorithm>

namespace orx_sim {
namespace {

using km::KeyPurpose;
using km::PaddingMode;

constexpr Tag kEnforced[] = {
    Tag::PURPOSE,
    Tag::ALGORITHM,
    Tag::KEY_SIZE,
    Tag::BLOCK_MODE,
    Tag::DIGEST,
    Tag::PADDING,
    Tag::CALLER_NONCE,
    Tag::MIN_MAC_LENGTH,
    Tag::EC_CURVE,
    Tag::RSA_PUBLIC_EXPONENT,
    Tag::RSA_OAEP_MGF_DIGEST,
    Tag::USER_SECURE_ID,
    Tag::NO_AUTH_REQUIRED,
};

bool IsEnforced(Tag tag) {
  return std::find(std::begin(kEnforced), std::end(kEnforced), tag) != std::end(kEnforced);
}

// As the standard has it; what this device does not offer of that is refused at the key's use.
bool CanPad(km::Algorithm algorithm, PaddingMode padding) {
  if (padding == PaddingMode::NONE) return true;
  const bool is_pkcs7 = padding == PaddingMode::PKCS7;
  if (algorithm == km::Algorithm::RSA) return !is_pkcs7;
  return algorithm == km::Algorithm::AES && is_pkcs7;
}

ErrorCode CheckMinMacLength(const KeyParams& params) {
  if (!Contains(params, Tag::BLOCK_MODE, km::BlockMode::GCM)) return ErrorCode::OK;
  const std::optional<int64_t> bits = FindNumber(params, Tag::MIN_MAC_LENGTH);
  if (!bits) return ErrorCode::MISSING_MIN_MAC_LENGTH;
  if (*bits < 96 || *bits > 128 || *bits % 8 != 0) return ErrorCode::UNSUPPORTED_MIN_MAC_LENGTH;
  return ErrorCode::OK;
}

bool IsOperationPurpose(KeyPurpose purpose) {
  return purpose == KeyPurpose::ENCRYPT || purpose == KeyPurpose::DECRYPT ||
         purpose == KeyPurpose::SIGN || purpose == KeyPurpose::VERIFY ||
         purpose == KeyPurpose::AGREE_KEY;
}

}  // namespace

ErrorCode CheckCreation(const KeyParams& params) {
  const std::optional<km::Algorithm> algorithm = FindEnum<km::Algorithm>(params, Tag::ALGORITHM);
  if (!algorithm || FindAlgorithm(*algorithm) == nullptr) return ErrorCode::UNSUPPORTED_ALGORITHM;
  if (HasPurpose(params, KeyPurpose::ATTEST_KEY) && CountOf(params, Tag::PURPOSE) > 1) {
    return ErrorCode::INCOMPATIBLE_PURPOSE;
  }
  // Early boot ended before anybody could call.
  if (Has(params, Tag::EARLY_BOOT_ONLY)) return ErrorCode::EARLY_BOOT_ENDED;
  for (const km::KeyParameter& param : params) {
    const auto padding = static_cast<PaddingMode>(NumberOf(param.value).value_or(0));
    if (param.tag == Tag::PADDING && !CanPad(*algorithm, padding)) {
      return ErrorCode::INCOMPATIBLE_PADDING_MODE;
    }
  }
  return CheckMinMacLength(params);
}

KeyParams Enforced(const KeyParams& params) {
  KeyParams enforced;
  std::copy_if(params.begin(), params.end(), std::back_inserter(enforced),
               [](const km::KeyParameter& param) { return IsEnforced(param.tag); });
  return enforced;
}

ErrorCode CheckUse(const Key& key, KeyPurpose purpose) {
  if (!IsOperationPurpose(purpose)) return ErrorCode::UNSUPPORTED_PURPOSE;
  if (!HasPurpose(key.authorizations, purpose)) return ErrorCode::INCOMPATIBLE_PURPOSE;
  // No authentication tokens exist here, so a key that wants one stays locked.
  if (Has(key.authorizations, Tag::USER_SECURE_ID)) return ErrorCode::KEY_USER_NOT_AUTHENTICATED;
  return ErrorCode::OK;
}

}  // namespace orx_sim
