// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <openssl/ecdsa.h>
#include <openssl/sha.h>

#include "tests/sim/simulated_device.h"
#include "tests/support/certificate_builder.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::EcCurve;
using km::KeyPurpose;

KeyParams SigningRequest() {
  return With(EcRequest(KeyPurpose::SIGN), {{Tag::DIGEST, Digest::NONE}});
}

// Signs `message`, given to the device in two parts.
Bytes Sign(Services& services, const Bytes& blob, Digest digest, const Bytes& message) {
  km::BeginResult begun;
  Bytes signature;
  EXPECT_EQ(Begin(services, KeyPurpose::SIGN, blob, {{Tag::DIGEST, digest}}, &begun), Code::OK);
  EXPECT_TRUE(begun.operation->update({message[0]}, {}, {}, &signature).isOk());
  EXPECT_EQ(Finish(begun.operation, {message.begin() + 1, message.end()}, &signature), Code::OK);
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
  const auto key = Generated(device.strongbox(), SigningRequest());
  const Bytes of_message = Sign(device.strongbox(), key.keyBlob, Digest::SHA_2_256, message);
  EXPECT_TRUE(Verifies(key, digest, of_message));
  EXPECT_TRUE(Verifies(key, digest, Sign(device.strongbox(), key.keyBlob, Digest::NONE, digest)));
}

TEST(EcTest, BeginChecksPurposeAndDigest) {
  TestDevice device;
  const KeyPurpose sign = KeyPurpose::SIGN, verify = KeyPurpose::VERIFY;
  const Bytes blob =
      Generated(device.tee(), With(SigningRequest(), {{Tag::PURPOSE, verify}})).keyBlob;
  const km::KeyParameter sha256 = {Tag::DIGEST, Digest::SHA_2_256};
  const km::KeyParameter sha1 = {Tag::DIGEST, Digest::SHA1};
  ExpectCodes(device.tee(), {{"fine", sign, blob, {sha256}, Code::OK},
                             {"no digest", sign, blob, {}, Code::UNSUPPORTED_DIGEST},
                             {"two", sign, blob, {sha256, sha256}, Code::UNSUPPORTED_DIGEST},
                             {"not the key's", sign, blob, {sha1}, Code::INCOMPATIBLE_DIGEST},
                             {"verify", verify, blob, {sha256}, Code::UNSUPPORTED_PURPOSE}});
}

TEST(EcTest, ImportTakesWhatTheKeySaysAndRefusesWhatItContradicts) {
  TestDevice device;
  constexpr km::KeyFormat kPkcs8 = km::KeyFormat::PKCS8;
  const Bytes p256 = Pkcs8(orx_test::EcKey(0));
  const Bytes p384 = Pkcs8(orx_test::Key(EVP_PKEY_EC, NID_secp384r1, 0));
  const KeyParams bare = RequestOf(km::Algorithm::EC, KeyPurpose::SIGN);
  const KeyParams as_384 = With(bare, {{Tag::EC_CURVE, EcCurve::P_384}});
  const KeyParams sized_384 = With(bare, {UintParam(Tag::KEY_SIZE, 384)});
  const Code ok = Code::OK, curve = Code::UNSUPPORTED_EC_CURVE, argument = Code::INVALID_ARGUMENT;
  const Code mismatch = Code::IMPORT_PARAMETER_MISMATCH, format = Code::INCOMPATIBLE_KEY_FORMAT;
  ExpectCodes(device, {{"P-256", kPkcs8, EcRequest(KeyPurpose::SIGN), p256, ok, ok},
                       {"P-384", kPkcs8, bare, p384, ok, curve},
                       {"another curve", kPkcs8, as_384, p256, mismatch, mismatch},
                       {"another size", kPkcs8, sized_384, p256, mismatch, mismatch},
                       {"raw", km::KeyFormat::RAW, bare, p256, format, format},
                       {"garbage", kPkcs8, bare, {1, 2, 3}, argument, argument}});
  km::KeyCreationResult result;
  ASSERT_EQ(Import(device.tee(), bare, kPkcs8, p384, &result), ok);
  const KeyParams& told = result.keyCharacteristics.at(0).authorizations;
  EXPECT_EQ(FindNumber(told, Tag::KEY_SIZE), 384);
  EXPECT_EQ(FindEnum<EcCurve>(told, Tag::EC_CURVE), EcCurve::P_384);
}

}  // namespace
}  // namespace orx_sim
