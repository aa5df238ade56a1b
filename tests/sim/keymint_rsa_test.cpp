// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/bytestring.h>
#include <openssl/digest.h>
#include <openssl/ec_key.h>
#include <openssl/nid.h>
#include <openssl/rsa.h>

#include "simulated_device.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::KeyPurpose;
using km::PaddingMode;

constexpr auto kSignPadding = PaddingMode::RSA_PKCS1_1_5_SIGN;
constexpr auto kEncryptPadding = PaddingMode::RSA_PKCS1_1_5_ENCRYPT;

bssl::UniquePtr<EVP_PKEY> NewRsa(int bits, BN_ULONG exponent = RSA_F4) {
  bssl::UniquePtr<RSA> rsa(RSA_new());
  bssl::UniquePtr<BIGNUM> e(BN_new());
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  EXPECT_TRUE(BN_set_word(e.get(), exponent));
  EXPECT_TRUE(RSA_generate_key_ex(rsa.get(), bits, e.get(), nullptr));
  EXPECT_TRUE(EVP_PKEY_assign_RSA(key.get(), rsa.release()));
  return key;
}

Bytes Pkcs8(EVP_PKEY* key) {
  bssl::ScopedCBB cbb;
  uint8_t* der = nullptr;
  size_t length = 0;
  EXPECT_TRUE(CBB_init(cbb.get(), 0) && EVP_marshal_private_key(cbb.get(), key) &&
              CBB_finish(cbb.get(), &der, &length));
  const bssl::UniquePtr<uint8_t> owner(der);
  return Bytes(der, der + length);
}

// Every use that RSA has here.
KeyParams RsaRequest() {
  return {
      {Tag::ALGORITHM, km::Algorithm::RSA},
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
      {Tag::RSA_OAEP_MGF_DIGEST, Digest::SHA1},
      {Tag::NO_AUTH_REQUIRED, true},
      Param<km::KeyParameterValue::dateTime>(Tag::CERTIFICATE_NOT_BEFORE, int64_t{0}),
      Param<km::KeyParameterValue::dateTime>(Tag::CERTIFICATE_NOT_AFTER, int64_t{253402300799000})};
}

ErrorCode Import(Services& services, const KeyParams& params, const Bytes& der,
                 km::KeyCreationResult* result, km::KeyFormat format = km::KeyFormat::PKCS8) {
  const ErrorCode code =
      CodeOf(services.keymint->importKey(params, format, der, std::nullopt, result));
  if (code != ErrorCode::OK) {
    EXPECT_EQ(*result, km::KeyCreationResult());
  }
  return code;
}

// RsaKey is an RSA key inside a device and outside.
struct RsaKey {
  explicit RsaKey(Services& where, int bits = 2048) : services(where), pair(NewRsa(bits)) {
    km::KeyCreationResult result;
    EXPECT_EQ(Import(services, RsaRequest(), Pkcs8(pair.get()), &result), ErrorCode::OK);
    blob = result.keyBlob;
  }

  ErrorCode Begin(KeyPurpose purpose, const KeyParams& params, km::BeginResult* result) const {
    return CodeOf(services.keymint->begin(purpose, blob, params, std::nullopt, result));
  }

  ErrorCode Run(KeyPurpose purpose, const KeyParams& params, const Bytes& input, Bytes* output,
                const Bytes& signature = {}) const {
    km::BeginResult begun;
    const ErrorCode code = Begin(purpose, params, &begun);
    if (code != ErrorCode::OK) return code;
    EXPECT_TRUE(begun.params.empty());
    return CodeOf(begun.operation->finish(input, signature, std::nullopt, std::nullopt,
                                          std::nullopt, output));
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

bool Verifies(EVP_PKEY* key, const EVP_MD* digest, int padding, const Bytes& message,
              const Bytes& signature) {
  bssl::ScopedEVP_MD_CTX context;
  EVP_PKEY_CTX* key_context = nullptr;
  return EVP_DigestVerifyInit(context.get(), &key_context, digest, nullptr, key) == 1 &&
         EVP_PKEY_CTX_set_rsa_padding(key_context, padding) == 1 &&
         EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                          message.size()) == 1;
}

Bytes Encrypted(EVP_PKEY* key, int padding, const Bytes& message) {
  bssl::UniquePtr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new(key, nullptr));
  Bytes cipher(static_cast<size_t>(EVP_PKEY_size(key)));
  size_t length = cipher.size();
  EXPECT_TRUE(
      EVP_PKEY_encrypt_init(context.get()) == 1 &&
      EVP_PKEY_CTX_set_rsa_padding(context.get(), padding) == 1 &&
      EVP_PKEY_encrypt(context.get(), cipher.data(), &length, message.data(), message.size()) == 1);
  return cipher;
}

TEST(RsaImportTest, AcceptsSupportedSizesWhereTheyAgreeWithTheMaterial) {
  TestDevice device;
  const Bytes der1024 = Pkcs8(NewRsa(1024).get());
  const Bytes der2048 = Pkcs8(NewRsa(2048).get());
  const Bytes der3072 = Pkcs8(NewRsa(3072).get());
  const Bytes exponent3 = Pkcs8(NewRsa(2048, 3).get());
  Bytes trailing = der2048;
  trailing.push_back(0);
  bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
  bssl::UniquePtr<EVP_PKEY> ec_pair(EVP_PKEY_new());
  ASSERT_TRUE(EC_KEY_generate_key(ec.get()) && EVP_PKEY_set1_EC_KEY(ec_pair.get(), ec.get()));
  const Bytes ec_der = Pkcs8(ec_pair.get());

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
      {"2048 as declared", false, declared(2048, 65537), der2048, ErrorCode::OK},
      {"3072 declared as 2048", false, declared(2048, 65537), der3072, mismatch},
      {"1024 declared as 2048", false, declared(2048, 65537), der1024, mismatch},
      {"3072 in the strongbox", true, request, der3072, ErrorCode::UNSUPPORTED_KEY_SIZE},
      {"exponent 3", false, request, exponent3, ErrorCode::OK},
      {"EC key", false, request, ec_der, ErrorCode::INVALID_ARGUMENT},
      {"byte behind the key", false, request, trailing, ErrorCode::INVALID_ARGUMENT},
      {"no begin of validity", false, Without(request, Tag::CERTIFICATE_NOT_BEFORE), der2048,
       ErrorCode::MISSING_NOT_BEFORE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    km::KeyCreationResult result;
    Services& services = c.strongbox ? device.strongbox() : device.tee();
    EXPECT_EQ(Import(services, c.params, c.der, &result), c.expected);
    EXPECT_EQ(result.certificateChain.size(), c.expected == ErrorCode::OK ? 1u : 0u);
  }
  km::KeyCreationResult result;
  EXPECT_EQ(Import(device.tee(), request, der2048, &result, km::KeyFormat::RAW),
            ErrorCode::INCOMPATIBLE_KEY_FORMAT);
}

TEST(RsaOperationTest, SignsWhatOthersVerify) {
  TestDevice device;
  const RsaKey key(device.tee(), 4096);
  const Bytes message(1000, 0x42);
  struct Case {
    PaddingMode padding;
    Digest digest;
    const EVP_MD* md;
    int openssl_padding;
  };
  const Case cases[] = {
      {kSignPadding, Digest::SHA1, EVP_sha1(), RSA_PKCS1_PADDING},
      {kSignPadding, Digest::SHA_2_256, EVP_sha256(), RSA_PKCS1_PADDING},
      {PaddingMode::RSA_PSS, Digest::SHA_2_256, EVP_sha256(), RSA_PKCS1_PSS_PADDING},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(toString(c.padding) + toString(c.digest));
    Bytes signature;
    EXPECT_EQ(key.Run(KeyPurpose::SIGN, Mode(c.padding, c.digest), message, &signature),
              ErrorCode::OK);
    EXPECT_TRUE(Verifies(key.pair.get(), c.md, c.openssl_padding, message, signature));
  }
}

TEST(RsaOperationTest, SignsPlainBlocksWithinTheirLengths) {
  TestDevice device;
  const RsaKey key(device.tee());
  const RSA* const rsa = EVP_PKEY_get0_RSA(key.pair.get());
  Bytes modulus(256);
  ASSERT_TRUE(BN_bn2bin_padded(modulus.data(), modulus.size(), RSA_get0_n(rsa)));
  struct Case {
    const char* title;
    PaddingMode padding;
    Bytes message;
    ErrorCode expected;
  };
  const Case cases[] = {
      {"PKCS#1, longest", kSignPadding, Bytes(245, 1), ErrorCode::OK},
      {"PKCS#1, a byte more", kSignPadding, Bytes(246, 1), ErrorCode::INVALID_INPUT_LENGTH},
      {"plain, whole", PaddingMode::NONE, Bytes(256, 1), ErrorCode::OK},
      {"plain, the modulus itself", PaddingMode::NONE, modulus, ErrorCode::INVALID_ARGUMENT},
      {"plain, a byte more", PaddingMode::NONE, Bytes(257), ErrorCode::INVALID_INPUT_LENGTH},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    Bytes signature;
    EXPECT_EQ(key.Run(KeyPurpose::SIGN, Mode(c.padding, Digest::NONE), c.message, &signature),
              c.expected);
    EXPECT_EQ(signature.size(), c.expected == ErrorCode::OK ? 256u : 0u);
  }
}

TEST(RsaOperationTest, DecryptsWhatOthersEncrypted) {
  TestDevice device;
  const RsaKey key(device.tee());
  const Bytes secret = {'s', 'e', 'c', 'r', 'e', 't'};
  Bytes block(256, 7);
  block[0] = 0;
  EVP_PKEY* const pair = key.pair.get();
  struct Case {
    const char* title;
    KeyParams params;
    Bytes cipher;
    ErrorCode expected;
    Bytes plain;
  };
  const KeyParams pkcs1 = Mode(kEncryptPadding);
  const Case cases[] = {
      {"PKCS#1", pkcs1, Encrypted(pair, RSA_PKCS1_PADDING, secret), ErrorCode::OK, secret},
      {"plain", Mode(PaddingMode::NONE), Encrypted(pair, RSA_NO_PADDING, block), ErrorCode::OK,
       block},
      {"OAEP", Mode(PaddingMode::RSA_OAEP, Digest::SHA1),
       Encrypted(pair, RSA_PKCS1_OAEP_PADDING, secret), ErrorCode::OK, secret},
      {"wrong padding",
       pkcs1,
       Encrypted(pair, RSA_NO_PADDING, block),
       ErrorCode::INVALID_ARGUMENT,
       {}},
      {"a byte more", pkcs1, Bytes(257, 1), ErrorCode::INVALID_INPUT_LENGTH, {}},
      {"above the modulus",
       Mode(PaddingMode::NONE),
       Bytes(256, 0xff),
       ErrorCode::INVALID_ARGUMENT,
       {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    Bytes plain;
    EXPECT_EQ(key.Run(KeyPurpose::DECRYPT, c.params, c.cipher, &plain), c.expected);
    EXPECT_EQ(plain, c.plain);
  }
}

TEST(RsaBeginTest, ChecksPurposePaddingAndDigest) {
  TestDevice device;
  RsaKey key(device.tee());
  km::KeyCreationResult narrow;
  const KeyParams few = With(Without(Without(RsaRequest(), Tag::PADDING), Tag::DIGEST),
                             {{Tag::PADDING, kSignPadding}, {Tag::DIGEST, Digest::SHA_2_256}});
  ASSERT_EQ(Import(device.tee(), few, Pkcs8(key.pair.get()), &narrow), ErrorCode::OK);
  struct Case {
    const char* title;
    Bytes blob;
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
      {"no digest", key.blob, sign, Mode(kSignPadding), ErrorCode::UNSUPPORTED_DIGEST},
      {"digest that the key has not", narrow.keyBlob, sign, Mode(kSignPadding, Digest::SHA1),
       bad_digest},
      {"plain with a digest", key.blob, sign, Mode(PaddingMode::NONE, Digest::SHA_2_256),
       bad_digest},
      {"OAEP without digest", key.blob, decrypt, Mode(PaddingMode::RSA_OAEP),
       ErrorCode::UNSUPPORTED_DIGEST},
      {"OAEP with a mask digest that the key has not", key.blob, decrypt,
       With(Mode(PaddingMode::RSA_OAEP, Digest::SHA1),
            {{Tag::RSA_OAEP_MGF_DIGEST, Digest::SHA_2_256}}),
       ErrorCode::INCOMPATIBLE_MGF_DIGEST},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    key.blob = c.blob;
    km::BeginResult result;
    EXPECT_EQ(key.Begin(c.purpose, c.params, &result), c.expected);
    EXPECT_EQ(result.operation, nullptr);
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
  ASSERT_EQ(key.Run(KeyPurpose::ENCRYPT, Mode(kEncryptPadding), message, &cipher), ErrorCode::OK);
  ASSERT_EQ(key.Run(KeyPurpose::DECRYPT, Mode(kEncryptPadding), cipher, &plain), ErrorCode::OK);
  EXPECT_EQ(plain, message);
}

}  // namespace
}  // namespace orx_sim
