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
constexpr int kSha1 = 1, kSha256 = 2, kPkcs1 = 1, kNoPadding = 0, kEncrypt = 1, kDecrypt = 2;
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

  Bytes Sign(const Bytes& data, int digest, int padding) {
    Bytes signature(1024);
    uint32_t length = static_cast<uint32_t>(signature.size());
    EXPECT_EQ(ORX_RSA_Sign(50, data.data(), signature.data(), static_cast<uint32_t>(data.size()),
                           &length, digest, padding),
              0u);
    signature.resize(length);
    return signature;
  }

  bool IsSignature(const Bytes& signature, const EVP_MD* digest) {
    uint8_t hash[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(kText.data(), kText.size(), hash, &length, digest, nullptr);
    return RSA_verify(EVP_MD_type(digest), hash, length, signature.data(), signature.size(),
                      rsa_.get()) == 1;
  }

  // What a public-key operation of the crypto library makes of the bytes.
  Bytes Public(decltype(RSA_encrypt)* operation, const Bytes& bytes, int padding) {
    Bytes result(RSA_size(rsa_.get()));
    size_t length = 0;
    EXPECT_EQ(operation(rsa_.get(), &length, result.data(), result.size(), bytes.data(),
                        bytes.size(), padding),
              1);
    result.resize(length);
    return result;
  }

  Bytes Decrypt(const Bytes& cipher, int padding) {
    Bytes text(1024);
    uint32_t length = static_cast<uint32_t>(text.size());
    EXPECT_EQ(
        ORX_RSA_EncryptDecrypt(50, padding, cipher.data(), text.data(),
                               static_cast<uint32_t>(cipher.size()), &length, nullptr, kDecrypt),
        0u);
    text.resize(length);
    return text;
  }

  bssl::UniquePtr<RSA> rsa_;
};

TEST_F(RsaDeviceTest, AKeySignsAndDecryptsInALaterProcess) {
  for (int bits : {2048, 4096}) {
    const bool components = bits == 2048;
    rsa_ = NewRsaKey(bits);
    InNewProcess([&] { EXPECT_EQ(components ? ImportComponents() : ImportEncoded(), 0u); });
    InNewProcess([&] {
      EXPECT_TRUE(IsSignature(Sign(kText, kSha256, kPkcs1), EVP_sha256()));
      EXPECT_TRUE(IsSignature(Sign(kText, kSha1, kPkcs1), EVP_sha1()));
      EXPECT_EQ(Decrypt(Public(RSA_encrypt, kText, RSA_PKCS1_PADDING), kPkcs1), kText);
      Bytes block(RSA_size(rsa_.get()), 0x11);
      EXPECT_EQ(Decrypt(Public(RSA_encrypt, block, RSA_NO_PADDING), kNoPadding), block);
    });
  }
}

struct Unfit {
  int bits;
  uint32_t exponent;
};

class RsaDeviceRefusal : public RsaDeviceTest, public ::testing::WithParamInterface<Unfit> {};

TEST_P(RsaDeviceRefusal, OfAKeyThatIsNotAsDeclared) {
  rsa_ = NewRsaKey(GetParam().bits, GetParam().exponent);
  InNewProcess([this] {
    orx_test::LogCapture log;
    EXPECT_EQ(ImportComponents(), 1u);
    EXPECT_THAT(log.messages(), Contains("RSA: import key failed, code:-44"));
  });
}

INSTANTIATE_TEST_SUITE_P(All, RsaDeviceRefusal,
                         ::testing::Values(Unfit{3072, RSA_F4}, Unfit{2048, RSA_3}),
                         [](const auto& row) {
                           return std::to_string(row.param.bits) + "_" +
                                  std::to_string(row.param.exponent);
                         });

TEST_F(RsaDeviceTest, AfterAnUpdateOfTheSystemTheBlobIsUpgradedOnce) {
  rsa_ = NewRsaKey(2048);
  InNewProcess([this] { EXPECT_EQ(ImportComponents(), 0u); });
  std::string before, after;
  ASSERT_TRUE(android::base::ReadFileToString(kFile50, &before));
  Set("os-patch-level=203012");
  const char upgrading[] = "RSA: KM requires the key to be upgraded";
  InNewProcess([&] {
    orx_test::LogCapture log;
    EXPECT_TRUE(IsSignature(Sign(kText, kSha256, kPkcs1), EVP_sha256()));
    EXPECT_THAT(log.messages(), Contains(upgrading));
  });
  ASSERT_TRUE(android::base::ReadFileToString(kFile50, &after));
  EXPECT_NE(before, after);
  InNewProcess([&] {
    orx_test::LogCapture log;
    EXPECT_TRUE(IsSignature(Sign(kText, kSha256, kPkcs1), EVP_sha256()));
    EXPECT_THAT(log.messages(), Not(Contains(upgrading)));
  });
}

TEST_F(RsaDeviceTest, PublicKeyOperationsAreRefusedAndADeletedKeyStaysDeleted) {
  rsa_ = NewRsaKey(2048);
  InNewProcess([this] {
    ASSERT_EQ(ImportComponents(), 0u);
    const Bytes signature = Sign(kText, kSha256, kPkcs1);
    Bytes output(256);
    uint32_t length = 256;
    orx_test::LogCapture log;
    EXPECT_EQ(ORX_RSA_EncryptDecrypt(50, kPkcs1, kText.data(), output.data(), 4, &length, nullptr,
                                     kEncrypt),
              1u);
    EXPECT_THAT(log.Take(), Contains("RSA: begin failed with error: -2\n"));
    EXPECT_EQ(ORX_RSA_Verify(50, kText.data(), signature.data(), 4, 256, kSha256, kPkcs1), 1u);
    EXPECT_THAT(log.Take(), Contains("RSA: begin failed with error: -2\n"));
    EXPECT_EQ(ORX_RSA_DeleteKeyID(50), 0u);
    EXPECT_EQ(ORX_RSA_Sign(50, kText.data(), output.data(), 4, &length, kSha256, kPkcs1), 1u);
    EXPECT_THAT(log.Take(), Contains("RSA: begin failed with error: -33\n"));
  });
}

}  // namespace
