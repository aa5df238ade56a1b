// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/ec_keys.h"

#include <openssl/bytestring.h>
#include <openssl/digest.h>
#include <openssl/ec.h>
#include <openssl/ec_key.h>
#include <openssl/ecdsa.h>
#include <openssl/nid.h>

#include <algorithm>

namespace orx_sim {
namespace {

using km::EcCurve;

struct Curve {
  EcCurve curve;
  int nid;
  int64_t bits;
};
constexpr Curve kCurves[] = {{EcCurve::P_224, NID_secp224r1, 224},
                             {EcCurve::P_256, NID_X9_62_prime256v1, 256},
                             {EcCurve::P_384, NID_secp384r1, 384},
                             {EcCurve::P_521, NID_secp521r1, 521}};

template <typename Predicate>
const Curve* FindCurve(bool strongbox, const Predicate& wanted) {
  const auto found = std::find_if(std::begin(kCurves), std::end(kCurves), wanted);
  if (found == std::end(kCurves) || (strongbox && found->curve != EcCurve::P_256)) return nullptr;
  return found;
}

// Collects the message, or its digest, and signs at the end.
class EcSignature : public Computation {
 public:
  EcSignature(bssl::UniquePtr<EVP_PKEY> key, const EVP_MD* digest)
      : key_(std::move(key)), hashes_(digest != nullptr) {
    if (hashes_) EVP_DigestInit_ex(context_.get(), digest, nullptr);
  }

  ErrorCode Update(const Bytes& input, Bytes*) override {
    if (hashes_) {
      EVP_DigestUpdate(context_.get(), input.data(), input.size());
      return ErrorCode::OK;
    }
    message_.insert(message_.end(), input.begin(), input.end());
    return ErrorCode::OK;
  }

  ErrorCode Finish(const Bytes& input, const Bytes&, Bytes* out) override {
    Update(input, out);
    unsigned length = 0;
    if (hashes_) {
      message_.resize(EVP_MAX_MD_SIZE);
      EVP_DigestFinal_ex(context_.get(), message_.data(), &length);
      message_.resize(length);
    }
    const EC_KEY* const ec = EVP_PKEY_get0_EC_KEY(key_.get());
    out->resize(ECDSA_size(ec));
    if (!ECDSA_sign(0, message_.data(), message_.size(), out->data(), &length, ec)) {
      return ErrorCode::UNKNOWN_ERROR;
    }
    out->resize(length);
    return ErrorCode::OK;
  }

 private:
  const bssl::UniquePtr<EVP_PKEY> key_;
  const bool hashes_;
  bssl::ScopedEVP_MD_CTX context_;
  SecretBytes message_;
};

}  // namespace

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

ErrorCode GenerateEc(bool strongbox, KeyParams* params, SecretBytes* material) {
  const std::optional<EcCurve> wanted = FindEnum<EcCurve>(*params, Tag::EC_CURVE);
  const Curve* const curve =
      FindCurve(strongbox, [&](const Curve& row) { return row.curve == wanted; });
  if (curve == nullptr) return ErrorCode::UNSUPPORTED_EC_CURVE;
  if (!AgreeOn(UintParam(Tag::KEY_SIZE, curve->bits), params)) return ErrorCode::INVALID_ARGUMENT;
  const bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(curve->nid));
  const bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  if (!ec || !key || !EC_KEY_generate_key(ec.get()) || !EVP_PKEY_set1_EC_KEY(key.get(), ec.get())) {
    return ErrorCode::MEMORY_ALLOCATION_FAILED;
  }
  return EncodePrivateKey(key.get(), material);
}

ErrorCode ImportEc(km::KeyFormat format, const Bytes& data, bool strongbox, KeyParams* params,
                   SecretBytes* material) {
  if (format != km::KeyFormat::PKCS8) return ErrorCode::INCOMPATIBLE_KEY_FORMAT;
  const bssl::UniquePtr<EVP_PKEY> key = ParsePrivateKey(data.data(), data.size());
  const EC_KEY* const ec = key == nullptr ? nullptr : EVP_PKEY_get0_EC_KEY(key.get());
  if (ec == nullptr) return ErrorCode::INVALID_ARGUMENT;
  const int nid = EC_GROUP_get_curve_name(EC_KEY_get0_group(ec));
  const Curve* const curve = FindCurve(strongbox, [&](const Curve& row) { return row.nid == nid; });
  if (curve == nullptr) return ErrorCode::UNSUPPORTED_EC_CURVE;
  if (!AgreeOn({Tag::EC_CURVE, curve->curve}, params) ||
      !AgreeOn(UintParam(Tag::KEY_SIZE, curve->bits), params)) {
    return ErrorCode::IMPORT_PARAMETER_MISMATCH;
  }
  return EncodePrivateKey(key.get(), material);
}

ErrorCode CheckEcBegin(const BeginRequest& request, km::Digest* digest) {
  if (request.purpose != km::KeyPurpose::SIGN) return ErrorCode::UNSUPPORTED_PURPOSE;
  if (CountOf(request.params, Tag::DIGEST) != 1) return ErrorCode::UNSUPPORTED_DIGEST;
  *digest = FindEnum<km::Digest>(request.params, Tag::DIGEST).value_or(km::Digest::NONE);
  return Contains(request.key.authorizations, Tag::DIGEST, *digest)
             ? ErrorCode::OK
             : ErrorCode::INCOMPATIBLE_DIGEST;
}

std::unique_ptr<Computation> StartEc(const Key& key, km::Digest digest) {
  bssl::UniquePtr<EVP_PKEY> pair = ParsePrivateKey(key.material.data(), key.material.size());
  if (pair == nullptr) return nullptr;
  return std::make_unique<EcSignature>(std::move(pair), DigestFunction(digest));
}

}  // namespace orx_sim
