// SPDX-License-Identifier: Apache-2.0
// The symmetric service on the simulated device: whole sequences, across processes and restarts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/cipher.h>
#include <orx/sym.h>

#include <string>

#include "tests/support/log_capture.h"
#include "tests/support/simulated_device_test.h"

namespace {

using ::testing::HasSubstr;

// "The quick brown fox" needs more than one block, so that chaining shows.
constexpr char kText[] = "the quick brown fox jumps over 48 bytes of text.";
constexpr uint32_t kTextLength = sizeof kText - 1;
constexpr uint8_t kKey[16] = {0x2b, 0x7e, 0x15, 0x16, 0x28, 0xae, 0xd2, 0xa6,
                              0xab, 0xf7, 0x15, 0x88, 0x09, 0xcf, 0x4f, 0x3c};
constexpr uint8_t kIv[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

class SymDeviceTest : public orx_test::SimulatedDeviceTest {
 protected:
  static void Import(int key_id = 50) {
    ORX_SYM_CONTEXT* context;
    ASSERT_EQ(ORX_SYM_ImportProtectedKey(0, key_id, kKey, sizeof kKey, &context), 0u);
  }
  static void Select(int key_id = 50) {
    ORX_SYM_CONTEXT* context;
    ASSERT_EQ(ORX_SYM_GetContextForID(&context, key_id), 0u);
  }

  static std::string Encrypt(const std::string& text) {
    std::string cipher(text.size(), '\0');
    uint32_t length = static_cast<uint32_t>(text.size());
    EXPECT_EQ(ORX_SYM_EncryptBegin(nullptr, kIv, sizeof kIv, 0), 0u);
    EXPECT_EQ(ORX_SYM_Encrypt(nullptr, reinterpret_cast<const uint8_t*>(text.data()),
                              reinterpret_cast<uint8_t*>(cipher.data()), &length),
              0u);
    return cipher;
  }

  static std::string Decrypt(const std::string& cipher) {
    std::string text(cipher.size(), '\0');
    uint32_t length = static_cast<uint32_t>(cipher.size());
    EXPECT_EQ(ORX_SYM_DecryptBegin(nullptr, kIv, sizeof kIv, 1), 0u);
    EXPECT_EQ(ORX_SYM_Decrypt(nullptr, reinterpret_cast<const uint8_t*>(cipher.data()),
                              reinterpret_cast<uint8_t*>(text.data()), &length),
              0u);
    return text;
  }

  // What AES-128-CBC without padding (SP 800-38A) makes of the text, computed beside the device.
  static std::string ExpectedCipher(const std::string& text) {
    bssl::ScopedEVP_CIPHER_CTX context;
    std::string cipher(text.size() + 16, '\0');
    int length = 0;
    EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, kKey, kIv);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    EVP_EncryptUpdate(context.get(), reinterpret_cast<uint8_t*>(cipher.data()), &length,
                      reinterpret_cast<const uint8_t*>(text.data()), static_cast<int>(text.size()));
    cipher.resize(static_cast<size_t>(length));
    return cipher;
  }
};

TEST_F(SymDeviceTest, AKeyOutlivesItsProcess) {
  const std::string cipher = ExpectedCipher(kText);
  InNewProcess([&] {
    Import();
    EXPECT_EQ(Encrypt(kText), cipher);
  });
  InNewProcess([&] {
    Select();
    EXPECT_EQ(Decrypt(cipher), kText);
  });
}

TEST_F(SymDeviceTest, TwoProcessesUseOneDeviceAtOnce) {
  const std::string cipher = ExpectedCipher(kText);
  const auto work = [&](int key_id) {
    return [&cipher, key_id] {
      for (int i = 0; i < 20; ++i) {
        Import(key_id);
        EXPECT_EQ(Decrypt(cipher), kText);
      }
    };
  };
  const pid_t other = StartProcess(work(51));
  InNewProcess(work(52));
  ExpectSuccess(other);
}

// The sequence with its n-th platform call failing: the first failure ends it with the library's
// line for that step, and a key that was stored stays usable.
TEST_F(SymDeviceTest, EachPlatformCallMayDieAndIsNamed) {
  const struct {
    const char* fault;
    const char* message;
  } rows[] = {
      {"importKey:dead-object@1", "SYM: Import key failed with error: -1000\n"},
      {"begin:dead-object@1", "SYM: AES begin (encrypt) failed, code:-1000, blob size:"},
      {"finish:null-status@1", "SYM: Finish failed with code: -1000"},
      {"deleteKey:-49@1", "SYM: delete key failed: -49"},
  };
  for (const auto& row : rows) {
    InNewProcess(
        [&] {
          orx_test::LogCapture log;
          ORX_SYM_CONTEXT* context;
          uint8_t output[kTextLength] = {};
          uint32_t length = kTextLength;
          const uint32_t failures =
              ORX_SYM_ImportProtectedKey(0, 50, kKey, sizeof kKey, &context) ||
              ORX_SYM_EncryptBegin(context, kIv, sizeof kIv, 0) ||
              ORX_SYM_Encrypt(context, reinterpret_cast<const uint8_t*>(kText), output, &length) ||
              ORX_SYM_DeleteKeyID(50);
          EXPECT_EQ(failures, 1u) << row.fault;
          EXPECT_THAT(log.messages().back(), HasSubstr(row.message)) << row.fault;
        },
        row.fault);
  }
  InNewProcess([] {
    Select();
    EXPECT_EQ(Encrypt(kText), ExpectedCipher(kText));
  });
}

}  // namespace
