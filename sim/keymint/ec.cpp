// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/EcCurve.h>
#include <openssl/ec.h>
#include <openssl/ec_key.h>
#include <openssl/ecdsa.h>
#include <openssl/nid.h>

#include <algorithm>
#include <utility>

#include "sim/keymint/algorithm.h"
#include "sim/keys/private_key.h"

namespace orx_sim {
namespace {

using km::EcCurve;

// Curve 25519 is left out.
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
const Curve* FindCurve(const Instance& instance, const Predicate& wanted) {
  const auto found = std::find_if(std::begin(kCurves), std::end(kCurves), wanted);
  if (found == std::end(kCurves)) return nullptr;
  return instance.IsStrongBox() && found->curve != EcCurve::P_256 ? nullptr : found;
}

ErrorCode Generate(const Instance& instance, Key* key) {
  const std::optional<EcCurve> wanted = FindEnum<EcCurve>(key->authorizations, Tag::EC_CURVE);
  const Curve* const curve =
      FindCurve(instance, [&](const Curve& row) { return row.curve == wanted; });
  if (curve == nullptr) return ErrorCode::UNSUPPORTED_EC_CURVE;
  if (!AgreeOn(UintParam(Tag::KEY_SIZE, curve->bits), key)) return ErrorCode::INVALID_ARGUMENT;
  key->pair = NewEcPair(curve->nid);
  return key->pair ? ErrorCode::OK : ErrorCode::MEMORY_ALLOCATION_FAILED;
}

ErrorCode Import(const Instance& instance, km::KeyFormat format, const Bytes& data, Key* key) {
  if (format != km::KeyFormat::PKCS8) return ErrorCode::INCOMPATIBLE_KEY_FORMAT;
  key->pair = ParsePrivateKey(data.data(), data.size());
  const EC_KEY* const ec = key->pair == nullptr ? nullptr : EVP_PKEY_get0_EC_KEY(key->pair.get());
  if (ec == nullptr) return ErrorCode::INVALID_ARGUMENT;
  const int nid = EC_GROUP_get_curve_name(EC_KEY_get0_group(ec));
  const Curve* const curve = FindCurve(instance, [&](const Curve& row) { return row.nid == nid; });
  if (curve == nullptr) return ErrorCode::UNSUPPORTED_EC_CURVE;
  if (!AgreeOn({Tag::EC_CURVE, curve->curve}, key) ||
      !AgreeOn(UintParam(Tag::KEY_SIZE, curve->bits), key)) {
    return ErrorCode::IMPORT_PARAMETER_MISMATCH;
  }
  return ErrorCode::OK;
}

// An ECDSA signature (FIPS 186-5, DER). Collects the message, or its digest, and signs at the end.
// Without a digest the message itself is signed, as far as the curve takes it.
class EcSignature : public Computation {
 public:
  EcSignature(const Key& key, const EVP_MD* digest)
      : pair_(bssl::UpRef(key.pair)), hashes_(digest != nullptr) {
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
    const EC_KEY* const ec = EVP_PKEY_get0_EC_KEY(pair_.get());
    out->resize(ECDSA_size(ec));
    if (!ECDSA_sign(0, message_.data(), message_.size(), out->data(), &length, ec)) {
      return ErrorCode::UNKNOWN_ERROR;
    }
    out->resize(length);
    return ErrorCode::OK;
  }

 private:
  const bssl::UniquePtr<EVP_PKEY> pair_;
  const bool hashes_;
  bssl::ScopedEVP_MD_CTX context_;
  SecretBytes message_;
};

ErrorCode Begin(const BeginRequest& request, Started* started) {
  if (request.purpose != km::KeyPurpose::SIGN) return ErrorCode::UNSUPPORTED_PURPOSE;
  km::Digest digest{};
  const ErrorCode code =
      TheOne(request.params, Tag::DIGEST, ErrorCode::UNSUPPORTED_DIGEST, &digest);
  if (code != ErrorCode::OK) return code;
  if (!Contains(request.key.authorizations, Tag::DIGEST, digest)) {
    return ErrorCode::INCOMPATIBLE_DIGEST;
  }
  started->computation = std::make_unique<EcSignature>(request.key, DigestFunction(digest));
  return ErrorCode::OK;
}

}  // namespace

const Algorithm kEc = {km::Algorithm::EC, Generate, Import, Begin};

}  // namespace orx_sim
