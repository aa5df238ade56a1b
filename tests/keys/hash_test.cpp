// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/digest.h>
#include <orx/hash.h>
#include <sys/mman.h>

#include <string>

#include "support/crypto_memory.h"
#include "support/hex.h"
#include "support/log_capture.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

bool update_fails = false;
bool final_fails = false;

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The program's definitions precede the crypto library's, where these calls cannot fail.
extern "C" int EVP_DigestUpdate(EVP_MD_CTX* context, const void* data, size_t length) {
  return update_fails ? 0
                      : Real<decltype(EVP_DigestUpdate)>("EVP_DigestUpdate")(context, data, length);
}
extern "C" int EVP_DigestFinal_ex(EVP_MD_CTX* context, uint8_t* digest, unsigned* length) {
  return final_fails
             ? 0
             : Real<decltype(EVP_DigestFinal_ex)>("EVP_DigestFinal_ex")(context, digest, length);
}

namespace {

using orx_test::Hex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kSha1 = 0, kSha256 = 2, kSha512 = 4;
constexpr char kAbcSha1[] = "a9993e364706816aba3e25717850c26c9cd0d89d";
constexpr char kAbcSha256[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

// A digest that is begun here is left to leak, as the library abandons it on purpose.
uint32_t BeginToBeAbandoned(uint32_t algorithm) {
#ifdef __SANITIZE_ADDRESS__
  __lsan::ScopedDisabler disabler;
#endif
  return ORX_HASH_Begin(algorithm, nullptr);
}

// Updates and ends the digest in progress. Returns it as digits, or "" on failure.
std::string EndWith(const std::string& data) {
  uint8_t digest[64];
  uint32_t length = 0;
  if (ORX_HASH_Update(0, data.data(), data.size()) != 0) return "";
  if (ORX_HASH_End(0, digest, &length) != 0) return "";
  return Hex(digest, length);
}

struct Vector {
  const char* title;
  std::string message;
  uint32_t algorithm;
  const char* digest;
};

class PublishedDigest : public ::testing::TestWithParam<Vector> {};

TEST_P(PublishedDigest, ComesOutInOneCallAndInPiecesOfEveryLength) {
  const Vector& row = GetParam();
  orx_test::LogCapture log;
  uint8_t digest[64] = {};
  uint32_t length = 0;
  // SHA-512 is written in full all the same.
  EXPECT_EQ(ORX_HASH(row.algorithm, row.message.data(), row.message.size(), digest, &length),
            row.algorithm == kSha512 ? 1u : 0u);
  EXPECT_EQ(Hex(digest, length), row.digest);

  for (size_t piece = 1; piece <= row.message.size(); piece += 1 + piece / 3) {
    uint32_t handle = 7;
    ASSERT_EQ(ORX_HASH_Begin(row.algorithm, &handle), 0u);
    EXPECT_EQ(handle, 0u);
    size_t at = 0;
    for (; at + piece < row.message.size(); at += piece) {
      ASSERT_EQ(ORX_HASH_Update(9, row.message.data() + at, piece), 0u);
    }
    EXPECT_EQ(EndWith(row.message.substr(at)), row.digest) << "in pieces of " << piece;
  }
  EXPECT_THAT(log.messages(), IsEmpty());
}

const std::string kTwoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const std::string kTwoLongBlocks =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopq"
    "rs"
    "mnopqrstnopqrstu";
const std::string kMillion(1000000, 'a');

INSTANTIATE_TEST_SUITE_P(
    Fips180, PublishedDigest,
    ::testing::Values(
        Vector{"Sha1Empty", "", kSha1, "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        Vector{"Sha1Abc", "abc", kSha1, kAbcSha1},
        Vector{"Sha1TwoBlocks", kTwoBlocks, kSha1, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        Vector{"Sha1Million", kMillion, kSha1, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        Vector{"Sha256Abc", "abc", kSha256, kAbcSha256},
        Vector{"Sha256TwoBlocks", kTwoBlocks, kSha256,
               "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        Vector{"Sha256Million", kMillion, kSha256,
               "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        Vector{"Sha512Abc", "abc", kSha512,
               "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
               "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
        Vector{"Sha512TwoBlocks", kTwoLongBlocks, kSha512,
               "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
               "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"}),
    [](const auto& row) { return row.param.title; });

TEST(HashTest, TakesMoreThan4GiBInOneCall) {
  // The zeros are never written to, so that they take no memory.
  const size_t length = 4294967301;  // 4 GiB + 5
  void* zeros =
      mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  uint8_t digest[20];
  uint32_t digest_length = 0;
  EXPECT_EQ(ORX_HASH(kSha1, zeros, length, digest, &digest_length), 0u);
  EXPECT_EQ(Hex(digest, digest_length), "7ce9d83c5eacca17b354408ce637473229a7d5e2");
  munmap(zeros, length);
}

TEST(HashTest, AnUnknownAlgorithmLeavesTheDigestInProgressAndTheHandleAlone) {
  ASSERT_EQ(ORX_HASH_Begin(kSha256, nullptr), 0u);
  orx_test::LogCapture log;
  for (uint32_t algorithm : {1u, 3u, 5u, 0x80000000u}) {
    uint32_t handle = 7;
    EXPECT_EQ(ORX_HASH_Begin(algorithm, &handle), 1u);
    EXPECT_EQ(handle, 7u);
    EXPECT_THAT(log.messages(), ElementsAre("Warning context not released!", "invalid hash algo"));
    log.Clear();
  }
  EXPECT_EQ(EndWith("abc"), kAbcSha256);
}

TEST(HashTest, WithoutBeginUpdateAndEndFailAndTouchNothing) {
  orx_test::LogCapture log;
  uint8_t digest[64] = {0x5a};
  uint32_t length = 99;
  EXPECT_EQ(ORX_HASH_Update(0, "abc", 3), 1u);
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 1u);
  EXPECT_THAT(log.messages(), ElementsAre("openssl_ctx NULL", "openssl_ctx NULL"));
  EXPECT_EQ(digest[0], 0x5a);
  EXPECT_EQ(length, 99u);
}

TEST(HashTest, ASecondBeginAbandonsTheFirstWithAWarning) {
  ASSERT_EQ(BeginToBeAbandoned(kSha512), 0u);
  ASSERT_EQ(ORX_HASH_Update(0, "junk", 4), 0u);
  orx_test::LogCapture log;
  orx_test::CryptoMemory memory;
  EXPECT_EQ(ORX_HASH_Begin(kSha1, nullptr), 0u);
  EXPECT_THAT(log.messages(), ElementsAre("Warning context not released!"));
  EXPECT_EQ(EndWith("abc"), kAbcSha1);
  EXPECT_EQ(memory.live(), 0) << "the abandoned context is not freed, the second one is";
}

TEST(HashTest, NoDataIsTakenFromANullPointer) {
  ASSERT_EQ(ORX_HASH_Begin(kSha1, nullptr), 0u);
  EXPECT_EQ(ORX_HASH_Update(0, nullptr, 0), 0u);
  EXPECT_EQ(EndWith("abc"), kAbcSha1);
}

TEST(HashTest, EveryFailedAllocationFailsBeginAndIsRecoveredFrom) {
  orx_test::LogCapture log;
  orx_test::CryptoMemory memory;
  uint8_t digest[20];
  uint32_t length = 99;

  memory.FailAt(0);
  EXPECT_EQ(ORX_HASH(kSha1, "abc", 3, digest, &length), 1u);
  EXPECT_THAT(log.messages(), ElementsAre("EVP_MD_CTX_create failed"));
  EXPECT_EQ(memory.live(), 0);
  log.Clear();

  // The context that could not be initialised is gone, yet the next Begin warns of it, once.
  memory.FailAt(1);
  EXPECT_EQ(ORX_HASH(kSha1, "abc", 3, digest, &length), 1u);
  EXPECT_EQ(length, 99u);
  EXPECT_EQ(memory.live(), 0);
  EXPECT_EQ(ORX_HASH_Update(0, "abc", 3), 1u);
  EXPECT_EQ(ORX_HASH(kSha1, "abc", 3, digest, &length), 0u);
  EXPECT_EQ(ORX_HASH(kSha1, "abc", 3, digest, &length), 0u);
  EXPECT_THAT(log.messages(), ElementsAre("EVP_DigestInit_ex failed", "openssl_ctx NULL",
                                          "Warning context not released!"));
  EXPECT_EQ(Hex(digest, length), kAbcSha1);
  EXPECT_EQ(memory.live(), 0);
}

TEST(HashTest, AFailedUpdateKeepsTheDigestInProgressAndAFailedEndDoesNot) {
  orx_test::LogCapture log;
  orx_test::CryptoMemory memory;
  uint8_t digest[20];
  uint32_t length = 99;
  update_fails = true;
  EXPECT_EQ(ORX_HASH(kSha1, "abc", 3, digest, &length), 1u);
  update_fails = false;
  final_fails = true;
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 1u);
  EXPECT_EQ(length, 99u);
  final_fails = false;
  EXPECT_EQ(ORX_HASH_End(0, digest, &length), 1u);
  EXPECT_THAT(log.messages(), ElementsAre("EVP_DigestUpdate failed", "EVP_DigestFinal_ex fail",
                                          "openssl_ctx NULL"));
  EXPECT_EQ(memory.live(), 0);
}

}  // namespace
