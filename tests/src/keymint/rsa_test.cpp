// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "src/keymint/ORX_RSA.h"
#include "tests/support/interposed/crypto_memory.h"
#include "tests/support/log_capture.h"
#include "tests/support/mock_keymint.h"
#include "tests/support/parameter_text.h"
#include "tests/support/rsa_components.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::Bytes;
using orx_test::ComponentsOf;
using orx_test::Fails;
using orx_test::kRsaComponentNames;
using orx_test::NewRsaKey;
using orx_test::RsaComponents;
using orx_test::Succeeds;
using orx_test::Text;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kFile50 = "/mnt/vendor/persist/security/zol_key_user0";
constexpr char kLoaded[] = "RSA: loaded key blob size: 6 for keyid 50";

Bytes ToBytes(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

std::string FileContent(const std::string& path) {
  std::string content;
  return base::ReadFileToString(path, &content) ? content : "(none)";
}

class RsaTest : public ::testing::Test {
 protected:
  void SetUp() override { umask(0); }

  // The messages since the last call, without those of the KeyMint client.
  std::vector<std::string> TakeMessages() { return log_.Take("src/keymint/ORX_RSA.cpp"); }

  // Puts a key blob into the file of key 50.
  void StoreBlob(const std::string& blob = "stored") {
    ASSERT_EQ(store_key_blob(50, ToBytes(blob)), 0);
    log_.Clear();
  }

  uint32_t Sign(uint32_t capacity = sizeof(output_)) {
    length_ = capacity;
    std::fill_n(output_, sizeof output_, uint8_t{'-'});
    return ORX_RSA_Sign(50, data_, output_, sizeof data_, &length_, 2, 1);
  }
  std::string Output() const { return {output_, output_ + sizeof output_}; }

  orx_test::MockKeyMint keymint_;
  orx_test::MockKeyMintDevice& device_ = *keymint_.device;
  orx_test::MockOperation& operation_ = *keymint_.operation;
  const uint8_t data_[4] = {'d', 'a', 't', 'a'};
  uint8_t output_[12] = {};
  uint32_t length_ = 0;
  orx_test::LogCapture log_;
};

// --- The blob files

TEST_F(RsaTest, LoadingNamesWhyThereIsNoBlob) {
  EXPECT_THAT(load_key_blob(0), IsEmpty());
  EXPECT_THAT(load_key_blob(15), IsEmpty());
  // What was read of the file stands where one would expect its path.
  EXPECT_THAT(load_key_blob(50), IsEmpty());
  ASSERT_EQ(symlink("/proc/version", kFile50.c_str()), 0);
  EXPECT_THAT(load_key_blob(50), IsEmpty());
  ASSERT_EQ(unlink(kFile50.c_str()), 0);
  // The first load takes any length, the later ones only that one.
  ASSERT_TRUE(base::WriteStringToFile("stored", kFile50));
  EXPECT_EQ(load_key_blob(50), ToBytes("stored"));
  ASSERT_EQ(truncate(kFile50.c_str(), 7), 0);
  EXPECT_THAT(load_key_blob(50), IsEmpty());
  EXPECT_THAT(log_.Take(), ElementsAre("RSA: key blob not found", "RSA: failed to read RSA from ",
                                       "RSA: failed to read RSA from ", kLoaded,
                                       "RSA: failed to load correct RSA keyblob"));
}

TEST_F(RsaTest, EachIdHasItsFileWithModeAndExactBytes) {
  for (const auto& [id, name] :
       {std::pair(17, "cek"), std::pair(14, "iprm"), std::pair(50, "user0"), std::pair(51, "user1"),
        std::pair(52, "user2")}) {
    const std::string path = std::string("/mnt/vendor/persist/security/zol_key_") + name;
    const Bytes blob(static_cast<size_t>(id), static_cast<uint8_t>(id));
    EXPECT_EQ(store_key_blob(id, blob), 0);
    EXPECT_EQ(ToBytes(FileContent(path)), blob);
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660u);
    EXPECT_EQ(load_key_blob(id), blob);
    EXPECT_EQ(store_key_blob(id, ToBytes("shorter")), 0);
    EXPECT_EQ(FileContent(path), "shorter");
  }
}

TEST_F(RsaTest, NothingIsStoredThroughALink) {
  ASSERT_EQ(symlink("/dev/null", kFile50.c_str()), 0);
  EXPECT_EQ(store_key_blob(50, ToBytes("stored")), 1);
  EXPECT_THAT(log_.Take(), ElementsAre("RSA: key with size:6 being saved to filesystem",
                                       "RSA: write asymmetric key file " + kFile50 + " failed"));
  EXPECT_EQ(FileContent(kFile50), "(none)");
}

// --- Import of an encoded key

TEST_F(RsaTest, ImportDeclaresEveryUseAndWipesTheCallersKey) {
  EXPECT_CALL(device_, importKey)
      .WillOnce([](const auto& params, km::KeyFormat format, const Bytes& key,
                   const auto& attestation_key, auto* result) {
        EXPECT_EQ(Text(params),
                  "NO_AUTH_REQUIRED=true ALGORITHM=RSA KEY_SIZE=2048 RSA_PUBLIC_EXPONENT=65537 "
                  "PURPOSE=SIGN PURPOSE=VERIFY PURPOSE=ENCRYPT PURPOSE=DECRYPT DIGEST=SHA1 "
                  "DIGEST=SHA_2_256 PADDING=RSA_PKCS1_1_5_SIGN PADDING=RSA_PKCS1_1_5_ENCRYPT "
                  "PADDING=NONE CERTIFICATE_NOT_BEFORE=0 CERTIFICATE_NOT_AFTER=253402300799000 ");
        EXPECT_EQ(format, km::KeyFormat::PKCS8);
        EXPECT_EQ(key, Bytes(1218, 'k'));
        EXPECT_FALSE(attestation_key);
        *result = orx_test::MockKeyMintDevice::Created("new blob");
        return ::ndk::ScopedAStatus::ok();
      });
  Bytes key(1219, 'k');
  EXPECT_EQ(ORX_RSA_ImportKey(key.data(), 1218, 1, 50), 0u);
  EXPECT_EQ(FileContent(kFile50), "new blob");
  EXPECT_EQ(key.back(), 'k');
  key.pop_back();
  EXPECT_EQ(key, Bytes(1218, 0));
  EXPECT_THAT(log_.messages(),
              ElementsAre("strongbox was 0", "Import 2048 bit RSA key", "KM: ImportKey",
                          "RSA: key with size:8 being saved to filesystem"));
}

TEST_F(RsaTest, TheLengthOfTheEncodingDeclaresTheKeySize) {
  for (const auto& [length, bits] : {std::pair(2000, "2048"), std::pair(2001, "4096")}) {
    Bytes key(static_cast<size_t>(length), 'k');
    EXPECT_CALL(device_, importKey).WillOnce([bits = bits](const auto& params, auto&&...) {
      EXPECT_THAT(Text(params), testing::HasSubstr(std::string("KEY_SIZE=") + bits + " "));
      return ::ndk::ScopedAStatus::fromServiceSpecificError(0);
    });
    // A failure of code 0 counts as an import of an empty blob.
    EXPECT_EQ(ORX_RSA_ImportKey(key.data(), static_cast<uint32_t>(length), 1, 50), 0u);
    EXPECT_EQ(FileContent(kFile50), "");
    EXPECT_THAT(TakeMessages(), ElementsAre(std::string("Import ") + bits + " bit RSA key",
                                            "RSA: key with size:0 being saved to filesystem"));
  }
}

TEST_F(RsaTest, AnImportUnderAnIdWithoutFileFailsOnlyAfterKeyMintHasTheKey) {
  EXPECT_CALL(device_, importKey);
  uint8_t key[10] = {'k'};
  EXPECT_EQ(ORX_RSA_ImportKey(key, sizeof key, 1, 99), 1u);
  EXPECT_EQ(TakeMessages().back(), "RSA: Could not find a repository for keyid=99");
}

TEST_F(RsaTest, WrappedKeysAreRefusedUntouched) {
  EXPECT_CALL(device_, importKey).Times(0);
  Bytes key(5000, 'k');
  EXPECT_EQ(ORX_RSA_ImportKey(key.data(), 4098, 0, 50), 1u);
  EXPECT_THAT(TakeMessages(), ElementsAre("RSA: unwrap failed"));
  EXPECT_EQ(ORX_RSA_ImportKey(key.data(), 4099, 0, 50), 1u);
  EXPECT_THAT(TakeMessages(), ElementsAre("wrapped key too big", "RSA: unwrap failed"));
  EXPECT_EQ(key, Bytes(5000, 'k'));
}

// --- Import of components

uint32_t Import(const RsaComponents& components) {
  return orx_test::ImportRsaComponents(components, 50);
}

TEST_F(RsaTest, ComponentsAreMadeAKeyWhoseEncodingTellsItsSize) {
  RsaComponents components = ComponentsOf(NewRsaKey(4096).get());
  components[0].insert(components[0].begin(), 3, 0);  // leading zeros are allowed
  std::string length;
  EXPECT_CALL(device_, importKey).WillOnce([&](auto&&, auto&&, const Bytes& key, auto&&, auto*) {
    length = std::to_string(key.size());
    return ::ndk::ScopedAStatus::fromServiceSpecificError(-38);
  });
  EXPECT_EQ(Import(components), 1u);
  EXPECT_THAT(
      TakeMessages(),
      ElementsAre("RSA:key measured length:" + length, "RSA: current pk type:6, size:" + length,
                  "Import 4096 bit RSA key", "RSA: import key failed, code:-38"));
}

TEST_F(RsaTest, ComponentsThatMakeNoKeyAreRefusedBeforeTheDevice) {
  const RsaComponents good = ComponentsOf(NewRsaKey(1024).get());
  const RsaComponents other = ComponentsOf(NewRsaKey(1024).get());
  EXPECT_CALL(device_, importKey).Times(0);
  orx_test::CryptoMemory memory;
  Bytes beyond_any_number(70 << 20, 0xa5);
  for (size_t i = 0; i < good.size(); ++i) {
    Bytes nothing, longer(good[i].size() + 1, 0xff), of_another = other[i];
    for (Bytes* bad : {&nothing, &longer, &beyond_any_number, &of_another}) {
      if (*bad == good[i]) continue;  // both keys have the same exponent
      RsaComponents components = good;
      components[i].swap(*bad);
      EXPECT_EQ(Import(components), 1u) << kRsaComponentNames[i] << " of " << components[i].size();
      EXPECT_THAT(TakeMessages(), ElementsAre("RSA: the components make no RSA private key"));
      components[i].swap(*bad);
    }
  }
  // A null pointer is an empty component whatever its length.
  EXPECT_EQ(ORX_RSA_ImportProtectedKey(nullptr, 3, nullptr, 3, nullptr, 3, nullptr, 3, nullptr, 3,
                                       nullptr, 3, nullptr, 3, nullptr, 3, nullptr, 50),
            1u);
  EXPECT_THAT(TakeMessages(), ElementsAre("RSA: the components make no RSA private key"));
  EXPECT_EQ(memory.live(), 0);
  EXPECT_EQ(FileContent(kFile50), "(none)");
}

// --- Operations

TEST_F(RsaTest, SignRunsOneOperationWithTheStoredKey) {
  StoreBlob();
  EXPECT_CALL(device_, begin(km::KeyPurpose::SIGN, ToBytes("stored"), _, _, _))
      .WillOnce([this](auto&&, auto&&, const auto& params, const auto& token, auto* result) {
        EXPECT_EQ(Text(params),
                  "DIGEST=SHA_2_256 PADDING=RSA_PKCS1_1_5_SIGN NO_AUTH_REQUIRED=true ");
        EXPECT_FALSE(token);
        result->operation = keymint_.operation;
        return ::ndk::ScopedAStatus::ok();
      });
  EXPECT_CALL(operation_, finish(::testing::Optional(ToBytes("data")), ::testing::Optional(Bytes()),
                                 _, _, _, _));
  EXPECT_CALL(operation_, update).Times(0);
  EXPECT_EQ(Sign(), 0u);
  EXPECT_EQ(Output(), "output------");
  EXPECT_EQ(length_, 6u);
  EXPECT_THAT(log_.messages(), ElementsAre("strongbox was 0", kLoaded, "KM: Begin", "KM: Finish"));
}

TEST_F(RsaTest, AShortBufferTakesTheBeginningOfTheResult) {
  StoreBlob();
  EXPECT_EQ(Sign(4), 0u);
  EXPECT_EQ(Output(), "outp--------");
  EXPECT_EQ(length_, 4u);
  TakeMessages();
  for (const auto& [direction, name] : {std::pair(1, "Encrypt"), std::pair(2, "Decrypt")}) {
    length_ = 5;
    EXPECT_EQ(ORX_RSA_EncryptDecrypt(50, 1, data_, output_, 4, &length_, nullptr, direction), 0u);
    EXPECT_EQ(Output(), "outpu-------");
    EXPECT_EQ(length_, 5u);
    EXPECT_THAT(TakeMessages(),
                ElementsAre(std::string("RSA: process with operation:") + name, kLoaded));
  }
}

TEST_F(RsaTest, SelectorsOtherThanTheKnownOnesMeanSha1NoPaddingAndDecrypt) {
  StoreBlob();
  std::vector<std::string> begun;
  ON_CALL(device_, begin).WillByDefault([&](auto purpose, auto&&, const auto& params, auto&&...) {
    begun.push_back(toString(purpose) + " " + Text(params));
    return ::ndk::ScopedAStatus::fromServiceSpecificError(-38);
  });
  for (int selector : {-1, 2}) {
    uint32_t length = 12;
    ORX_RSA_Sign(50, data_, output_, 4, &length, selector - 1, selector);
    ORX_RSA_EncryptDecrypt(50, selector, data_, output_, 4, &length, nullptr, selector);
  }
  const std::string rest = " NO_AUTH_REQUIRED=true ";
  EXPECT_THAT(begun,
              ElementsAre("SIGN DIGEST=SHA1 PADDING=NONE" + rest, "DECRYPT PADDING=NONE" + rest,
                          "SIGN DIGEST=SHA1 PADDING=NONE" + rest, "DECRYPT PADDING=NONE" + rest));
}

TEST_F(RsaTest, MissingArgumentsAreRefusedBeforeAnyService) {
  using Row = std::tuple<const uint8_t*, uint32_t, uint8_t*, uint32_t>;
  for (const auto& [data, data_length, output, capacity] :
       {Row(nullptr, 4, output_, 9), Row(data_, 0, output_, 9), Row(data_, 4, nullptr, 9),
        Row(data_, 4, output_, 0)}) {
    length_ = capacity;
    EXPECT_EQ(ORX_RSA_Sign(50, data, output, data_length, &length_, 2, 1), 1u);
    EXPECT_EQ(ORX_RSA_Verify(50, data, output, data_length, capacity, 2, 1), 1u);
    EXPECT_EQ(ORX_RSA_EncryptDecrypt(50, 1, data, output, data_length, &length_, nullptr, 1), 1u);
    EXPECT_THAT(log_.Take(), ElementsAre("ORX RSA sign: invalid input parameters",
                                         "ORX RSA verify: invalid input parameters",
                                         "ORX RSA cipher: invalid input parameters"));
  }
}

TEST_F(RsaTest, VerifyPassesTheSignatureOnAndRejectsItWhateverTheDeviceSays) {
  StoreBlob();
  const uint8_t signature[3] = {'s', 'i', 'g'};
  EXPECT_CALL(device_, begin(km::KeyPurpose::VERIFY, _, _, _, _)).Times(2);
  EXPECT_CALL(operation_, finish(::testing::Optional(ToBytes("data")),
                                 ::testing::Optional(ToBytes("sig")), _, _, _, _))
      .WillOnce(Succeeds(Bytes()))
      .WillOnce(Fails(-30));
  EXPECT_EQ(ORX_RSA_Verify(50, data_, signature, 4, 3, 2, 1), 1u);
  EXPECT_THAT(TakeMessages(), ElementsAre(kLoaded));
  EXPECT_EQ(ORX_RSA_Verify(50, data_, signature, 4, 3, 2, 1), 1u);
  EXPECT_THAT(TakeMessages(),
              ElementsAre(kLoaded, "RSA: finish failed with code:-30, blob size:6, output_size:5"));
  ::testing::Mock::VerifyAndClearExpectations(&device_);
  ::testing::Mock::VerifyAndClearExpectations(&operation_);
  const AuthorizationSet none;
  // The sentinel, behind which the device's answer is appended.
  EXPECT_EQ(ORX_RSA_Process(50, km::KeyPurpose::VERIFY, "in", "sig", none), "ERRORoutput");
}

TEST_F(RsaTest, AFailedOperationLeavesNoSignatureAndTellsWhy) {
  const std::string requires_upgrade = "RSA: KM requires the key to be upgraded|";
  const std::string not_needed = requires_upgrade + "RSA: Upgrade failed or not needed: ";
  const std::string begin_failed =
      requires_upgrade + "RSA: begin failed with upgraded key, code:-62, blob size:6";
  const std::string finish_failed = requires_upgrade +
                                    "RSA: key with size:8 being saved to filesystem|" +
                                    "RSA: finish failed with code:-21, blob size:6, output_size:0";
  const struct {
    std::vector<int> begins;      // what the device answers to each begin
    std::vector<int> upgrades;    // to the upgrade, if it comes to that
    std::string upgraded;         // with that blob
    std::vector<int> finishes;    // and what the operation answers
    std::string messages;         // between those of load and sign, separated by '|'
    std::string file = "stored";  // the blob file afterwards
  } rows[] = {
      {{-25}, {}, "", {}, "RSA: begin failed with error: -25\n"},
      {{-62}, {-40}, "", {}, not_needed + "-40\n"},
      {{-62}, {0}, "", {}, not_needed + "0\n"},
      {{-62, -62}, {0}, "upgraded", {}, begin_failed},
      {{-62, 0}, {0}, "upgraded", {-21}, finish_failed, "upgraded"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.messages);
    StoreBlob();
    const auto answers = [](const std::vector<int>& codes, auto& call, auto result) {
      call.Times(static_cast<int>(codes.size()));
      for (const int code : codes)
        code == 0 ? call.WillOnce(Succeeds(result)) : call.WillOnce(Fails(code));
    };
    answers(row.begins, EXPECT_CALL(device_, begin), device_.Begun(keymint_.operation));
    answers(row.upgrades, EXPECT_CALL(device_, upgradeKey(ToBytes("stored"), _, _)),
            ToBytes(row.upgraded));
    answers(row.finishes, EXPECT_CALL(operation_, finish), Bytes());
    EXPECT_CALL(operation_, abort).Times(0);
    EXPECT_EQ(Sign(), 1u);
    EXPECT_EQ(Output(), std::string(sizeof output_, '-'));
    EXPECT_EQ(length_, sizeof output_);
    EXPECT_EQ(base::Join(TakeMessages(), '|'),
              kLoaded + ("|" + row.messages) + "|RSA: signature is empty");
    EXPECT_EQ(FileContent(kFile50), row.file);
    ::testing::Mock::VerifyAndClearExpectations(&device_);
    ::testing::Mock::VerifyAndClearExpectations(&operation_);
  }
}

TEST_F(RsaTest, DeletingAsksTheDeviceAndKeepsTheFile) {
  EXPECT_EQ(ORX_RSA_DeleteKeyID(50), 1u);
  EXPECT_THAT(TakeMessages(), ElementsAre("RSA: failed to read RSA from "));
  StoreBlob();
  EXPECT_CALL(device_, deleteKey(ToBytes("stored")))
      .WillOnce(orx_test::TransactionFails(STATUS_DEAD_OBJECT))
      .WillOnce(orx_test::SucceedsWithoutResult());
  EXPECT_EQ(ORX_RSA_DeleteKeyID(50), 1u);
  EXPECT_THAT(TakeMessages(), ElementsAre(kLoaded, "RSA: delete key failed: -1000"));
  EXPECT_EQ(ORX_RSA_DeleteKeyID(50), 0u);
  EXPECT_THAT(TakeMessages(), ElementsAre(kLoaded, "RSA: delete key successfully"));
  EXPECT_EQ(FileContent(kFile50), "stored");
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
