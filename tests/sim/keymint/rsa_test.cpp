// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/rsa.h>

#include "sim/keys/private_key.h"
#include "tests/sim/simulated_device.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::KeyPurpose;
using km::PaddingMode;

constexpr auto kSignPadding = PaddingMode::RSA_PKCS1_1_5_SIGN;
constexpr auto kEncryptPadding = PaddingMode::RSA_PKCS1_1_5_ENCRYPT;

bssl::UniquePtr<EVP_PKEY> NewRsa(int bits) {
  bssl::UniquePtr<RSA> rsa(RSA_new());
  bssl::UniquePtr<BIGNUM> e(BN_new());
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  EXPECT_TRUE(BN_set_word(e.get(), RSA_F4));
  EXPECT_TRUE(RSA_generate_key_ex(rsa.get(), bits, e.get(), nullptr));
  EXPECT_TRUE(EVP_PKEY_assign_RSA(key.get(), rsa.release()));
  return key;
}

Bytes Pkcs8(EVP_PKEY* key) {
  const SecretBytes der = EncodePrivateKey(key);
  return Bytes(der.begin(), der.end());
}

// A key for what is offered and for what is refused at begin.
KeyParams RsaRequest() {
  return {{Tag::ALGORITHM, km::Algorithm::RSA},
          {Tag::PURPOSE, KeyPurpose::SIGN},
          {Tag::PURPOSE, KeyPurpose::VERIFY},
          {Tag::PURPOSE, KeyPurpose::ENCRYPT},
          {Tag::PURPOSE, KeyPurpose::DECRYPT},
          {Tag::DIGEST, Digest::NONE},
          {Tag::DIGEST, Digest::SHA1},
          {Tag::DIGEST, Digest::SHA_2_256},
          {Tag::PADDING, PaddingMode::NONE},
          {Tag::PADDING, kSignPadding},
          {Tag::PADDING, kEncryptPadding},
          {Tag::PADDING, PaddingMode::RSA_PSS},
          {Tag::PADDING, PaddingMode::RSA_OAEP},
          {Tag::NO_AUTH_REQUIRED, true},
          DateParam(Tag::CERTIFICATE_NOT_BEFORE, 0),
          DateParam(Tag::CERTIFICATE_NOT_AFTER, 253402300799000)};
}

// RsaKey is an RSA key inside a device and outside.
struct RsaKey {
  explicit RsaKey(Services& where) : services(where), pair(NewRsa(2048)) {
    km::KeyCreationResult result;
    EXPECT_EQ(Import(services, RsaRequest(), km::KeyFormat::PKCS8, Pkcs8(pair.get()), &result),
              ErrorCode::OK);
    blob = result.keyBlob;
  }

  ErrorCode Run(KeyPurpose purpose, const KeyParams& params, const Bytes& input, Bytes* output,
                const Bytes& signature = {}) const {
    return Operate(services, purpose, blob, params, input, output, signature);
  }

  Services& services;
  bssl::UniquePtr<EVP_PKEY> pair;
  Bytes blob;
};

KeyParams Mode(PaddingMode padding) {
  return {{Tag::PADDING, padding}};
}
KeyParams Mode(PaddingMode padding, Digest digest) {
  return {{Tag::PADDING, padding}, {Tag::DIGEST, digest}};
}

TEST(RsaImportTest, AcceptsSupportedSizesWhereTheyAgreeWithTheMaterial) {
  TestDevice device;
  const Bytes der2048 = Pkcs8(NewRsa(2048).get());
  const Bytes der3072 = Pkcs8(NewRsa(3072).get());
  Bytes trailing = der2048;
  trailing.push_back(0);
  const Bytes ec_der = Pkcs8(NewEcPair(NID_X9_62_prime256v1).get());

  const KeyParams request = RsaRequest();
  const auto declared = [&](int bits, int64_t exponent) {
    return With(request,
                {UintParam(Tag::KEY_SIZE, bits), UlongParam(Tag::RSA_PUBLIC_EXPONENT, exponent)});
  };
  struct Case {
    const char* title;
    bool strongbox;
    KeyParams params;
    const Bytes& der;
    ErrorCode expected;
  };
  const auto mismatch = ErrorCode::IMPORT_PARAMETER_MISMATCH;
  const Case cases[] = {
      {"3072 declared as 2048", false, declared(2048, 65537), der3072, mismatch},
      {"3072 in the strongbox", true, request, der3072, ErrorCode::UNSUPPORTED_KEY_SIZE},
      {"EC key", false, request, ec_der, ErrorCode::INVALID_ARGUMENT},
      {"byte behind the key", false, request, trailing, ErrorCode::INVALID_ARGUMENT},
      {"no begin of validity", false, Without(request, Tag::CERTIFICATE_NOT_BEFORE), der2048,
       ErrorCode::MISSING_NOT_BEFORE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    km::KeyCreationResult result;
    Services& services = c.strongbox ? device.strongbox() : device.tee();
    EXPECT_EQ(Import(services, c.params, km::KeyFormat::PKCS8, c.der, &result), c.expected);
    EXPECT_EQ(result.certificateChain.size(), c.expected == ErrorCode::OK ? 1u : 0u);
  }
  km::KeyCreationResult result;
  EXPECT_EQ(Import(device.tee(), request, km::KeyFormat::RAW, der2048, &result),
            ErrorCode::INCOMPATIBLE_KEY_FORMAT);
}

TEST(RsaOperationTest, TakesBlocksWithinTheirLengthsAndTheModulus) {
  TestDevice device;
  const RsaKey key(device.tee());
  const KeyParams plain = Mode(PaddingMode::NONE, Digest::NONE);
  const KeyParams padded = Mode(kSignPadding, Digest::NONE);
  struct Case {
    const char* title;
    KeyPurpose purpose;
    const KeyParams& params;
    Bytes block;
    ErrorCode expected;
  };
  const KeyParams pkcs1 = Mode(kEncryptPadding);
  const KeyPurpose sign = KeyPurpose::SIGN;
  const KeyPurpose decrypt = KeyPurpose::DECRYPT;
  const auto bad_length = ErrorCode::INVALID_INPUT_LENGTH;
  const Case cases[] = {
      {"longest with padding", sign, padded, Bytes(245, 1), ErrorCode::OK},
      {"a byte more", sign, padded, Bytes(246, 1), bad_length},
      {"whole block", sign, plain, Bytes(256, 1), ErrorCode::OK},
      {"above the modulus", sign, plain, Bytes(256, 0xff), ErrorCode::INVALID_ARGUMENT},
      {"longer than the key", sign, plain, Bytes(257), bad_length},
      {"cipher shorter than the key", decrypt, pkcs1, Bytes(255, 1), bad_length},
      {"cipher longer than the key", decrypt, pkcs1, Bytes(257, 1), bad_length},
      {"cipher of no padded message", decrypt, pkcs1, Bytes(256), ErrorCode::INVALID_ARGUMENT},
      {"cipher above the modulus", decrypt, plain, Bytes(256, 0xff), ErrorCode::INVALID_ARGUMENT},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    Bytes output;
    EXPECT_EQ(key.Run(c.purpose, c.params, c.block, &output), c.expected);
    EXPECT_EQ(output.size(), c.expected == ErrorCode::OK ? 256u : 0u);
  }
}

TEST(RsaBeginTest, ChecksPurposePaddingAndDigest) {
  TestDevice device;
  const RsaKey key(device.tee());
  km::KeyCreationResult narrow;
  const KeyParams few = With(Without(Without(RsaRequest(), Tag::PADDING), Tag::DIGEST),
                             {{Tag::PADDING, kSignPadding}, {Tag::DIGEST, Digest::SHA_2_256}});
  ASSERT_EQ(Import(device.tee(), few, km::KeyFormat::PKCS8, Pkcs8(key.pair.get()), &narrow),
            ErrorCode::OK);
  struct Case {
    const char* title;
    const Bytes& blob;
    KeyPurpose purpose;
    KeyParams params;
    ErrorCode expected;
  };
  const KeyPurpose sign = KeyPurpose::SIGN;
  const KeyPurpose decrypt = KeyPurpose::DECRYPT;
  const auto bad_digest = ErrorCode::INCOMPATIBLE_DIGEST;
  const auto bad_padding = ErrorCode::UNSUPPORTED_PADDING_MODE;
  const Case cases[] = {
      {"verify", key.blob, KeyPurpose::VERIFY, Mode(kSignPadding, Digest::SHA1),
       ErrorCode::UNSUPPORTED_PURPOSE},
      {"encrypt", key.blob, KeyPurpose::ENCRYPT, Mode(kEncryptPadding),
       ErrorCode::UNSUPPORTED_PURPOSE},
      {"padding of decryption", key.blob, sign, Mode(kEncryptPadding, Digest::SHA1), bad_padding},
      {"padding of signing", key.blob, decrypt, Mode(kSignPadding), bad_padding},
      {"padding of AES", key.blob, decrypt, Mode(PaddingMode::PKCS7), bad_padding},
      {"padding that the key has not", narrow.keyBlob, decrypt, Mode(kEncryptPadding),
       ErrorCode::INCOMPATIBLE_PADDING_MODE},
      {"digest that the key has not", narrow.keyBlob, sign, Mode(kSignPadding, Digest::SHA1),
       bad_digest},
      {"plain with a digest", key.blob, sign, Mode(PaddingMode::NONE, Digest::SHA_2_256),
       bad_digest},
      {"PSS", key.blob, sign, Mode(PaddingMode::RSA_PSS, Digest::SHA_2_256), bad_padding},
      {"OAEP", key.blob, decrypt, Mode(PaddingMode::RSA_OAEP, Digest::SHA1), bad_padding},
      {"no padding mode", key.blob, decrypt, {}, bad_padding},
      {"no digest", key.blob, sign, Mode(kSignPadding), ErrorCode::UNSUPPORTED_DIGEST},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    km::BeginResult result;
    EXPECT_EQ(Begin(device.tee(), c.purpose, c.blob, c.params, &result), c.expected);
  }
}

TEST(RsaBeginTest, PublicKeyOperationsWorkWhereTheDeviceOffersThem) {
  TestDevice device("public-key-operations = yes\n");
  const RsaKey key(device.tee());
  const Bytes message(100, 3);
  for (const KeyParams& params :
       {Mode(kSignPadding, Digest::SHA_2_256), Mode(kSignPadding, Digest::NONE),
        Mode(PaddingMode::NONE, Digest::NONE)}) {
    Bytes signature;
    Bytes nothing;
    ASSERT_EQ(key.Run(KeyPurpose::SIGN, params, message, &signature), ErrorCode::OK);
    EXPECT_EQ(key.Run(KeyPurpose::VERIFY, params, message, &nothing, signature), ErrorCode::OK);
    signature.back() ^= 1;
    EXPECT_EQ(key.Run(KeyPurpose::VERIFY, params, message, &nothing, signature),
              ErrorCode::VERIFICATION_FAILED);
  }
  Bytes cipher;
  Bytes plain;
  EXPECT_EQ(key.Run(KeyPurpose::ENCRYPT, Mode(kEncryptPadding), message, &cipher), ErrorCode::OK);
  EXPECT_EQ(key.Run(KeyPurpose::DECRYPT, Mode(kEncryptPadding), cipher, &plain), ErrorCode::OK);
  EXPECT_EQ(plain, message);
}

}  // namespace
}  // namespace orx_sim
