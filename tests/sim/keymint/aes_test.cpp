// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/sim/simulated_device.h"
#include "tests/support/hex.h"

namespace orx_sim {
namespace {

using km::BlockMode;
using km::KeyPurpose;
using km::PaddingMode;
using orx_test::FromHex;
using Operation = std::shared_ptr<km::IKeyMintOperation>;

constexpr char kAesKey[] = "2b7e151628aed2a6abf7158809cf4f3c";
constexpr char kIv[] = "000102030405060708090a0b0c0d0e0f";

// A key for what is offered and for what is refused at begin.
KeyParams WideRequest() {
  return With(AesRequest(), {{Tag::PURPOSE, KeyPurpose::DECRYPT},
                             {Tag::BLOCK_MODE, BlockMode::CTR},
                             {Tag::BLOCK_MODE, BlockMode::ECB},
                             {Tag::PADDING, PaddingMode::PKCS7}});
}

KeyParams Cbc(const char* nonce = kIv) {
  KeyParams params = Without(AesUse(), Tag::NONCE);
  if (nonce != nullptr) params.push_back(BlobParam(Tag::NONCE, FromHex(nonce)));
  return params;
}

Operation Begun(Services& services, KeyPurpose purpose, const Bytes& blob,
                const KeyParams& params) {
  km::BeginResult result;
  EXPECT_EQ(Begin(services, purpose, blob, params, &result), ErrorCode::OK);
  return result.operation;
}

ErrorCode Update(const Operation& operation, const Bytes& input, Bytes* output) {
  return CodeOf(operation->update(input, std::nullopt, std::nullopt, output));
}

ErrorCode Aad(const Operation& operation) {
  return CodeOf(operation->updateAad({}, std::nullopt, std::nullopt));
}

TEST(AesImportTest, AcceptsWhatTheStandardAcceptsAndNothingElse) {
  TestDevice device;
  constexpr km::KeyFormat kRaw = km::KeyFormat::RAW;
  const Bytes key(16, 7);
  const auto with = [](km::KeyParameter param) { return With(WideRequest(), {std::move(param)}); };
  const KeyParams sized = with(UintParam(Tag::KEY_SIZE, 128));
  const KeyParams no_algorithm = Without(WideRequest(), Tag::ALGORITHM);
  const KeyParams of_rsa = with({Tag::PADDING, PaddingMode::RSA_PSS});
  const KeyParams gcm = with({Tag::BLOCK_MODE, BlockMode::GCM});
  const KeyParams short_mac = With(gcm, {UintParam(Tag::MIN_MAC_LENGTH, 88)});
  const KeyParams gcm_128 = With(gcm, {UintParam(Tag::MIN_MAC_LENGTH, 128)});
  const KeyParams early = with({Tag::EARLY_BOOT_ONLY, true});
  const KeyParams attested = with(BlobParam(Tag::ATTESTATION_CHALLENGE, {1}));
  const Code ok = Code::OK, size = Code::UNSUPPORTED_KEY_SIZE,
             padding = Code::INCOMPATIBLE_PADDING_MODE;
  const Code mismatch = Code::IMPORT_PARAMETER_MISMATCH, format = Code::INCOMPATIBLE_KEY_FORMAT;
  const Code early_boot = Code::EARLY_BOOT_ENDED, algorithm = Code::UNSUPPORTED_ALGORITHM;
  const Code no_mac = Code::MISSING_MIN_MAC_LENGTH, mac = Code::UNSUPPORTED_MIN_MAC_LENGTH;
  ExpectCodes(device, {{"128 bits", kRaw, sized, key, ok, ok},
                       {"256 bits", kRaw, WideRequest(), Bytes(32), size, size},
                       {"another size than declared", kRaw, sized, Bytes(32), mismatch, mismatch},
                       {"no algorithm", kRaw, no_algorithm, key, algorithm, algorithm},
                       {"padding of RSA", kRaw, of_rsa, key, padding, padding},
                       {"GCM without length", kRaw, gcm, key, no_mac, no_mac},
                       {"GCM with 88 bits", kRaw, short_mac, key, mac, mac},
                       {"GCM with 128 bits", kRaw, gcm_128, key, ok, ok},
                       {"early boot", kRaw, early, key, early_boot, early_boot},
                       {"PKCS#8", km::KeyFormat::PKCS8, WideRequest(), key, format, format},
                       {"challenge, to be ignored", kRaw, attested, key, ok, ok}});
}

TEST(AesImportTest, CharacteristicsAreWhatTheDeviceEnforces) {
  TestDevice device("os-version = 140000\nos-patch-level = 202611\n");
  const Bytes blob = Imported(device.strongbox(), {{Tag::ALGORITHM, km::Algorithm::AES},
                                                   UintParam(Tag::USER_ID, 10),
                                                   BlobParam(Tag::APPLICATION_ID, {1, 2})});
  std::vector<km::KeyCharacteristics> told;
  ASSERT_EQ(CodeOf(device.strongbox().keymint->getKeyCharacteristics(blob, {1, 2}, {}, &told)),
            ErrorCode::OK);
  const KeyParams expected = {{Tag::ALGORITHM, km::Algorithm::AES},
                              {Tag::ORIGIN, km::KeyOrigin::IMPORTED},
                              UintParam(Tag::KEY_SIZE, 128),
                              UintParam(Tag::OS_VERSION, 140000),
                              UintParam(Tag::OS_PATCHLEVEL, 202611),
                              UintParam(Tag::VENDOR_PATCHLEVEL, 20261105),
                              UintParam(Tag::BOOT_PATCHLEVEL, 20261105)};
  EXPECT_EQ(told, std::vector({km::KeyCharacteristics{km::SecurityLevel::STRONGBOX, expected}}));
}

// The first two blocks of NIST SP 800-38A, F.2.1.
TEST(AesOperationTest, ComputesThePublishedExampleWhateverItsPieces) {
  TestDevice device;
  const Bytes plain = FromHex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51");
  const Bytes cipher = FromHex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2");
  const Bytes blob = Imported(device.tee(), WideRequest(), FromHex(kAesKey));
  for (const size_t cut : {0, 1, 16, 31, 32}) {
    SCOPED_TRACE(cut);
    for (const bool encrypts : {true, false}) {
      const Bytes& in = encrypts ? plain : cipher;
      const auto middle = in.begin() + static_cast<ptrdiff_t>(cut);
      const Operation operation =
          Begun(device.tee(), encrypts ? KeyPurpose::ENCRYPT : KeyPurpose::DECRYPT, blob, Cbc());
      Bytes first;
      Bytes rest;
      EXPECT_EQ(Update(operation, Bytes(in.begin(), middle), &first), ErrorCode::OK);
      EXPECT_EQ(Finish(operation, Bytes(middle, in.end()), &rest), ErrorCode::OK);
      first.insert(first.end(), rest.begin(), rest.end());
      EXPECT_EQ(first, encrypts ? cipher : plain);
    }
  }
}

TEST(AesBeginTest, ChecksKeyModeAndNonce) {
  TestDevice device;
  const KeyParams cbc = Cbc();
  const Bytes blob = Imported(device.tee(), WideRequest());
  const Bytes narrow = Imported(
      device.tee(), Without(Without(AesRequest(), Tag::CALLER_NONCE), Tag::NO_AUTH_REQUIRED));
  const Bytes bound =
      Imported(device.tee(), With(WideRequest(), {UlongParam(Tag::USER_SECURE_ID, 5)}));
  const auto nonce_of = [](size_t length) {
    return With(Cbc(nullptr), {BlobParam(Tag::NONCE, Bytes(length))});
  };
  const auto with = [&](Tag tag, const km::KeyParameter& other) {
    return With(Without(cbc, tag), {other});
  };
  const KeyParams ctr = with(Tag::BLOCK_MODE, {Tag::BLOCK_MODE, BlockMode::CTR});
  const KeyParams two_modes = With(cbc, {{Tag::BLOCK_MODE, BlockMode::CBC}});
  const KeyParams pkcs7 = with(Tag::PADDING, {Tag::PADDING, PaddingMode::PKCS7});
  const KeyPurpose encrypt = KeyPurpose::ENCRYPT, decrypt = KeyPurpose::DECRYPT;
  const KeyPurpose sign = KeyPurpose::SIGN, wrap = KeyPurpose::WRAP_KEY;
  const Code no_mode = Code::UNSUPPORTED_BLOCK_MODE, no_padding = Code::UNSUPPORTED_PADDING_MODE;
  ExpectCodes(device.tee(),
              {{"fine", encrypt, blob, cbc, Code::OK},
               {"no operation", wrap, blob, cbc, Code::UNSUPPORTED_PURPOSE},
               {"purpose that the key has not", sign, blob, cbc, Code::INCOMPATIBLE_PURPOSE},
               {"key of a user", encrypt, bound, cbc, Code::KEY_USER_NOT_AUTHENTICATED},
               {"no block mode", encrypt, blob, Without(cbc, Tag::BLOCK_MODE), no_mode},
               {"two block modes", encrypt, blob, two_modes, no_mode},
               {"mode that the key has not", encrypt, narrow, ctr, Code::INCOMPATIBLE_BLOCK_MODE},
               {"mode that the device has not", encrypt, blob, ctr, no_mode},
               {"no padding", encrypt, blob, Without(cbc, Tag::PADDING), no_padding},
               {"not the key's padding", encrypt, narrow, pkcs7, Code::INCOMPATIBLE_PADDING_MODE},
               {"padding that the device has not", encrypt, blob, pkcs7, no_padding},
               {"nonce of 0 bytes", encrypt, blob, nonce_of(0), Code::INVALID_NONCE},
               {"nonce of 17 bytes", decrypt, blob, nonce_of(17), Code::INVALID_NONCE},
               {"the device's nonce", encrypt, narrow, cbc, Code::CALLER_NONCE_PROHIBITED},
               {"no nonce", decrypt, blob, Cbc(nullptr), Code::MISSING_NONCE}});
}

TEST(AesBeginTest, MakesANonceThatDecryptsAgain) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), Without(WideRequest(), Tag::CALLER_NONCE));
  const KeyParams params = Cbc(nullptr);
  km::BeginResult begun;
  ASSERT_EQ(Begin(device.tee(), KeyPurpose::ENCRYPT, blob, params, &begun), ErrorCode::OK);
  Bytes cipher;
  Bytes back;
  EXPECT_EQ(Finish(begun.operation, Bytes(32, 9), &cipher), ErrorCode::OK);
  EXPECT_EQ(
      Operate(device.tee(), KeyPurpose::DECRYPT, blob, With(params, begun.params), cipher, &back),
      ErrorCode::OK);
  EXPECT_EQ(back, Bytes(32, 9));
  EXPECT_NE(begun.challenge, 0);
}

TEST(OperationTest, EndsWithAbortOrAnyError) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), WideRequest());
  const KeyParams params = Cbc();
  Bytes output = {1, 2, 3};
  const auto closed = ErrorCode::INVALID_OPERATION_HANDLE;
  for (const Code end : {Code::INVALID_INPUT_LENGTH, Code::OK, Code::INVALID_TAG}) {
    const Operation operation = Begun(device.tee(), KeyPurpose::ENCRYPT, blob, params);
    EXPECT_EQ(end == Code::OK            ? CodeOf(operation->abort())
              : end == Code::INVALID_TAG ? Aad(operation)
                                         : Finish(operation, Bytes(1), &output),
              end);
    EXPECT_EQ(Update(operation, Bytes(16), &output), closed);
    EXPECT_EQ(Finish(operation, Bytes(16), &output), closed);
    EXPECT_EQ(Aad(operation), closed);
    EXPECT_EQ(CodeOf(operation->abort()), closed);
  }
  EXPECT_EQ(output, (Bytes{1, 2, 3}));
}

TEST(OperationTest, SlotsAreLimitedPerInstanceAndComeBack) {
  TestDevice device("operation-slots = 1\n");
  const Bytes blob = Imported(device.tee(), WideRequest());
  const Bytes in_strongbox = Imported(device.strongbox(), WideRequest());
  const KeyParams params = Cbc();
  Operation open;
  Bytes output;
  for (int end = 0; end < 4; ++end) {
    open = Begun(device.tee(), KeyPurpose::ENCRYPT, blob, params);
    km::BeginResult result;
    EXPECT_EQ(Begin(device.tee(), KeyPurpose::ENCRYPT, blob, params, &result),
              Code::TOO_MANY_OPERATIONS);
    EXPECT_NE(Begun(device.strongbox(), KeyPurpose::ENCRYPT, in_strongbox, params), nullptr);
    if (end == 0) Finish(open, Bytes(16), &output);
    if (end == 1) open->abort();
    if (end == 2) open = nullptr;
  }
}

}  // namespace
}  // namespace orx_sim
