// SPDX-License-Identifier: Apache-2.0
#include "sim/key_generation.h"

#include <openssl/bn.h>
#include <openssl/bytestring.h>
#include <openssl/ec_key.h>
#include <openssl/evp.h>
#include <openssl/nid.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <algorithm>

namespace orx_sim {
namespace {

using km::EcCurve;

struct Curve {
  EcCurve curve;
  int nid;
  int64_t bits;
};
// Curve 25519 is left out: the device has no operations for it.
constexpr Curve kCurves[] = {{EcCurve::P_224, NID_secp224r1, 224},
                             {EcCurve::P_256, NID_X9_62_prime256v1, 256},
                             {EcCurve::P_384, NID_secp384r1, 384},
                             {EcCurve::P_521, NID_secp521r1, 521}};

ErrorCode EncodePrivateKey(EVP_PKEY* key, SecretBytes* material) {
  bssl::ScopedCBB cbb;
  if (!CBB_init(cbb.get(), 256) || !EVP_marshal_private_key(cbb.get(), key) ||
      !CBB_flush(cbb.get())) {
    return ErrorCode::MEMORY_ALLOCATION_FAILED;
  }
  // The crypto library wipes the buffer when it frees it.
  material->assign(CBB_data(cbb.get()), CBB_data(cbb.get()) + CBB_len(cbb.get()));
  return ErrorCode::OK;
}

ErrorCode GenerateAes(bool strongbox, const KeyParams& params, SecretBytes* material) {
  const int64_t bits = FindNumber(params, Tag::KEY_SIZE).value_or(0);
  if (bits != 128 && bits != 256 && (bits != 192 || strongbox)) {
    return ErrorCode::UNSUPPORTED_KEY_SIZE;
  }
  material->resize(static_cast<size_t>(bits / 8));
  RAND_bytes(material->data(), material->size());
  return ErrorCode::OK;
}

ErrorCode GenerateEc(bool strongbox, KeyParams* params, SecretBytes* material) {
  const std::optional<EcCurve> wanted = FindEnum<EcCurve>(*params, Tag::EC_CURVE);
  const auto curve = std::find_if(std::begin(kCurves), std::end(kCurves),
                                  [&](const Curve& row) { return row.curve == wanted; });
  if (curve == std::end(kCurves) || (strongbox && curve->curve != EcCurve::P_256)) {
    return ErrorCode::UNSUPPORTED_EC_CURVE;
  }
  const std::optional<int64_t> bits = FindNumber(*params, Tag::KEY_SIZE);
  if (bits.value_or(curve->bits) != curve->bits) return ErrorCode::INVALID_ARGUMENT;
  bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(curve->nid));
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  if (!ec || !key || !EC_KEY_generate_key(ec.get()) || !EVP_PKEY_set1_EC_KEY(key.get(), ec.get())) {
    return ErrorCode::MEMORY_ALLOCATION_FAILED;
  }
  if (!bits) params->push_back(UintParam(Tag::KEY_SIZE, curve->bits));
  return EncodePrivateKey(key.get(), material);
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
