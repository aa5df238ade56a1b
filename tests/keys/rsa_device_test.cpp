// SPDX-License-Identifier: Apache-2.0
// The RSA service on the simulated device: keys made, and results checked, by the crypto library.
#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bytestring.h>
#include <openssl/digest.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <orx/rsa.h>

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/rsa_components.h"
#include "support/simulated_device_test.h"

namespace {

using orx_test::ComponentsOf;
using orx_test::ImportRsaComponents;
using orx_test::NewRsaKey;
using ::testing::Contains;
using ::testing::Not;
using Bytes = std::vector<uint8_t>;

constexpr char kFile50[] = "/mnt/vendor/persist/security/zol_key_user0";
constexpr int kSha1 = 1, kSha256 = 2, kPkcs1 = 1, kNoPadding = 0, kDecrypt = 2;
const Bytes kText = {'t', 'e', 'x', 't'};

class RsaDeviceTest : public orx_test::SimulatedDeviceTest {
 protected:
  uint32_t ImportEncoded() {
    bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
    bssl::ScopedCBB encoding;
    EXPECT_TRUE(EVP_PKEY_set1_RSA(key.get(), rsa_.get()) && CBB_init(encoding.get(), 0) &&
                EVP_marshal_private_key(encoding.get(), key.get()) && CBB_flush(encoding.get()));
    Bytes der(CBB_data(encoding.get()), CBB_data(encoding.get()) + CBB_len(encoding.get()));
    return ORX_RSA_ImportKey(der.data(), static_cast<uint32_t>(der.size()), 1, 50);
  }

  uint32_t ImportComponents() { return ImportRsaComponents(ComponentsOf(rsa_.get()), 50); }

  void ExpectToSign(int digest, const EVP_MD* expected) {
    Bytes signature(512);
    uint32_t signature_length = 512;
    EXPECT_EQ(
        ORX_RSA_Sign(50, kText.data(), signature.data(), 4, &signature_length, digest, kPkcs1), 0u);
    uint8_t hash[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(kText.data(), kText.size(), hash, &length, expected, nullptr);
    EXPECT_TRUE(RSA_verify(EVP_MD_type(expected), hash, length, signature.data(), signature_length,
                           rsa_.get()));
  }

  // Has the device decrypt what the public key made of the text.
  void ExpectToDecrypt(const Bytes& text, int padding, int library_padding) {
    Bytes cipher(RSA_size(rsa_.get())), decrypted(512);
    size_t cipher_length = 0;
    ASSERT_TRUE(RSA_encrypt(rsa_.get(), &cipher_length, cipher.data(), cipher.size(), text.data(),
                            text.size(), library_padding));
    uint32_t length = 512;
    EXPECT_EQ(
        ORX_RSA_EncryptDecrypt(50, padding, cipher.data(), decrypted.data(),
                               static_cast<uint32_t>(cipher_length), &length, nullptr, kDecrypt),
        0u);
    decrypted.resize(length);
    EXPECT_EQ(decrypted, text);
  }

  bssl::UniquePtr<RSA> rsa_;
};

TEST_F(RsaDeviceTest, AKeySignsAndDecryptsInALaterProcess) {
  for (int bits : {2048, 4096}) {
    const bool components = bits == 2048;
    rsa_ = NewRsaKey(bits);
    InNewProcess([&] { EXPECT_EQ(components ? ImportComponents() : ImportEncoded(), 0u); });
    InNewProcess([&] {
      ExpectToSign(kSha256, EVP_sha256());
      ExpectToSign(kSha1, EVP_sha1());
      ExpectToDecrypt(kText, kPkcs1, RSA_PKCS1_PADDING);
      ExpectToDecrypt(Bytes(RSA_size(rsa_.get()), 0x11), kNoPadding, RSA_NO_PADDING);
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
    ExpectToSign(kSha256, EVP_sha256());
    EXPECT_THAT(log.messages(), Contains(upgrading));
  });
  ASSERT_TRUE(android::base::ReadFileToString(kFile50, &after));
  EXPECT_NE(before, after);
  InNewProcess([&] {
    orx_test::LogCapture log;
    ExpectToSign(kSha256, EVP_sha256());
    EXPECT_THAT(log.messages(), Not(Contains(upgrading)));
  });
}

}  // namespace
