// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/hash.h>

#include <string>
#include <tuple>

#include "tests/support/hex.h"
#include "tests/support/interposed/crypto_memory.h"
#include "tests/support/interposed/failing_crypto.h"
#include "tests/support/log_capture.h"

#ifdef ORX_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using orx_test::FailingCrypto;
using orx_test::Hex;
using ::testing::ElementsAre;

constexpr uint32_t kSha1 = 0, kSha256 = 2, kSha512 = 4;
constexpr char kAbcSha1[] = "a9993e364706816aba3e25717850c26c9cd0d89d";
constexpr char kAbcSha256[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

// Adds the data to the digest in progress and ends it. Returns the digest as digits.
std::string EndWith(const std::string& data) {
  uint8_t digest[64];
  uint32_t length = 0;
  EXPECT_EQ(ORX_HASH_Update(0, data.data(), data.size()), 0u);
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 0u);
  return Hex(digest, length);
}

// Begins a digest that the library abandons on purpose: its memory is to leak.
uint32_t BeginToBeAbandoned(uint32_t algorithm) {
#ifdef ORX_ADDRESS_SANITIZER
  __lsan::ScopedDisabler disabler;
#endif
  return ORX_HASH_Begin(algorithm, nullptr);
}

TEST(HashTest, ThePublishedDigestsComeOutInOneCallAndInPiecesOfEveryLength) {
  // The examples published with FIPS 180.
  const std::tuple<std::string, uint32_t, std::string> rows[] = {
      {"abc", kSha1, kAbcSha1},
      {std::string(1000000, 'a'), kSha1, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", kSha256,
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {"abc", kSha512,
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
       "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"}};
  orx_test::LogCapture log;
  for (const auto& [message, algorithm, expected] : rows) {
    uint8_t digest[64] = {};
    uint32_t length = 0;
    // SHA-512 is written in full all the same.
    EXPECT_EQ(ORX_HASH(algorithm, message.data(), message.size(), digest, &length),
              algorithm == kSha512 ? 1u : 0u);
    EXPECT_EQ(Hex(digest, length), expected);
    for (size_t piece = 1 + message.size() / 1000; piece < message.size(); piece += 1 + piece / 3) {
      uint32_t handle = 7;
      ASSERT_EQ(ORX_HASH_Begin(algorithm, &handle), 0u);
      EXPECT_EQ(handle, 0u);
      size_t at = 0;
      for (; at + piece < message.size(); at += piece) ORX_HASH_Update(9, &message[at], piece);
      EXPECT_EQ(EndWith(message.substr(at)), expected) << "in pieces of " << piece;
    }
  }
  EXPECT_THAT(log.Take(), ElementsAre());
}

TEST(HashTest, AnUnknownAlgorithmLeavesTheDigestInProgressAndTheHandleAlone) {
  ASSERT_EQ(ORX_HASH_Begin(kSha256, nullptr), 0u);
  orx_test::LogCapture log;
  for (uint32_t algorithm : {1u, 3u, 5u, 0x80000000u}) {
    uint32_t handle = 7;
    EXPECT_EQ(ORX_HASH_Begin(algorithm, &handle), 1u);
    EXPECT_EQ(handle, 7u);
    EXPECT_THAT(log.Take(), ElementsAre("Warning context not released!", "invalid hash algo"));
  }
  EXPECT_EQ(ORX_HASH_Update(0, nullptr, 0), 0u);
  EXPECT_EQ(EndWith("abc"), kAbcSha256);
}

TEST(HashTest, ASecondBeginAbandonsTheFirstWithAWarning) {
  ASSERT_EQ(BeginToBeAbandoned(kSha512), 0u);
  ASSERT_EQ(ORX_HASH_Update(0, "junk", 4), 0u);
  orx_test::LogCapture log;
  orx_test::CryptoMemory memory;
  EXPECT_EQ(ORX_HASH_Begin(kSha1, nullptr), 0u);
  EXPECT_THAT(log.Take(), ElementsAre("Warning context not released!"));
  EXPECT_EQ(EndWith("abc"), kAbcSha1);
  EXPECT_EQ(memory.live(), 0) << "the abandoned context is not freed, the second one is";
}

TEST(HashTest, EveryFailureIsNamedAndRecoveredFromWithoutALeak) {
  orx_test::LogCapture log;
  orx_test::CryptoMemory memory;
  uint8_t digest[20];
  uint32_t length = 99;
  const auto hash = [&] { return ORX_HASH(kSha1, "abc", 3, digest, &length); };

  EXPECT_EQ((FailingCrypto("EVP_MD_CTX_new"), hash()), 1u);
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 1u);
  EXPECT_THAT(log.Take(), ElementsAre("EVP_MD_CTX_create failed", "openssl_ctx NULL"));

  // The context that could not be initialised is gone, yet the next Begin warns of it, once.
  EXPECT_EQ((FailingCrypto("EVP_DigestInit_ex"), hash()), 1u);
  EXPECT_EQ(memory.live(), 0);
  EXPECT_EQ(ORX_HASH_Update(0, "abc", 3), 1u);
  EXPECT_EQ(hash() + hash(), 0u);
  EXPECT_THAT(log.Take(), ElementsAre("EVP_DigestInit_ex failed", "openssl_ctx NULL",
                                      "Warning context not released!"));
  EXPECT_EQ(Hex(digest, length), kAbcSha1);

  // An End, which fails, takes the warning back.
  EXPECT_EQ((FailingCrypto("EVP_DigestInit_ex"), hash()), 1u);
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 1u);
  EXPECT_EQ(hash(), 0u);
  EXPECT_THAT(log.Take(), ElementsAre("EVP_DigestInit_ex failed", "openssl_ctx NULL"));

  // A failed update keeps the digest in progress, a failed end does not.
  EXPECT_EQ((FailingCrypto("EVP_DigestUpdate"), hash()), 1u);
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 0u);
  length = 99;
  EXPECT_EQ((FailingCrypto("EVP_DigestFinal_ex"), hash()), 1u);
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 1u);
  EXPECT_EQ(length, 99u);
  EXPECT_THAT(log.Take(), ElementsAre("EVP_DigestUpdate failed", "EVP_DigestFinal_ex fail",
                                      "openssl_ctx NULL"));
  EXPECT_EQ(memory.live(), 0);
}

}  // namespace
