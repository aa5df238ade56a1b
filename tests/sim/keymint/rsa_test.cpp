// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/sim/simulated_device.h"
#include "tests/support/certificate_builder.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::KeyPurpose;
using km::PaddingMode;

constexpr auto kSignPadding = PaddingMode::RSA_PKCS1_1_5_SIGN;
constexpr auto kEncryptPadding = PaddingMode::RSA_PKCS1_1_5_ENCRYPT;

// The PrivateKeyInfo of the process's RSA key of this size.
Bytes NewRsa(int bits = 2048) {
  return Pkcs8(orx_test::Key(EVP_PKEY_RSA, bits, 0));
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

KeyParams Mode(PaddingMode padding) {
  return {{Tag::PADDING, padding}};
}
KeyParams Mode(PaddingMode padding, Digest digest) {
  return {{Tag::PADDING, padding}, {Tag::DIGEST, digest}};
}

TEST(RsaImportTest, AcceptsSupportedSizesWhereTheyAgreeWithTheMaterial) {
  TestDevice device;
  constexpr km::KeyFormat kPkcs8 = km::KeyFormat::PKCS8;
  const Bytes der2048 = NewRsa();
  const Bytes der3072 = NewRsa(3072);
  const Bytes ec = Pkcs8(orx_test::EcKey(0));
  Bytes longer = der2048;
  longer.push_back(0);
  const KeyParams all = RsaRequest();
  const KeyParams as_2048 = With(all, {UintParam(Tag::KEY_SIZE, 2048)});
  const KeyParams e3 = With(all, {UlongParam(Tag::RSA_PUBLIC_EXPONENT, 3)});
  const KeyParams undated = Without(all, Tag::CERTIFICATE_NOT_BEFORE);
  const Code ok = Code::OK, size = Code::UNSUPPORTED_KEY_SIZE, argument = Code::INVALID_ARGUMENT;
  const Code mismatch = Code::IMPORT_PARAMETER_MISMATCH, format = Code::INCOMPATIBLE_KEY_FORMAT;
  const Code no_date = Code::MISSING_NOT_BEFORE;
  ExpectCodes(device, {{"2048", kPkcs8, as_2048, der2048, ok, ok},
                       {"3072", kPkcs8, all, der3072, ok, size},
                       {"3072 declared as 2048", kPkcs8, as_2048, der3072, mismatch, mismatch},
                       {"another exponent", kPkcs8, e3, der2048, mismatch, mismatch},
                       {"1024", kPkcs8, all, NewRsa(1024), size, size},
                       {"EC key", kPkcs8, all, ec, argument, argument},
                       {"byte behind the key", kPkcs8, all, longer, argument, argument},
                       {"no begin of validity", kPkcs8, undated, der2048, no_date, no_date},
                       {"raw", km::KeyFormat::RAW, all, der2048, format, format}});
}

TEST(RsaOperationTest, TakesBlocksWithinTheirLengthsAndTheModulus) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), RsaRequest(), NewRsa());
  const KeyParams plain = Mode(PaddingMode::NONE, Digest::NONE);
  const KeyParams padded = Mode(kSignPadding, Digest::NONE);
  const KeyParams pkcs1 = Mode(kEncryptPadding);
  const KeyPurpose sign = KeyPurpose::SIGN;
  const KeyPurpose decrypt = KeyPurpose::DECRYPT;
  const auto bad_length = ErrorCode::INVALID_INPUT_LENGTH;
  const std::tuple<const char*, KeyPurpose, KeyParams, Bytes, ErrorCode> cases[] = {
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
  for (const auto& [title, purpose, params, block, expected] : cases) {
    SCOPED_TRACE(title);
    Bytes output;
    EXPECT_EQ(Operate(device.tee(), purpose, blob, params, block, &output), expected);
    EXPECT_EQ(output.size(), expected == ErrorCode::OK ? 256u : 0u);
  }
}

TEST(RsaBeginTest, ChecksPurposePaddingAndDigest) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), RsaRequest(), NewRsa());
  const KeyParams few = With(Without(Without(RsaRequest(), Tag::PADDING), Tag::DIGEST),
                             {{Tag::PADDING, kSignPadding}, {Tag::DIGEST, Digest::SHA_2_256}});
  const Bytes some = Imported(device.tee(), few, NewRsa());
  const KeyPurpose sign = KeyPurpose::SIGN, decrypt = KeyPurpose::DECRYPT;
  const auto padding = Code::UNSUPPORTED_PADDING_MODE, digest = Code::INCOMPATIBLE_DIGEST;
  const auto purpose = Code::UNSUPPORTED_PURPOSE;
  const KeyParams sha1 = Mode(kSignPadding, Digest::SHA1);
  const KeyParams pss = Mode(PaddingMode::RSA_PSS, Digest::SHA_2_256);
  const KeyParams oaep = Mode(PaddingMode::RSA_OAEP, Digest::SHA1);
  const KeyParams plain = Mode(PaddingMode::NONE, Digest::SHA_2_256);
  ExpectCodes(device.tee(),
              {{"verify", KeyPurpose::VERIFY, blob, sha1, purpose},
               {"encrypt", KeyPurpose::ENCRYPT, blob, Mode(kEncryptPadding), purpose},
               {"padding of decryption", sign, blob, Mode(kEncryptPadding, Digest::SHA1), padding},
               {"padding of signing", decrypt, blob, Mode(kSignPadding), padding},
               {"PSS", sign, blob, pss, padding},
               {"OAEP", decrypt, blob, oaep, padding},
               {"no padding mode", decrypt, blob, {}, padding},
               {"not the key's padding", decrypt, some, Mode(kEncryptPadding),
                Code::INCOMPATIBLE_PADDING_MODE},
               {"no digest", sign, blob, Mode(kSignPadding), Code::UNSUPPORTED_DIGEST},
               {"digest that the key has not", sign, some, sha1, digest},
               {"plain with a digest", sign, blob, plain, digest}});
}

TEST(RsaBeginTest, PublicKeyOperationsWorkWhereTheDeviceOffersThem) {
  TestDevice device("public-key-operations = yes\n");
  const Bytes blob = Imported(device.tee(), RsaRequest(), NewRsa());
  const auto run = [&](KeyPurpose purpose, auto&&... arguments) {
    return Operate(device.tee(), purpose, blob, arguments...);
  };
  const Bytes message(100, 3);
  for (const KeyParams& params :
       {Mode(kSignPadding, Digest::SHA_2_256), Mode(kSignPadding, Digest::NONE),
        Mode(PaddingMode::NONE, Digest::NONE)}) {
    Bytes signature;
    Bytes nothing;
    ASSERT_EQ(run(KeyPurpose::SIGN, params, message, &signature), ErrorCode::OK);
    EXPECT_EQ(run(KeyPurpose::VERIFY, params, message, &nothing, signature), ErrorCode::OK);
    signature.back() ^= 1;
    EXPECT_EQ(run(KeyPurpose::VERIFY, params, message, &nothing, signature),
              ErrorCode::VERIFICATION_FAILED);
  }
  Bytes cipher;
  Bytes plain;
  EXPECT_EQ(run(KeyPurpose::ENCRYPT, Mode(kEncryptPadding), message, &cipher), ErrorCode::OK);
  EXPECT_EQ(run(KeyPurpose::DECRYPT, Mode(kEncryptPadding), cipher, &plain), ErrorCode::OK);
  EXPECT_EQ(plain, message);
}

}  // namespace
}  // namespace orx_sim
