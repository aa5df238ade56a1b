// SPDX-License-Identifier: Apache-2.0
// The RSA service on the simulated device: keys made, and results checked, by the crypto library.
#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/nid.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>
#include <orx/rsa.h>

#include <string>
#include <vector>

#include "tests/support/log_capture.h"
#include "tests/support/rsa_components.h"
#include "tests/support/simulated_device_test.h"

namespace {

using orx_test::ComponentsOf;
using orx_test::ImportRsaComponents;
using orx_test::NewRsaKey;
using ::testing::Contains;
using ::testing::Not;
using Bytes = std::vector<uint8_t>;

constexpr char kFile50[] = "/mnt/vendor/persist/security/zol_key_user0";
constexpr int kSha256 = 2, kPkcs1 = 1, kDecrypt = 2;
const Bytes kText = {'t', 'e', 'x', 't'};

class RsaDeviceTest : public orx_test::SimulatedDeviceTest {
 protected:
  uint32_t ImportComponents() { return ImportRsaComponents(ComponentsOf(rsa_.get()), 50); }

  void ExpectToSign() {
    Bytes signature(512);
    uint32_t length = 512;
    EXPECT_EQ(ORX_RSA_Sign(50, kText.data(), signature.data(), 4, &length, kSha256, kPkcs1), 0u);
    uint8_t hash[SHA256_DIGEST_LENGTH];
    SHA256(kText.data(), kText.size(), hash);
    EXPECT_TRUE(RSA_verify(NID_sha256, hash, sizeof hash, signature.data(), length, rsa_.get()));
  }

  // Has the device decrypt what the public key made of the text.
  void ExpectToDecrypt() {
    Bytes cipher(RSA_size(rsa_.get())), decrypted(512);
    size_t cipher_length = 0;
    ASSERT_TRUE(RSA_encrypt(rsa_.get(), &cipher_length, cipher.data(), cipher.size(), kText.data(),
                            kText.size(), RSA_PKCS1_PADDING));
    uint32_t length = 512;
    EXPECT_EQ(
        ORX_RSA_EncryptDecrypt(50, kPkcs1, cipher.data(), decrypted.data(),
                               static_cast<uint32_t>(cipher_length), &length, nullptr, kDecrypt),
        0u);
    decrypted.resize(length);
    EXPECT_EQ(decrypted, kText);
  }

  bssl::UniquePtr<RSA> rsa_;
};

TEST_F(RsaDeviceTest, AKeySignsAndDecryptsInALaterProcess) {
  for (int bits : {2048, 4096}) {
    rsa_ = NewRsaKey(bits);
    InNewProcess([&] { EXPECT_EQ(ImportComponents(), 0u); });
    InNewProcess([&] {
      ExpectToSign();
      ExpectToDecrypt();
    });
  }
}

TEST_F(RsaDeviceTest, AfterAnUpdateOfTheSystemTheBlobIsUpgradedOnce) {
  rsa_ = NewRsaKey(2048);
  InNewProcess([this] { EXPECT_EQ(ImportComponents(), 0u); });
  std::string before, after;
  ASSERT_TRUE(android::base::ReadFileToString(kFile50, &before));
  Set("os-patch-level=203012");
  const char upgrading[] = "RSA: KM requires the key to be upgraded";
  InNewProcess([&] {
    orx_test::LogCapture log;
    ExpectToSign();
    EXPECT_THAT(log.messages(), Contains(upgrading));
  });
  ASSERT_TRUE(android::base::ReadFileToString(kFile50, &after));
  EXPECT_NE(before, after);
  InNewProcess([&] {
    orx_test::LogCapture log;
    ExpectToSign();
    EXPECT_THAT(log.messages(), Not(Contains(upgrading)));
  });
}

}  // namespace
