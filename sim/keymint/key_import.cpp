// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/key_import.h"

#include <openssl/bn.h>
#include <openssl/bytestring.h>
#include <openssl/rsa.h>

#include <algorithm>

#include "sim/keymint/ec_keys.h"

namespace orx_sim {
namespace {

using km::Algorithm;
using km::PaddingMode;

bool IsOneOf(int64_t value, std::initializer_list<int64_t> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

bool CanPad(Algorithm algorithm, PaddingMode padding) {
  if (padding == PaddingMode::NONE) return true;
  const bool is_pkcs7 = padding == PaddingMode::PKCS7;
  if (algorithm == Algorithm::RSA) return !is_pkcs7;
  if (algorithm == Algorithm::AES || algorithm == Algorithm::TRIPLE_DES) return is_pkcs7;
  return false;
}

bool CanPad(const KeyParams& params, Algorithm algorithm) {
  return std::all_of(params.begin(), params.end(), [algorithm](const km::KeyParameter& param) {
    return param.tag != Tag::PADDING ||
           CanPad(algorithm, static_cast<PaddingMode>(NumberOf(param.value).value_or(0)));
  });
}

ErrorCode CheckMinMacLength(const KeyParams& params) {
  if (!Contains(params, Tag::BLOCK_MODE, km::BlockMode::GCM)) return ErrorCode::OK;
  const std::optional<int64_t> bits = FindNumber(params, Tag::MIN_MAC_LENGTH);
  if (!bits) return ErrorCode::MISSING_MIN_MAC_LENGTH;
  if (*bits < 96 || *bits > 128 || *bits % 8 != 0) return ErrorCode::UNSUPPORTED_MIN_MAC_LENGTH;
  return ErrorCode::OK;
}

ErrorCode ImportAes(km::KeyFormat format, const Bytes& data, bool strongbox, KeyParams* params,
                    SecretBytes* material) {
  const auto bits = static_cast<int64_t>(data.size()) * 8;
  if (format != km::KeyFormat::RAW) return ErrorCode::INCOMPATIBLE_KEY_FORMAT;
  if (!AgreeOn(UintParam(Tag::KEY_SIZE, bits), params)) {
    return ErrorCode::IMPORT_PARAMETER_MISMATCH;
  }
  if (!IsOneOf(bits, {128, 192, 256})) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  if (strongbox && bits == 192) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  material->assign(data.begin(), data.end());
  return ErrorCode::OK;
}

ErrorCode ImportRsa(km::KeyFormat format, const Bytes& data, bool strongbox, KeyParams* params,
                    SecretBytes* material) {
  if (format != km::KeyFormat::PKCS8) return ErrorCode::INCOMPATIBLE_KEY_FORMAT;
  const bssl::UniquePtr<EVP_PKEY> key = ParsePrivateKey(data.data(), data.size());
  const RSA* const rsa = key == nullptr ? nullptr : EVP_PKEY_get0_RSA(key.get());
  if (rsa == nullptr) return ErrorCode::INVALID_ARGUMENT;
  const auto bits = static_cast<int64_t>(RSA_bits(rsa));
  const auto exponent = static_cast<int64_t>(BN_get_word(RSA_get0_e(rsa)));
  if (!AgreeOn(UintParam(Tag::KEY_SIZE, bits), params) ||
      !AgreeOn(UlongParam(Tag::RSA_PUBLIC_EXPONENT, exponent), params)) {
    return ErrorCode::IMPORT_PARAMETER_MISMATCH;
  }
  if (!IsOneOf(bits, {2048, 3072, 4096})) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  if (strongbox && bits != 2048) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  if (!IsOneOf(exponent, {3, 65537})) return ErrorCode::INVALID_ARGUMENT;
  material->assign(data.begin(), data.end());
  return ErrorCode::OK;
}

}  // namespace

bool AgreeOn(const km::KeyParameter& told, KeyParams* params) {
  const std::optional<int64_t> given = FindNumber(*params, told.tag);
  if (!given) params->push_back(told);
  return !given || given == NumberOf(told.value);
}

ErrorCode CheckCreation(const KeyParams& params) {
  const std::optional<Algorithm> algorithm = FindEnum<Algorithm>(params, Tag::ALGORITHM);
  if (!algorithm) return ErrorCode::UNSUPPORTED_ALGORITHM;
  if (HasPurpose(params, km::KeyPurpose::ATTEST_KEY) && CountOf(params, Tag::PURPOSE) > 1) {
    return ErrorCode::INCOMPATIBLE_PURPOSE;
  }
  // Early boot ended before anybody could call.
  if (Has(params, Tag::EARLY_BOOT_ONLY)) return ErrorCode::EARLY_BOOT_ENDED;
  if (!CanPad(params, *algorithm)) return ErrorCode::INCOMPATIBLE_PADDING_MODE;
  return CheckMinMacLength(params);
}

ErrorCode ImportMaterial(km::KeyFormat format, const Bytes& data, bool strongbox, KeyParams* params,
                         SecretBytes* material) {
  switch (FindEnum<Algorithm>(*params, Tag::ALGORITHM).value_or(Algorithm{})) {
    case Algorithm::AES:
      return ImportAes(format, data, strongbox, params, material);
    case Algorithm::RSA:
      return ImportRsa(format, data, strongbox, params, material);
    case Algorithm::EC:
      return ImportEc(format, data, strongbox, params, material);
    default:
      return ErrorCode::UNSUPPORTED_ALGORITHM;
  }
}

bssl::UniquePtr<EVP_PKEY> ParsePrivateKey(const uint8_t* data, size_t length) {
  CBS cbs;
  CBS_init(&cbs, data, length);
  bssl::UniquePtr<EVP_PKEY> key(EVP_parse_private_key(&cbs));
  if (CBS_len(&cbs) != 0) return nullptr;
  return key;
}

}  // namespace orx_sim
