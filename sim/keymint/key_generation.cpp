// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/key_generation.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include "sim/keymint/ec_keys.h"

namespace orx_sim {
namespace {

ErrorCode GenerateAes(bool strongbox, const KeyParams& params, SecretBytes* material) {
  const int64_t bits = FindNumber(params, Tag::KEY_SIZE).value_or(0);
  if (bits != 128 && bits != 256 && (bits != 192 || strongbox)) {
    return ErrorCode::UNSUPPORTED_KEY_SIZE;
  }
  material->resize(static_cast<size_t>(bits / 8));
  RAND_bytes(material->data(), material->size());
  return ErrorCode::OK;
}

ErrorCode GenerateRsa(bool strongbox, const KeyParams& params, SecretBytes* material) {
  const int64_t bits = FindNumber(params, Tag::KEY_SIZE).value_or(0);
  if (bits != 2048 && ((bits != 3072 && bits != 4096) || strongbox)) {
    return ErrorCode::UNSUPPORTED_KEY_SIZE;
  }
  const int64_t exponent = FindNumber(params, Tag::RSA_PUBLIC_EXPONENT).value_or(0);
  if (exponent != 3 && exponent != RSA_F4) return ErrorCode::INVALID_ARGUMENT;
  bssl::UniquePtr<BIGNUM> e(BN_new());
  bssl::UniquePtr<RSA> rsa(RSA_new());
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  if (!e || !rsa || !key || !BN_set_word(e.get(), static_cast<BN_ULONG>(exponent)) ||
      !RSA_generate_key_ex(rsa.get(), static_cast<int>(bits), e.get(), nullptr) ||
      !EVP_PKEY_set1_RSA(key.get(), rsa.get())) {
    return ErrorCode::MEMORY_ALLOCATION_FAILED;
  }
  return EncodePrivateKey(key.get(), material);
}

}  // namespace

ErrorCode GenerateMaterial(bool strongbox, KeyParams* params, SecretBytes* material) {
  switch (FindEnum<km::Algorithm>(*params, Tag::ALGORITHM).value_or(km::Algorithm{})) {
    case km::Algorithm::AES:
      return GenerateAes(strongbox, *params, material);
    case km::Algorithm::EC:
      return GenerateEc(strongbox, params, material);
    case km::Algorithm::RSA:
      return GenerateRsa(strongbox, *params, material);
    default:
      return ErrorCode::UNSUPPORTED_ALGORITHM;
  }
}

}  // namespace orx_sim
