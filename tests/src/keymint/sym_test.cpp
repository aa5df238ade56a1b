// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "src/keymint/ORX_SYM.h"
#include "tests/support/log_capture.h"
#include "tests/support/mock_keymint.h"
#include "tests/support/parameter_text.h"

namespace android::hardware::keymint::ORX {
namespace {

using ::ndk::ScopedAStatus;
using orx_test::Fails;
using orx_test::SucceedsWithoutResult;
using orx_test::Text;
using ::testing::_;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::NiceMock;
using Bytes = std::vector<uint8_t>;

constexpr char kAesFile50[] = "/mnt/vendor/persist/security/zol_key_user0";
constexpr char kFile52[] = "/mnt/vendor/persist/security/zol_key_user2";
constexpr uint8_t kKey[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                              0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
constexpr char kCreate[] = "Create symmetric keymint service instance";  // at the first call
constexpr uint8_t kIv[16] = {9, 8, 7};

std::string FileContent(const char* path) {
  std::string content;
  return base::ReadFileToString(path, &content) ? content : "(none)";
}

mode_t ModeOf(const char* path) {
  struct stat status = {};
  EXPECT_EQ(stat(path, &status), 0);
  return status.st_mode & 07777;
}

class SymTest : public ::testing::Test {
 protected:
  void SetUp() override {
    umask(0);
    ON_CALL(*device_, importKey).WillByDefault([this](auto&&, auto&&, auto&&, auto&&, auto* out) {
      out->keyBlob = blob_;
      return ScopedAStatus::ok();
    });
  }
  uint32_t Import(int key_id = 50) {
    return ORX_SYM_ImportProtectedKey(0, key_id, kKey, sizeof kKey, &context_);
  }
  uint32_t Begin() { return ORX_SYM_EncryptBegin(context_, kIv, sizeof kIv, 0); }

  static int SelectedId() {
    int id = -1;
    ORX_SYM_GetIDFromContext(nullptr, &id);
    return id;
  }

  // The messages since the last call, without those of the KeyMint client.
  std::vector<std::string> SymMessages() { return log_.Take("src/keymint/ORX_SYM.cpp"); }

  orx_test::MockKeyMint keymint_;
  const std::shared_ptr<NiceMock<orx_test::MockKeyMintDevice>> device_ = keymint_.device;
  const std::shared_ptr<NiceMock<orx_test::MockOperation>> operation_ = keymint_.operation;
  Bytes blob_ = Bytes(300, 0x5a);
  ORX_SYM_CONTEXT* context_ = reinterpret_cast<ORX_SYM_CONTEXT*>(&blob_);
  orx_test::LogCapture log_;
};

TEST_F(SymTest, ImportAsksForAnAesCbcKeyStoresItsBlobAndSelectsIt) {
  EXPECT_CALL(*device_, importKey)
      .WillOnce([this](const auto& params, km::KeyFormat format, const Bytes& key,
                       const auto& attestation_key, auto* out) {
        EXPECT_EQ(Text(params),
                  "NO_AUTH_REQUIRED=true CALLER_NONCE=true ALGORITHM=AES KEY_SIZE=128 "
                  "PURPOSE=ENCRYPT PURPOSE=DECRYPT BLOCK_MODE=CBC PADDING=NONE ");
        EXPECT_EQ(format, km::KeyFormat::RAW);
        EXPECT_EQ(key, Bytes(kKey, kKey + sizeof kKey));
        EXPECT_FALSE(attestation_key);
        out->keyBlob = blob_;
        return ScopedAStatus::ok();
      });
  EXPECT_EQ(Import(), 0u);
  EXPECT_EQ(context_, nullptr);
  EXPECT_EQ(current_key_blob_, blob_);
  EXPECT_EQ(ModeOf(kAesFile50), 0666u);
  EXPECT_EQ(SelectedId(), 50);
  EXPECT_THAT(log_.messages(),
              ElementsAre("SYM: Importing key for keyid=50", kCreate, "strongbox was 0",
                          "KM: ImportKey", "SYM: Importing key with len: 300",
                          "SYM: Key blob size: 300 for 50 is loaded ok"));
}

TEST_F(SymTest, ImportChecksItsArgumentsInOrderBeforeKeyMintIsAsked) {
  const struct {
    int key_type, key_id;
    const uint8_t* key;
    int length;
    ORX_SYM_CONTEXT** context;
    const char* message;
  } rows[] = {{1, 0, kKey, 15, &context_, "SYM: No symmetric key to import"},
              {1, 50, nullptr, 15, &context_, "SYM: No symmetric key to import"},
              {1, 50, kKey, 15, nullptr, "SYM: No symmetric key to import"},
              {1, 50, kKey, 32, &context_, "SYM: Invalid key length 32 for id 50"},
              {1, 50, kKey, 16, &context_, "SYM: Key algorithm or size 1"}};
  EXPECT_CALL(*device_, importKey).Times(0);
  for (const auto& [key_type, key_id, key, length, context, message] : rows) {
    EXPECT_EQ(ORX_SYM_ImportProtectedKey(key_type, key_id, key, length, context), 1u);
    EXPECT_EQ(SymMessages().back(), message);
  }
}

TEST_F(SymTest, ImportUnderAnIdWithoutFileFailsOnlyAfterKeyMintHasTheKey) {
  EXPECT_CALL(*device_, importKey);
  EXPECT_EQ(Import(99), 1u);
  EXPECT_THAT(SymMessages(), ElementsAre("SYM: Importing key for keyid=99", kCreate,
                                         "SYM: Could not find a repository for keyid=99"));
}

TEST_F(SymTest, NothingIsStoredThroughALink) {
  const char target[] = "/mnt/vendor/persist/security/elsewhere";
  ASSERT_TRUE(base::WriteStringToFile("kept", target));
  ASSERT_EQ(symlink(target, kAesFile50), 0);
  EXPECT_EQ(Import(), 1u);
  EXPECT_EQ(FileContent(target), "kept");
  EXPECT_EQ(FileContent(kAesFile50), "(none)");
  EXPECT_THAT(SymMessages(), Contains("SYM: Fail to store key blob to filesystem"));
}

TEST_F(SymTest, AFileOfAnotherLengthIsRefusedAndTheSelectionStays) {
  ASSERT_EQ(Import(), 0u);
  ASSERT_EQ(Import(51), 0u);
  ASSERT_EQ(truncate(kAesFile50, 299), 0);
  // One that was loaded first has its length recorded as well.
  ASSERT_TRUE(base::WriteStringToFile("found", kFile52));
  ASSERT_EQ(ORX_SYM_GetContextForID(&context_, 52), 0u);
  // As after an import by the RSA functions, which record sizes of their own.
  ASSERT_EQ(store_key_blob(52, Bytes(6, 'r')), 0);
  for (const int id : {50, 52}) {
    log_.Clear();
    EXPECT_EQ(ORX_SYM_GetContextForID(&context_, id), 1u);
    EXPECT_THAT(log_.messages(), ElementsAre("SYM: Failed to load correct keyblob"));
  }
  EXPECT_EQ(SelectedId(), 52);
  EXPECT_EQ(current_key_blob_, (Bytes{'f', 'o', 'u', 'n', 'd'}));
}

// What a process that is killed while it stores leaves behind.
TEST_F(SymTest, AnEmptyBlobIsSelectedAndRefusedByTheDevice) {
  ASSERT_TRUE(base::WriteStringToFile("", kAesFile50));
  EXPECT_EQ(ORX_SYM_GetContextForID(&context_, 50), 0u);
  EXPECT_CALL(*device_, begin(_, Bytes(), _, _, _)).WillOnce(Fails(-33));
  EXPECT_EQ(Begin(), 1u);
}

TEST_F(SymTest, AFailureOfCode0CountsAsAnImportOfAnEmptyBlob) {
  ASSERT_EQ(Import(), 0u);
  ASSERT_EQ(chmod(kAesFile50, 0640), 0);
  EXPECT_CALL(*device_, importKey).WillOnce(Fails(0));
  log_.Clear();
  EXPECT_EQ(Import(), 0u);
  EXPECT_THAT(SymMessages(),
              ElementsAre("SYM: Importing key for keyid=50", "SYM: Importing key with len: 0",
                          "SYM: Key blob size: 0 for 50 is loaded ok"));
  EXPECT_EQ(FileContent(kAesFile50), "");
  EXPECT_EQ(ModeOf(kAesFile50), 0640u) << "an existing file keeps its mode";
  EXPECT_EQ(current_key_blob_, Bytes());
}

TEST_F(SymTest, SelectingChecksIdContextTableAndFileInThisOrder) {
  EXPECT_EQ(ORX_SYM_GetContextForID(nullptr, 0), 1u);
  EXPECT_EQ(ORX_SYM_GetContextForID(nullptr, 99), 1u);
  EXPECT_EQ(ORX_SYM_GetContextForID(&context_, 99), 1u);
  EXPECT_EQ(ORX_SYM_GetContextForID(&context_, 17), 1u);
  EXPECT_THAT(log_.messages(), ElementsAre("SYM: Invalid key id", "SYM: Invalid crypto context",
                                           "SYM: keyid=99 not found from the key list",
                                           "SYM: Failed to read key blob from "
                                           "/mnt/vendor/persist/security/zol_key_cek"));
  EXPECT_NE(context_, nullptr);
}

TEST_F(SymTest, BeginChecksSelectionIvAndModeInThisOrder) {
  EXPECT_CALL(*device_, begin).Times(0);
  EXPECT_EQ(ORX_SYM_EncryptBegin(context_, nullptr, 16, 2), 1u);
  EXPECT_THAT(SymMessages(),
              ElementsAre("SYM: Begin with keyid=0, mode:2", kCreate, "SYM: No key loaded"));
  ASSERT_EQ(Import(), 0u);
  log_.Clear();
  EXPECT_EQ(ORX_SYM_EncryptBegin(context_, nullptr, 16, 2), 1u);
  EXPECT_EQ(ORX_SYM_EncryptBegin(context_, kIv, 16, 2), 1u);
  EXPECT_THAT(SymMessages(),
              ElementsAre("SYM: Begin with keyid=50, mode:2", "SYM: Invalid initial vector",
                          "SYM: Begin with keyid=50, mode:2", "SYM: Unsupported key mode"));
}

TEST_F(SymTest, ANegativeIvLengthIsAnEmptyNonceAndARefusedBeginIsNotUpgraded) {
  ASSERT_EQ(Import(), 0u);
  EXPECT_CALL(*device_, begin).WillOnce([](auto&&, auto&&, const auto& params, auto&&, auto*) {
    EXPECT_EQ(Text(params), "BLOCK_MODE=CBC NONCE=[] PADDING=NONE ");
    return ScopedAStatus::fromServiceSpecificError(-62);
  });
  EXPECT_CALL(*device_, upgradeKey).Times(0);
  EXPECT_EQ(ORX_SYM_EncryptBegin(context_, kIv, -1, 0), 1u);
  EXPECT_THAT(SymMessages(), Contains("SYM: AES begin (encrypt) failed, code:-62, blob size:300"));
}

TEST_F(SymTest, FinishCopiesAtMostTheInputLengthAndLeavesTheLengthAlone) {
  ASSERT_EQ(Import(), 0u);
  for (const auto& [produced, copied] : {std::pair(16, 16), std::pair(0, 0), std::pair(48, 32)}) {
    log_.Clear();
    ASSERT_EQ(Begin(), 0u);
    EXPECT_THAT(SymMessages(), ElementsAre("SYM: Begin with keyid=50, mode:0",
                                           "SYM: AES begin (encrypt) operation OK"));
    EXPECT_CALL(*operation_, finish(::testing::Optional(Bytes(32, 'i')), _, _, _, _, _))
        .WillOnce(orx_test::Succeeds(Bytes(static_cast<size_t>(produced), 'o')));
    const Bytes input(32, 'i');
    std::string output(64, '-');
    uint32_t length = 32;
    EXPECT_EQ(
        ORX_SYM_Encrypt(context_, input.data(), reinterpret_cast<uint8_t*>(output.data()), &length),
        0u);
    EXPECT_EQ(length, 32u);
    EXPECT_EQ(output, std::string(copied, 'o') + std::string(64 - copied, '-'));
    EXPECT_THAT(SymMessages(),
                ElementsAre("SYM: Operation with key id=50",
                            "SYM: Finish with output size: " + std::to_string(produced)));
  }
}

TEST_F(SymTest, FinishNamesNullBuffers) {
  ASSERT_EQ(Import(), 0u);
  ASSERT_EQ(Begin(), 0u);
  log_.Clear();
  uint8_t output[16];
  uint32_t none = 0, length = 16;
  EXPECT_EQ(ORX_SYM_Decrypt(context_, nullptr, output, &none), 1u);
  EXPECT_EQ(ORX_SYM_Decrypt(context_, kIv, nullptr, &length), 1u);
  EXPECT_THAT(SymMessages(),
              ElementsAre("SYM: Operation with key id=50", "SYM: Invalid input parameters",
                          "SYM: Operation with key id=50", "SYM: Invalid input parameters"));
  // A message at a null pointer ends the process.
  EXPECT_DEATH(ORX_SYM_Decrypt(context_, nullptr, output, &length), "");
}

TEST_F(SymTest, OnlyTheSelectedKeyIsDeletedAndItsFileStays) {
  ASSERT_EQ(Import(), 0u);
  log_.Clear();
  EXPECT_CALL(*device_, deleteKey).Times(0);
  EXPECT_EQ(ORX_SYM_DeleteKeyID(51), 1u);
  EXPECT_THAT(log_.messages(), ElementsAre("SYM: Deleting key for keyid=51"));
  ::testing::Mock::VerifyAndClearExpectations(device_.get());

  EXPECT_CALL(*device_, deleteKey(blob_)).WillOnce(SucceedsWithoutResult());
  EXPECT_EQ(ORX_SYM_DeleteKeyID(50), 0u);
  EXPECT_EQ(current_key_blob_.capacity(), 0u);
  EXPECT_NE(FileContent(kAesFile50), "(none)");
  EXPECT_EQ(SelectedId(), -1);
}

TEST_F(SymTest, ARefusedDeleteKeepsTheIdSelectedWithAnEmptyBlob) {
  ASSERT_EQ(Import(), 0u);
  EXPECT_CALL(*device_, deleteKey(blob_)).WillOnce(Fails(-49));
  EXPECT_EQ(ORX_SYM_DeleteKeyID(50), 1u);
  EXPECT_THAT(SymMessages(), Contains("SYM: delete key failed: -49"));
  EXPECT_EQ(SelectedId(), 50);
  EXPECT_EQ(current_key_blob_.capacity(), 0u);
  EXPECT_CALL(*device_, begin(_, Bytes(), _, _, _)).WillOnce(Fails(-33));
  EXPECT_EQ(Begin(), 1u);
}

TEST_F(SymTest, WithNothingSelectedId0DeletesWhatBlobThereIs) {
  EXPECT_CALL(*device_, deleteKey(Bytes())).WillOnce(SucceedsWithoutResult());
  EXPECT_EQ(ORX_SYM_DeleteKeyID(0), 0u);
  ASSERT_EQ(Import(), 0u);
  ORX_SYM_DestroyContext(nullptr);
  EXPECT_CALL(*device_, deleteKey(blob_)).WillOnce(SucceedsWithoutResult());
  EXPECT_EQ(ORX_SYM_DeleteKeyID(0), 0u);
  EXPECT_EQ(current_key_blob_, Bytes());
}

TEST_F(SymTest, OnlyASuccessfulBeginDropsThePendingOperation) {
  EXPECT_CALL(*device_, begin)
      .WillOnce(orx_test::Succeeds(orx_test::MockKeyMintDevice::Begun(operation_)))
      .WillOnce(Fails(-62))
      .WillOnce(orx_test::Succeeds(orx_test::MockKeyMintDevice::Begun(operation_)))
      .WillOnce(orx_test::Succeeds(orx_test::MockKeyMintDevice::Begun(nullptr)));
  uint8_t output[16];
  uint32_t length = 16;
  ASSERT_EQ(Import(), 0u);
  EXPECT_EQ(Begin(), 0u);
  EXPECT_EQ(Begin(), 1u);
  EXPECT_EQ(Import(51), 0u);
  EXPECT_EQ(ORX_SYM_DeleteKeyID(51), 0u);
  EXPECT_EQ(ORX_SYM_DestroyContext(nullptr), 0u);
  EXPECT_EQ(ORX_SYM_Encrypt(nullptr, kIv, output, &length), 0u) << "the first Begin's";
  EXPECT_EQ(ORX_SYM_Encrypt(nullptr, kIv, output, &length), 1u) << "which is over";
  ASSERT_EQ(Import(), 0u);
  EXPECT_EQ(Begin(), 0u);
  EXPECT_EQ(Begin(), 0u);
  EXPECT_EQ(ORX_SYM_Encrypt(nullptr, kIv, output, &length), 1u) << "the last Begin's is null";
  EXPECT_EQ(SymMessages().back(), "SYM: Finish failed with code: -32");
}

TEST_F(SymTest, DestroyingTheContextClearsTheSelectionButNotTheBlob) {
  ASSERT_EQ(Import(), 0u);
  EXPECT_EQ(ORX_SYM_DestroyContext(context_), 0u);
  EXPECT_EQ(current_key_blob_, blob_);
  log_.Clear();
  EXPECT_EQ(SelectedId(), -1);
  EXPECT_THAT(log_.messages(), ElementsAre("SYM: current key id is invalid"));
}

TEST(SymWithoutDeviceTest, EveryCallFailsAndTheServiceIsNotLookedUpAgain) {
  android_host::DisableDeviceModule();
  orx_test::LogCapture log;
  ORX_SYM_CONTEXT* context = nullptr;
  EXPECT_EQ(ORX_SYM_ImportProtectedKey(0, 50, kKey, sizeof kKey, &context), 1u);
  EXPECT_EQ(log.messages().back(), "SYM: Import key failed with error: -32\n");

  // A service that appears later does not help this process: the first look-up is kept.
  orx_test::MockKeyMint late;
  EXPECT_CALL(*late.device, importKey).Times(0);
  EXPECT_EQ(ORX_SYM_ImportProtectedKey(0, 50, kKey, sizeof kKey, &context), 1u);
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
