// SPDX-License-Identifier: Apache-2.0
// That no copy of a secret stays in the process's memory once a call has returned.
#ifndef ORX_ADDRESS_SANITIZER  // whose allocator keeps freed memory elsewhere

#include <fcntl.h>
#include <gtest/gtest.h>
#include <keymint/ORX_KEYMINT.h>
#include <openssl/mem.h>
#include <orx/kdf.h>
#include <orx/orx.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/mock_keymint.h"
#include "tests/support/rsa_components.h"

namespace orx_test {
namespace {

constexpr size_t kSecretBytes = 4000;

// How often `masked` (XOR 0x5a) stands in the memory that the process can write, its stacks aside.
// Takes no memory of its own, which would be what was freed last.
size_t CopiesInMemory(const Bytes& masked) {
  static char maps[1 << 17];
  const int fd = open("/proc/self/maps", O_RDONLY);
  size_t length = 0;
  for (ssize_t got = 0; (got = read(fd, maps + length, sizeof(maps) - 1 - length)) > 0;) {
    length += static_cast<size_t>(got);
  }
  maps[length] = '\0';
  close(fd);
  size_t found = 0;
  const auto same = [](uint8_t plain, uint8_t secret) { return plain == (secret ^ 0x5a); };
  for (const char* line = maps; *line != '\0';) {
    const std::string_view text(line, static_cast<size_t>(strchr(line, '\n') - line));
    char* rest = nullptr;
    const auto* begin = reinterpret_cast<const uint8_t*>(strtoul(line, &rest, 16));
    const auto* end = reinterpret_cast<const uint8_t*>(strtoul(rest + 1, nullptr, 16));
    line += text.size() + 1;
    if (text.find(" rw-p ") == text.npos || text.find("[stack]") != text.npos) continue;
    while ((begin = std::search(begin, end, masked.begin(), masked.end(), same)) != end) {
      ++begin;
      ++found;
    }
  }
  return found;
}

// The secret repeats 40 bytes, so that what is left of one in reused memory is still found.
Bytes Masked() {
  Bytes masked(40);
  for (size_t i = 0; i < masked.size(); ++i) masked[i] = static_cast<uint8_t>(i * i + 0x81);
  return masked;
}

void FillWithSecret(Bytes* bytes) {
  const Bytes masked = Masked();
  for (size_t i = 0; i < bytes->size(); ++i) (*bytes)[i] = masked[i % masked.size()] ^ 0x5a;
}

class SecretsTest : public ::testing::Test {
 protected:
  SecretsTest() {
    const auto answer = [](Bytes* output) {
      output->resize(kSecretBytes);
      FillWithSecret(output);
      return ::ndk::ScopedAStatus::ok();
    };
    ON_CALL(*keymint_.operation, finish)
        .WillByDefault([answer](auto&&, auto&&, auto&&, auto&&, auto&&, Bytes* output) {
          return answer(output);
        });
    ON_CALL(*keymint_.operation, update)
        .WillByDefault([answer](auto&&, auto&&, auto&&, Bytes* output) { return answer(output); });
    FillWithSecret(&input_);
  }

  MockKeyMint keymint_;
  Bytes input_ = Bytes(kSecretBytes), output_ = Bytes(kSecretBytes);
};

TEST_F(SecretsTest, NoCopyOfAMessageStaysBehind) {
  namespace orx = ::android::hardware::keymint::ORX;
  ORX_SYM_CONTEXT* context;
  ASSERT_EQ(ORX_SYM_ImportProtectedKey(0, 50, input_.data(), 16, &context), 0u);
  uint32_t length = kSecretBytes;
  orx::KeyMintService service(false);
  std::string grown;
  const std::pair<const char*, std::function<uint32_t()>> rows[] = {
      {"symmetric, to decrypt",
       [&] {
         return ORX_SYM_DecryptBegin(nullptr, input_.data(), 16, 0) ||
                ORX_SYM_Decrypt(nullptr, input_.data(), output_.data(), &length);
       }},
      {"symmetric, to encrypt",
       [&] {
         return ORX_SYM_EncryptBegin(nullptr, input_.data(), 16, 0) ||
                ORX_SYM_Encrypt(nullptr, input_.data(), output_.data(), &length);
       }},
      {"RSA",
       [&] {
         return ORX_RSA_EncryptDecrypt(50, 1, input_.data(), output_.data(), kSecretBytes, &length,
                                       nullptr, 2);
       }},
      {"pieces of an operation",
       [&] {
         const std::string input(reinterpret_cast<const char*>(input_.data()), kSecretBytes);
         const int result = service.Begin(orx::km::KeyPurpose::DECRYPT, {1}, {}) ||
                            service.Update(input, &grown) || service.Finish(input, "", &grown);
         OPENSSL_cleanse(const_cast<char*>(input.data()), input.size());
         return static_cast<uint32_t>(result);
       }},
      {"derivation",
       [&] {
         return ORX_KDF_Gen(1, 0, kSecretBytes, input_.data(), 0, nullptr, 40, output_.data());
       }},
      {"written file",
       [&] {
         return ORX_STORE_Open(1, nullptr, 1) || ORX_STORE_Write(input_.data(), 1, kSecretBytes) ||
                ORX_STORE_Close(0);
       }},
      {"read file",
       [&] {
         return ORX_STORE_Open(1, nullptr, 0) || ORX_STORE_Read(output_.data(), 1, kSecretBytes) ||
                ORX_STORE_Close(0);
       }},
  };
  for (const auto& [title, call] : rows) {
    FillWithSecret(&input_);
    ASSERT_GT(CopiesInMemory(Masked()), 0u) << "the test's own copy";
    EXPECT_EQ(call(), 0u) << title;
    for (Bytes* own : {&input_, &output_}) OPENSSL_cleanse(own->data(), own->size());
    OPENSSL_cleanse(grown.data(), grown.size());
    EXPECT_EQ(CopiesInMemory(Masked()), 0u) << title;
  }
}

TEST_F(SecretsTest, NoCopyOfAPrivateKeyStaysBehind) {
  RsaComponents components = ComponentsOf(NewRsaKey(2048).get());
  // The middle of each private number: the ends of freed memory are the allocator's.
  std::vector<Bytes> masked;
  for (size_t i = 2; i < components.size(); ++i) {
    masked.emplace_back(components[i].begin() + 40, components[i].begin() + 72);
    for (uint8_t& byte : masked.back()) byte ^= 0x5a;
    EXPECT_EQ(CopiesInMemory(masked.back()), 1u) << kRsaComponentNames[i] << ", the test's own";
  }
  EXPECT_EQ(ImportRsaComponents(components, 50), 0u);
  EXPECT_CALL(*keymint_.device, importKey).WillOnce(Fails(-38));
  EXPECT_EQ(ImportRsaComponents(components, 50), 1u);
  for (Bytes& component : components) OPENSSL_cleanse(component.data(), component.size());
  for (size_t i = 0; i < masked.size(); ++i) {
    EXPECT_EQ(CopiesInMemory(masked[i]), 0u) << kRsaComponentNames[i + 2];
  }
}

}  // namespace
}  // namespace orx_test

#endif
