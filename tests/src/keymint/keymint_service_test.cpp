// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <keymint/ORX_KEYMINT.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/support/log_capture.h"
#include "tests/support/mock_keymint.h"

namespace android::hardware::keymint::ORX {
namespace {

using ::ndk::ScopedAStatus;
using orx_test::Fails;
using orx_test::Succeeds;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::SizeIs;
using Bytes = std::vector<uint8_t>;
using Builder = AuthorizationSetBuilder;

static_assert(!std::is_copy_constructible_v<KeyMintService>, "copies would share an operation");
static_assert(!std::is_copy_assignable_v<KeyMintService>, "copies would share an operation");

constexpr char kNoInstance[] = "KM: invalid keymint instance, probably servicemanager AIDL issue?";
const Bytes kBlob = {1, 2, 3};

class KeyMintServiceTest : public ::testing::Test {
 protected:
  // Lets the next generateKey() succeed with `blob` and a chain of `certificates`.
  void LetGenerate(const Bytes& blob, size_t certificates) {
    km::KeyCreationResult created;
    created.keyBlob = blob;
    created.keyCharacteristics.resize(1);
    created.certificateChain.resize(certificates);
    EXPECT_CALL(*keymint_.device, generateKey).WillOnce(Succeeds(created));
  }

  int Generate(const AuthorizationSet& params) {
    return service_.GenerateKey(params, std::nullopt, &blob_, &characteristics_, &chain_);
  }
  int GenerateWithoutChain(const AuthorizationSet& params) {
    return service_.GenerateKey(params, std::nullopt, &blob_, &characteristics_, nullptr);
  }

  int Import(std::vector<uint8_t>* blob) {
    return service_.ImportKey(Builder().AesKey(128), km::KeyFormat::RAW, std::string("k\0y", 3),
                              blob, &characteristics_);
  }

  orx_test::MockKeyMint keymint_;
  KeyMintService service_{false};
  Bytes blob_;
  std::vector<km::KeyCharacteristics> characteristics_;
  std::vector<km::Certificate> chain_;
  orx_test::LogCapture log_;
};

TEST(KeyMintServiceWithoutDeviceTest, DeviceCallsAnswerNullPointer) {
  android_host::DisableDeviceModule();
  orx_test::LogCapture log;
  KeyMintService service(true);
  Bytes none, blob = kBlob;
  std::vector<km::KeyCharacteristics> characteristics(1);
  EXPECT_EQ(service.GenerateKey({}, std::nullopt, &none, &characteristics, nullptr), -32);
  EXPECT_EQ(service.ImportKey({}, km::KeyFormat::RAW, "", &blob, &characteristics), -32);
  EXPECT_EQ(service.UpgradeKey(kBlob, {}, &none), -32);
  EXPECT_EQ(service.DeleteKey(&blob, false), -32);
  EXPECT_EQ(service.Begin(km::KeyPurpose::SIGN, kBlob, {}), -32);
  EXPECT_EQ(blob, kBlob);
  EXPECT_THAT(characteristics, SizeIs(1));
  EXPECT_THAT(log.Take(), ElementsAre("strongbox was 1", "Could not obtain the keymint service",
                                      "KM: GenerateKey", kNoInstance, "KM: ImportKey", kNoInstance,
                                      "KM: UpgradeKey", kNoInstance, "KM: DeleteKey", kNoInstance,
                                      "KM: Begin", kNoInstance));
  // The arguments are judged before the device is missed.
  EXPECT_EQ(service.GenerateKey({}, std::nullopt, &blob, &characteristics, nullptr), -32);
  EXPECT_EQ(service.UpgradeKey({}, {}, &none), -33);
  EXPECT_EQ(service.DeleteKey(nullptr, false), -32);
  EXPECT_THAT(log.Take(),
              ElementsAre("KM: GenerateKey", "KM: invalid key blob not cleanup", "KM: UpgradeKey",
                          "KM: invalid keyBlobToUpgrade as it's empty", "KM: DeleteKey",
                          "KM: invalid key blob pointer"));
}

TEST_F(KeyMintServiceTest, MapsEveryKindOfStatusToACode) {
  EXPECT_EQ(KeyMintService::GetReturnErrorCode(ScopedAStatus::ok()), 0);
  EXPECT_EQ(KeyMintService::GetReturnErrorCode(ScopedAStatus::fromServiceSpecificError(-25)), -25);
  EXPECT_EQ(KeyMintService::GetReturnErrorCode(ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT)),
            -1000);
  EXPECT_EQ(KeyMintService::GetReturnErrorCode(ScopedAStatus()), -1000);
  // A failure all the same, and passed through as the service said it.
  EXPECT_EQ(KeyMintService::GetReturnErrorCode(ScopedAStatus::fromServiceSpecificError(0)), 0);
}

TEST_F(KeyMintServiceTest, NewKeysHaveTheirOutputsCheckedInOrderBeforeTheDevice) {
  EXPECT_CALL(*keymint_.device, generateKey).Times(0);
  EXPECT_CALL(*keymint_.device, importKey).Times(0);
  blob_ = kBlob;
  EXPECT_EQ(service_.GenerateKey({}, std::nullopt, nullptr, nullptr, nullptr), -32);
  EXPECT_EQ(service_.GenerateKey({}, std::nullopt, &blob_, nullptr, nullptr), -32);
  EXPECT_EQ(service_.GenerateKey({}, std::nullopt, &blob_, &characteristics_, nullptr), -32);
  EXPECT_EQ(service_.ImportKey({}, km::KeyFormat::RAW, "", nullptr, nullptr), -32);
  EXPECT_EQ(service_.ImportKey({}, km::KeyFormat::RAW, "", &blob_, nullptr), -32);
  EXPECT_EQ(blob_, kBlob);
  EXPECT_THAT(log_.messages(), ElementsAre("KM: GenerateKey", "KM: invalid key blob pointer",
                                           "KM: GenerateKey", "KM: invalid key characteristics",
                                           "KM: GenerateKey", "KM: invalid key blob not cleanup",
                                           "KM: ImportKey", "KM: invalid key blob pointer",
                                           "KM: ImportKey", "KM: invalid key characteristics"));
}

TEST_F(KeyMintServiceTest, TheGeneratedChainMustFitTheAlgorithmAndIsHandedOutEitherWay) {
  const std::string asymmetric = "KM: invalid cert chain for asymmetric key";
  const std::string symmetric = "KM: invalid cert chain for symmetric key";
  const AuthorizationSet wrong_type({{km::Tag::ALGORITHM, km::KeyParameterValue(km::Digest::MD5)}});
  const std::tuple<AuthorizationSet, size_t, int, std::string> rows[] = {
      {Builder().RsaKey(2048, 3), 1, 0, "KM: GenerateKey"},
      {Builder().EcdsaKey(256), 0, -33, asymmetric},
      {Builder().AesKey(128), 1, -33, symmetric},
      {Builder().AesKey(128).EcdsaKey(256), 0, 0, "KM: GenerateKey"},
      {wrong_type, 1, -33, symmetric}};
  for (const auto& [params, certificates, result, last_message] : rows) {
    LetGenerate(kBlob, certificates);
    blob_.clear();
    EXPECT_EQ(Generate(params), result);
    EXPECT_EQ(blob_, kBlob);
    EXPECT_THAT(characteristics_, SizeIs(1));
    EXPECT_THAT(chain_, SizeIs(certificates));
    EXPECT_EQ(log_.Take().back(), last_message);

    // The chain may be unwanted, and is judged all the same.
    LetGenerate(kBlob, certificates);
    blob_.clear();
    EXPECT_EQ(GenerateWithoutChain(params), result);
    EXPECT_EQ(blob_, kBlob);
    EXPECT_EQ(log_.Take().back(), last_message);
  }
}

TEST_F(KeyMintServiceTest, AKeyWithoutBlobIsNoKey) {
  LetGenerate({}, 1);
  chain_.resize(2);
  EXPECT_EQ(Generate(Builder().RsaKey(2048, 3)), -6);
  EXPECT_THAT(chain_, SizeIs(2));
  EXPECT_CALL(*keymint_.device, importKey).WillOnce(Succeeds(km::KeyCreationResult()));
  EXPECT_EQ(Import(&blob_), -6);
  EXPECT_THAT(log_.messages(),
              ElementsAre("KM: GenerateKey", "KM: invalid key blob size", "KM: ImportKey",
                          "KM: invalid keyblob length afer import"));
}

TEST_F(KeyMintServiceTest, DeleteKeyEmptiesTheCallersBlobUnlessItIsToBeKept) {
  for (const auto& [code, keep] :
       {std::pair(0, false), std::pair(-49, false), std::pair(0, true), std::pair(-49, true)}) {
    EXPECT_CALL(*keymint_.device, deleteKey(kBlob)).WillOnce([code = code](auto&&) {
      return code == 0 ? ScopedAStatus::ok() : ScopedAStatus::fromServiceSpecificError(code);
    });
    Bytes blob = kBlob;
    EXPECT_EQ(service_.DeleteKey(&blob, keep), code);
    EXPECT_EQ(blob, keep ? kBlob : Bytes());
    EXPECT_EQ(blob.capacity() == 0, !keep);
  }
}

TEST_F(KeyMintServiceTest, ImportKeyEmptiesItsOutputsAndSendsTheRawBytes) {
  EXPECT_CALL(*keymint_.device, importKey(Builder().AesKey(128).vector_data(), km::KeyFormat::RAW,
                                          Bytes{'k', 0, 'y'}, ::testing::Eq(std::nullopt), _))
      .WillOnce(Fails(-49));
  blob_ = kBlob;
  characteristics_.resize(2);
  EXPECT_EQ(Import(&blob_), -49);
  EXPECT_THAT(blob_, IsEmpty());
  EXPECT_THAT(characteristics_, IsEmpty());

  EXPECT_EQ(Import(nullptr), -32);
  EXPECT_EQ(log_.messages().back(), "KM: invalid key blob pointer");
}

TEST_F(KeyMintServiceTest, UpgradeKeyTellsDoneFromUnneededByItsOutput) {
  Bytes upgraded;
  const AuthorizationSet params = Builder().SigningKey();
  EXPECT_CALL(*keymint_.device, upgradeKey(kBlob, params.vector_data(), _))
      .WillOnce(Succeeds(Bytes()))
      .WillOnce(Succeeds(Bytes{4}));
  EXPECT_EQ(service_.UpgradeKey(kBlob, params, &upgraded), 0);
  EXPECT_THAT(upgraded, IsEmpty());
  EXPECT_EQ(service_.UpgradeKey(kBlob, params, &upgraded), 0);
  EXPECT_THAT(upgraded, ElementsAre(4));

  EXPECT_EQ(service_.UpgradeKey({}, params, nullptr), -32);
  EXPECT_EQ(service_.UpgradeKey({}, params, &upgraded), -38);
  upgraded.clear();
  EXPECT_EQ(service_.UpgradeKey({}, params, &upgraded), -33);
  EXPECT_THAT(log_.messages(),
              ElementsAre("KM: UpgradeKey", "KM: key blob did not require upgrade",
                          "KM: UpgradeKey", "KM: UpgradeKey", "KM: invalid upgradedKeyBlob pointer",
                          "KM: UpgradeKey", "KM: invalid output keyblob as it's not reset",
                          "KM: UpgradeKey", "KM: invalid keyBlobToUpgrade as it's empty"));
}

TEST_F(KeyMintServiceTest, AnOperationLivesFromBeginToFinish) {
  std::string output = "kept ";
  EXPECT_EQ(service_.Update("x", &output), -32);
  ASSERT_EQ(service_.Begin(km::KeyPurpose::SIGN, kBlob, {}), 0);

  EXPECT_CALL(*keymint_.operation, update(Bytes{'a'}, ::testing::Eq(std::nullopt), _, _))
      .WillOnce(Succeeds(Bytes{'A', 0}))
      .WillOnce(Fails(-21));
  EXPECT_EQ(service_.Update("a", &output), 0);
  EXPECT_EQ(service_.Update("a", &output), -21);
  EXPECT_CALL(*keymint_.operation, finish(Optional(Bytes{'b'}), Optional(Bytes()), _, _, _, _))
      .WillOnce(Succeeds(Bytes{'B'}));
  EXPECT_EQ(service_.Update("a", nullptr), -32);
  EXPECT_EQ(service_.Finish("b", "", nullptr), -32);
  EXPECT_EQ(service_.Finish("b", "", &output), 0);
  EXPECT_EQ(output, std::string("kept A\0B", 8));
  EXPECT_EQ(service_.Finish("b", "", &output), -32);
  EXPECT_THAT(log_.Take(), ElementsAre("KM: Update", "KM: invalid keymint operation handle",
                                       "KM: Begin", "KM: Update", "KM: Update", "KM: Update",
                                       "KM: invalid keymint output buffer", "KM: Finish",
                                       "KM: invalid output to hold the data", "KM: Finish",
                                       "KM: Finish", "KM: invalid keymint operation handle"));

  // One that fails is over as well.
  ASSERT_EQ(service_.Begin(km::KeyPurpose::SIGN, kBlob, {}), 0);
  EXPECT_CALL(*keymint_.operation, finish).WillOnce(Fails(-30));
  EXPECT_EQ(service_.Finish("b", "", &output), -30);
  EXPECT_EQ(service_.Update("b", &output), -32);
}

TEST_F(KeyMintServiceTest, AFailedBeginKeepsTheOperationAndASuccessfulOneReplacesItWithoutAbort) {
  ASSERT_EQ(service_.Begin(km::KeyPurpose::SIGN, kBlob, {}), 0);
  km::BeginResult with_nonce = orx_test::MockKeyMintDevice::Begun(keymint_.operation);
  with_nonce.params = Builder().Authorization(TAG_NONCE, "n").vector_data();
  EXPECT_CALL(*keymint_.device, begin)
      .WillOnce(Fails(-62))
      .WillOnce(Succeeds(with_nonce))
      .WillOnce(Succeeds(orx_test::MockKeyMintDevice::Begun(nullptr)));
  EXPECT_EQ(service_.Begin(km::KeyPurpose::SIGN, kBlob, {}), -62);
  EXPECT_EQ(service_.Begin(km::KeyPurpose::SIGN, kBlob, {}), -27);
  EXPECT_CALL(*keymint_.operation, abort).Times(0);
  std::string output;
  EXPECT_EQ(service_.Update("still there", &output), 0);
  EXPECT_EQ(service_.Begin(km::KeyPurpose::SIGN, kBlob, {}), 0);
  EXPECT_EQ(service_.Update("gone", &output), -32);
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
