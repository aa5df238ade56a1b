// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <openssl/ecdsa.h>
#include <openssl/sha.h>

#include "sim/keymint/algorithm.h"
#include "sim/keys/private_key.h"
#include "tests/sim/simulated_device.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::EcCurve;
using km::KeyPurpose;

Bytes NewPkcs8(int curve_nid) {
  const SecretBytes material = EncodePrivateKey(NewEcPair(curve_nid).get());
  return Bytes(material.begin(), material.end());
}

KeyParams SigningRequest() {
  return With(EcRequest(KeyPurpose::SIGN), {{Tag::DIGEST, Digest::NONE}});
}

km::KeyCreationResult NewKey(Services& services, const KeyParams& params) {
  km::KeyCreationResult key;
  EXPECT_TRUE(services.keymint->generateKey(params, {}, &key).isOk());
  return key;
}

// Signs `message`, given to the device in two parts.
Bytes Sign(Services& services, const Bytes& blob, Digest digest, const Bytes& message) {
  km::BeginResult begun;
  EXPECT_TRUE(
      services.keymint->begin(KeyPurpose::SIGN, blob, {{Tag::DIGEST, digest}}, {}, &begun).isOk());
  Bytes nothing, signature;
  const Bytes first(message.begin(), message.begin() + 1), rest(message.begin() + 1, message.end());
  EXPECT_TRUE(begun.operation->update(first, {}, {}, &nothing).isOk());
  EXPECT_EQ(nothing, Bytes());
  EXPECT_TRUE(begun.operation->finish(rest, {}, {}, {}, {}, &signature).isOk());
  return signature;
}

bool Verifies(const km::KeyCreationResult& key, const Bytes& digest, const Bytes& signature) {
  const auto certificate = ParseCertificate(key.certificateChain.at(0).encodedCertificate);
  const bssl::UniquePtr<EVP_PKEY> public_key(X509_get_pubkey(certificate.get()));
  return ECDSA_verify(0, digest.data(), digest.size(), signature.data(), signature.size(),
                      EVP_PKEY_get0_EC_KEY(public_key.get())) == 1;
}

TEST(EcTest, SignsMessagesAndBareDigests) {
  TestDevice device;
  const Bytes message(1000, 'm');
  Bytes digest(SHA256_DIGEST_LENGTH);
  SHA256(message.data(), message.size(), digest.data());
  for (Services* services : {&device.tee(), &device.strongbox()}) {
    const auto key = NewKey(*services, SigningRequest());
    const Bytes of_message = Sign(*services, key.keyBlob, Digest::SHA_2_256, message);
    EXPECT_TRUE(Verifies(key, digest, of_message));
    EXPECT_TRUE(Verifies(key, digest, Sign(*services, key.keyBlob, Digest::NONE, digest)));
    digest[0] ^= 1;
    EXPECT_FALSE(Verifies(key, digest, of_message));
    digest[0] ^= 1;
  }
}

TEST(EcTest, BeginChecksPurposeAndDigest) {
  const Key key = [] {
    Key made;
    made.authorizations = SigningRequest();
    made.pair = NewEcPair(NID_X9_62_prime256v1);
    return made;
  }();
  const km::KeyParameter sha256 = {Tag::DIGEST, Digest::SHA_2_256};
  struct {
    KeyPurpose purpose;
    KeyParams params;
    ErrorCode code;
  } const rows[] = {
      {KeyPurpose::SIGN, {sha256}, ErrorCode::OK},
      {KeyPurpose::SIGN, {}, ErrorCode::UNSUPPORTED_DIGEST},
      {KeyPurpose::SIGN, {sha256, sha256}, ErrorCode::UNSUPPORTED_DIGEST},
      {KeyPurpose::SIGN, {{Tag::DIGEST, Digest::SHA1}}, ErrorCode::INCOMPATIBLE_DIGEST},
      {KeyPurpose::VERIFY, {sha256}, ErrorCode::UNSUPPORTED_PURPOSE},
  };
  for (const auto& row : rows) {
    Started started;
    EXPECT_EQ(kEc.begin({key, row.purpose, row.params, false}, &started), row.code);
    EXPECT_EQ(started.computation != nullptr, row.code == ErrorCode::OK);
  }
}

constexpr ErrorCode kOk = ErrorCode::OK;
constexpr ErrorCode kArgument = ErrorCode::INVALID_ARGUMENT;
constexpr ErrorCode kCurve = ErrorCode::UNSUPPORTED_EC_CURVE;
constexpr ErrorCode kFormat = ErrorCode::INCOMPATIBLE_KEY_FORMAT;
constexpr ErrorCode kMismatch = ErrorCode::IMPORT_PARAMETER_MISMATCH;

TEST(EcTest, ImportTakesWhatTheKeySaysAndRefusesWhatItContradicts) {
  const Bytes p256 = NewPkcs8(NID_X9_62_prime256v1);
  const Bytes p384 = NewPkcs8(NID_secp384r1);
  struct {
    const char* title;
    km::KeyFormat format;
    Bytes data;
    KeyParams params;
    ErrorCode tee;
    ErrorCode strongbox;
  } const rows[] = {
      {"P-256", km::KeyFormat::PKCS8, p256, {}, kOk, kOk},
      {"P-384", km::KeyFormat::PKCS8, p384, {}, kOk, kCurve},
      {"curve",
       km::KeyFormat::PKCS8,
       p256,
       {{Tag::EC_CURVE, EcCurve::P_384}},
       kMismatch,
       kMismatch},
      {"size", km::KeyFormat::PKCS8, p256, {UintParam(Tag::KEY_SIZE, 384)}, kMismatch, kMismatch},
      {"raw", km::KeyFormat::RAW, p256, {}, kFormat, kFormat},
      {"garbage", km::KeyFormat::PKCS8, {1, 2, 3}, {}, kArgument, kArgument},
  };
  for (const auto& row : rows) {
    for (const Instance& instance : {kTee, kStrongBox}) {
      Key key;
      key.authorizations = row.params;
      const ErrorCode code = kEc.import_key(instance, row.format, row.data, &key);
      EXPECT_EQ(code, instance.IsStrongBox() ? row.strongbox : row.tee) << row.title;
      if (code != kOk) continue;
      const SecretBytes material = EncodePrivateKey(key.pair.get());
      EXPECT_EQ(Bytes(material.begin(), material.end()), row.data);
      EXPECT_TRUE(Has(key.authorizations, Tag::KEY_SIZE)) << row.title;
      EXPECT_TRUE(Has(key.authorizations, Tag::EC_CURVE)) << row.title;
    }
  }
}

}  // namespace
}  // namespace orx_sim
