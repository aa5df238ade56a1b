// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>

#include "tests/sim/simulated_device.h"
#include "tests/support/hex.h"

namespace orx_sim {
namespace {

using km::BlockMode;
using km::KeyPurpose;
using km::PaddingMode;
using orx_test::FromHex;
using Operation = std::shared_ptr<km::IKeyMintOperation>;

constexpr char kKey[] = "2b7e151628aed2a6abf7158809cf4f3c";
constexpr char kIv[] = "000102030405060708090a0b0c0d0e0f";

// A key for what is offered and for what is refused at begin.
KeyParams AesRequest() {
  return {{Tag::ALGORITHM, km::Algorithm::AES}, {Tag::PURPOSE, KeyPurpose::ENCRYPT},
          {Tag::PURPOSE, KeyPurpose::DECRYPT},  {Tag::BLOCK_MODE, BlockMode::CBC},
          {Tag::BLOCK_MODE, BlockMode::CTR},    {Tag::BLOCK_MODE, BlockMode::ECB},
          {Tag::PADDING, PaddingMode::NONE},    {Tag::PADDING, PaddingMode::PKCS7},
          {Tag::NO_AUTH_REQUIRED, true},        {Tag::CALLER_NONCE, true}};
}

Bytes Imported(Services& services, const KeyParams& params) {
  km::KeyCreationResult result;
  EXPECT_EQ(Import(services, params, km::KeyFormat::RAW, FromHex(kKey), &result), ErrorCode::OK);
  return result.keyBlob;
}

KeyParams Cbc(const char* nonce = kIv) {
  KeyParams params = {{Tag::BLOCK_MODE, BlockMode::CBC}, {Tag::PADDING, PaddingMode::NONE}};
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
  const KeyParams request = AesRequest();
  const auto with = [&](km::KeyParameter param) { return With(request, {std::move(param)}); };
  struct Case {
    const char* title;
    bool strongbox;
    KeyParams params;
    size_t key_bytes;
    ErrorCode expected;
    km::KeyFormat format = km::KeyFormat::RAW;
  };
  const Case cases[] = {
      {"128 bits", false, with(UintParam(Tag::KEY_SIZE, 128)), 16, ErrorCode::OK},
      {"256 bits", false, with(UintParam(Tag::KEY_SIZE, 256)), 32, ErrorCode::UNSUPPORTED_KEY_SIZE},
      {"192 bits, strongbox", true, request, 24, ErrorCode::UNSUPPORTED_KEY_SIZE},
      {"another size than declared", false, with(UintParam(Tag::KEY_SIZE, 128)), 32,
       ErrorCode::IMPORT_PARAMETER_MISMATCH},
      {"no algorithm", false, Without(request, Tag::ALGORITHM), 16,
       ErrorCode::UNSUPPORTED_ALGORITHM},
      {"padding of RSA", false, with({Tag::PADDING, PaddingMode::RSA_PSS}), 16,
       ErrorCode::INCOMPATIBLE_PADDING_MODE},
      {"GCM without length", false, with({Tag::BLOCK_MODE, BlockMode::GCM}), 16,
       ErrorCode::MISSING_MIN_MAC_LENGTH},
      {"early boot", false, with({Tag::EARLY_BOOT_ONLY, true}), 16, ErrorCode::EARLY_BOOT_ENDED},
      {"wrong format", false, request, 16, ErrorCode::INCOMPATIBLE_KEY_FORMAT,
       km::KeyFormat::PKCS8},
      {"challenge, to be ignored", false, with(BlobParam(Tag::ATTESTATION_CHALLENGE, {1})), 16,
       ErrorCode::OK},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    km::KeyCreationResult result;
    Services& services = c.strongbox ? device.strongbox() : device.tee();
    EXPECT_EQ(Import(services, c.params, c.format, Bytes(c.key_bytes, 7), &result), c.expected);
    EXPECT_TRUE(result.certificateChain.empty());
  }
}

TEST(AesImportTest, CharacteristicsAreWhatTheDeviceEnforces) {
  TestDevice device("os-version = 140000\nos-patch-level = 202611\n");
  const Bytes blob = Imported(device.strongbox(), {{Tag::ALGORITHM, km::Algorithm::AES},
                                                   UintParam(Tag::USER_ID, 10),
                                                   BlobParam(Tag::APPLICATION_ID, {1, 2})});
  std::vector<km::KeyCharacteristics> characteristics;
  ASSERT_EQ(
      CodeOf(device.strongbox().keymint->getKeyCharacteristics(blob, {1, 2}, {}, &characteristics)),
      ErrorCode::OK);
  const KeyParams expected = {{Tag::ALGORITHM, km::Algorithm::AES},
                              {Tag::ORIGIN, km::KeyOrigin::IMPORTED},
                              UintParam(Tag::KEY_SIZE, 128),
                              UintParam(Tag::OS_VERSION, 140000),
                              UintParam(Tag::OS_PATCHLEVEL, 202611),
                              UintParam(Tag::VENDOR_PATCHLEVEL, 20261105),
                              UintParam(Tag::BOOT_PATCHLEVEL, 20261105)};
  ASSERT_EQ(characteristics.size(), 1u);
  EXPECT_EQ(characteristics[0].securityLevel, km::SecurityLevel::STRONGBOX);
  EXPECT_EQ(characteristics[0].authorizations, expected);
}

// The first two blocks of NIST SP 800-38A, F.2.1.
TEST(AesOperationTest, ComputesThePublishedExampleWhateverItsPieces) {
  TestDevice device;
  const Bytes plain = FromHex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51");
  const Bytes cipher = FromHex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2");
  const Bytes blob = Imported(device.tee(), AesRequest());
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

TEST(AesOperationTest, TakesWholeBlocksOnly) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), AesRequest());
  for (const KeyPurpose purpose : {KeyPurpose::ENCRYPT, KeyPurpose::DECRYPT}) {
    for (const size_t length : {0, 15, 16, 17, 32}) {
      Bytes output;
      EXPECT_EQ(Operate(device.tee(), purpose, blob, Cbc(), Bytes(length), &output),
                length % 16 == 0 ? ErrorCode::OK : ErrorCode::INVALID_INPUT_LENGTH)
          << length;
      EXPECT_EQ(output.size(), length % 16 == 0 ? length : 0);
    }
  }
}

TEST(AesBeginTest, ChecksKeyModeAndNonce) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), AesRequest());
  const Bytes cbc_only = Imported(
      device.tee(), With(Without(Without(AesRequest(), Tag::BLOCK_MODE), Tag::CALLER_NONCE),
                         {{Tag::BLOCK_MODE, BlockMode::CBC}}));
  const Bytes unpadded = Imported(
      device.tee(), With(Without(AesRequest(), Tag::PADDING), {{Tag::PADDING, PaddingMode::NONE}}));
  const Bytes bound =
      Imported(device.tee(), With(AesRequest(), {UlongParam(Tag::USER_SECURE_ID, 5)}));
  const KeyParams cbc = Cbc();
  const auto nonce_of = [](size_t length) {
    return With(Cbc(nullptr), {BlobParam(Tag::NONCE, Bytes(length))});
  };
  const auto other_mode = [&](BlockMode mode) {
    return With(Without(cbc, Tag::BLOCK_MODE), {{Tag::BLOCK_MODE, mode}});
  };
  const KeyParams pkcs7 = With(Without(cbc, Tag::PADDING), {{Tag::PADDING, PaddingMode::PKCS7}});
  struct Case {
    const char* title;
    KeyPurpose purpose;
    const Bytes& blob;
    KeyParams params;
    ErrorCode expected;
  };
  const KeyPurpose encrypt = KeyPurpose::ENCRYPT;
  const KeyPurpose decrypt = KeyPurpose::DECRYPT;
  const Case cases[] = {
      {"fine", encrypt, blob, cbc, ErrorCode::OK},
      {"purpose that the key has not", KeyPurpose::SIGN, blob, cbc,
       ErrorCode::INCOMPATIBLE_PURPOSE},
      {"key of a user", encrypt, bound, cbc, ErrorCode::KEY_USER_NOT_AUTHENTICATED},
      {"no block mode", encrypt, blob, Without(cbc, Tag::BLOCK_MODE),
       ErrorCode::UNSUPPORTED_BLOCK_MODE},
      {"two block modes", encrypt, blob, With(cbc, {{Tag::BLOCK_MODE, BlockMode::CBC}}),
       ErrorCode::UNSUPPORTED_BLOCK_MODE},
      {"block mode that the key has not", encrypt, cbc_only, other_mode(BlockMode::CTR),
       ErrorCode::INCOMPATIBLE_BLOCK_MODE},
      {"block mode that the device has not", encrypt, blob, other_mode(BlockMode::ECB),
       ErrorCode::UNSUPPORTED_BLOCK_MODE},
      {"no padding mode", encrypt, blob, Without(cbc, Tag::PADDING),
       ErrorCode::UNSUPPORTED_PADDING_MODE},
      {"padding that the key has not", encrypt, unpadded, pkcs7,
       ErrorCode::INCOMPATIBLE_PADDING_MODE},
      {"padding that the device has not", encrypt, blob, pkcs7,
       ErrorCode::UNSUPPORTED_PADDING_MODE},
      {"nonce of 0 bytes", encrypt, blob, nonce_of(0), ErrorCode::INVALID_NONCE},
      {"nonce of 17 bytes", decrypt, blob, nonce_of(17), ErrorCode::INVALID_NONCE},
      {"nonce where the device makes it", encrypt, cbc_only, cbc,
       ErrorCode::CALLER_NONCE_PROHIBITED},
      {"nonce missing", decrypt, blob, Without(cbc, Tag::NONCE), ErrorCode::MISSING_NONCE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    km::BeginResult result;
    EXPECT_EQ(Begin(device.tee(), c.purpose, c.blob, c.params, &result), c.expected);
    EXPECT_TRUE(result.params.empty());
  }
}

TEST(AesBeginTest, MakesANonceThatDecryptsAgain) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), Without(AesRequest(), Tag::CALLER_NONCE));
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
}

TEST(OperationTest, EndsWithAbortOrAnyError) {
  TestDevice device;
  const Bytes blob = Imported(device.tee(), AesRequest());
  const KeyParams params = Cbc();
  Bytes output = {1, 2, 3};
  const auto closed = ErrorCode::INVALID_OPERATION_HANDLE;
  const std::function<ErrorCode(const Operation&)> ends[] = {
      [&](const Operation& o) { return Finish(o, Bytes(1), &output); },
      [](const Operation& o) { return CodeOf(o->abort()); },
      Aad,
  };
  const ErrorCode expected[] = {ErrorCode::INVALID_INPUT_LENGTH, ErrorCode::OK,
                                ErrorCode::INVALID_TAG};
  for (size_t way = 0; way < 3; ++way) {
    const Operation operation = Begun(device.tee(), KeyPurpose::ENCRYPT, blob, params);
    EXPECT_EQ(ends[way](operation), expected[way]);
    EXPECT_EQ(Update(operation, Bytes(16), &output), closed);
    EXPECT_EQ(Finish(operation, Bytes(16), &output), closed);
    EXPECT_EQ(Aad(operation), closed);
    EXPECT_EQ(CodeOf(operation->abort()), closed);
  }
  EXPECT_EQ(output, (Bytes{1, 2, 3}));
}

TEST(OperationTest, SlotsAreLimitedPerInstanceAndComeBack) {
  TestDevice device("operation-slots = 1\n");
  const Bytes blob = Imported(device.tee(), AesRequest());
  const Bytes in_strongbox = Imported(device.strongbox(), AesRequest());
  const KeyParams params = Cbc();
  Operation open = Begun(device.tee(), KeyPurpose::ENCRYPT, blob, params);
  const auto begins_after = [&](const char* what, ErrorCode expected) {
    km::BeginResult result;
    EXPECT_EQ(Begin(device.tee(), KeyPurpose::ENCRYPT, blob, params, &result), expected) << what;
    if (expected == ErrorCode::OK) open = result.operation;
  };
  begins_after("nothing", ErrorCode::TOO_MANY_OPERATIONS);
  EXPECT_NE(Begun(device.strongbox(), KeyPurpose::ENCRYPT, in_strongbox, params), nullptr);
  Bytes output;
  Finish(open, Bytes(16), &output);
  begins_after("finish", ErrorCode::OK);
  open->abort();
  begins_after("abort", ErrorCode::OK);
  open = nullptr;
  begins_after("abandonment", ErrorCode::OK);
  begins_after("nothing", ErrorCode::TOO_MANY_OPERATIONS);
}

}  // namespace
}  // namespace orx_sim
