// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <orx/kdf.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/hex.h"
#include "tests/support/log_capture.h"

namespace {

using orx_test::FromHex;
using orx_test::Hex;
using ::testing::Each;
using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kNoCounter = 0, kCounter = 1;
constexpr uint32_t kDigestSha1 = 0;
constexpr size_t kBlock = 20;
const Bytes kZ = FromHex("1c7d7b5f0597b03d06a018466ed1a93e30ed4b04dc64ccdd");

// The derived bytes, from an output that holds something else beforehand.
Bytes Derive(uint32_t mode, const Bytes& z, const Bytes& info, uint32_t length) {
  Bytes output(length, 0x5a);
  EXPECT_EQ(ORX_KDF_Gen(mode, kDigestSha1, static_cast<uint32_t>(z.size()), z.data(),
                        static_cast<uint32_t>(info.size()), info.empty() ? nullptr : info.data(),
                        length, output.data()),
            0u);
  return output;
}

Bytes Block(const Bytes& derived, size_t number) {
  return Bytes(derived.begin() + (number - 1) * kBlock, derived.begin() + number * kBlock);
}

Bytes Sha1(Bytes message, const Bytes& tail) {
  message.insert(message.end(), tail.begin(), tail.end());
  Bytes digest(SHA_DIGEST_LENGTH);
  SHA1(message.data(), message.size(), digest.data());
  return digest;
}

TEST(KdfTest, DerivesThePublishedX963Keys) {
  orx_test::LogCapture log;
  // The first of NIST's examples for ANSI X9.63 with SHA-1.
  EXPECT_EQ(Hex(Derive(kCounter, kZ, {}, 16)), "bf71dffd8f4d99223936beb46fee8ccc");
  // Computed by another implementation, with other info and a last block of 5 bytes.
  EXPECT_EQ(
      Hex(Derive(kCounter, FromHex("00112233445566778899aabbccddeeff01234567"),
                 FromHex("d0d1d2d3d4d5d6"), 45)),
      "9bd8364985c089d6aa0db7736fb25c9dd12ff56fc8d760d6a11ec617e2c424382a3637228eb3c3908af53a3708");
  EXPECT_THAT(log.Take(), ElementsAre("exiting with status=0", "exiting with status=0"));
}

TEST(KdfTest, TheCounterWrapsToZeroAtBlock256AndMayBeLeftOut) {
  const Bytes derived = Derive(kCounter, kZ, {}, 257 * kBlock);
  EXPECT_EQ(Block(derived, 255), Sha1(kZ, {0, 0, 0, 255}));
  EXPECT_EQ(Block(derived, 256), Sha1(kZ, {0, 0, 0, 0}));
  EXPECT_EQ(Block(derived, 257), Block(derived, 1));
  const Bytes same = Derive(kNoCounter, kZ, {7, 8}, 2 * kBlock);
  EXPECT_EQ(Block(same, 1), Sha1(kZ, {7, 8}));
  EXPECT_EQ(Block(same, 2), Block(same, 1));
}

TEST(KdfTest, ArgumentsAreCheckedInOrderBeforeTheOutputIsTouched) {
  const uint8_t some[8] = {};
  const struct {
    uint32_t mode, hash, z_length;
    const uint8_t* z;
    uint32_t info_length;
    const uint8_t* info;
    uint32_t output_length;
    const char* message;
  } rows[] = {
      {2, 0, 8, nullptr, 0, nullptr, 20, "unsupported algorithm"},
      {1, 2, 8, some, 0, nullptr, 20, "unsupported algorithm"},
      {1, 0, 0, nullptr, 0, nullptr, 20, "NULL input pointer"},
      {1, 0, 8, some, 8, nullptr, 0, "invalid buffer length"},
      {1, 0, 8, some, 8, nullptr, 20, "inconsistent other info buffer and length"},
      {1, 0, 8, some, 0, some, 20, "inconsistent other info buffer and length"},
  };
  orx_test::LogCapture log;
  for (const auto& row : rows) {
    Bytes output(20, 0x5a);
    EXPECT_EQ(ORX_KDF_Gen(row.mode, row.hash, row.z_length, row.z, row.info_length, row.info,
                          row.output_length, output.data()),
              1u);
    EXPECT_THAT(log.Take(), ElementsAre(std::string("ORX_LIB_KDF_Gen() : ") + row.message));
    EXPECT_THAT(output, Each(0x5a));
  }
}

TEST(KdfTest, TheSecondSelectorNamesNoDigest) {
  orx_test::LogCapture log;
  Bytes output(40, 0x5a);
  EXPECT_EQ(ORX_KDF_Gen(kCounter, 1, 3, kZ.data(), 0, nullptr, 40, output.data()), 1u);
  EXPECT_THAT(log.Take(), ElementsAre("invalid hash algo", "Error computing hash for KDF",
                                      "exiting with status=1"));
  EXPECT_THAT(output, Each(0));
}

// 4 GiB of addresses, 1,024 times the same 4 MiB of memory.
TEST(KdfTest, ALengthThatWrapsWhenItIsRoundedUpGivesZerosAndSuccess) {
  if (sizeof(size_t) == 4) GTEST_SKIP() << "no output of that length fits into 32 bits";
  constexpr uint64_t kWhole = uint64_t{4} << 30;
  constexpr size_t kPart = size_t{4} << 20;
  const int memory = memfd_create("output", 0);
  ASSERT_EQ(ftruncate(memory, kPart), 0);
  auto* const output =
      static_cast<uint8_t*>(mmap(nullptr, static_cast<size_t>(kWhole), PROT_NONE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
  ASSERT_NE(output, MAP_FAILED);
  for (uint64_t at = 0; at < kWhole; at += kPart) {
    ASSERT_NE(mmap(output + at, kPart, PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_FIXED | MAP_POPULATE, memory, 0),
              MAP_FAILED);
  }
  output[0] = 0x5a;
  EXPECT_EQ(ORX_KDF_Gen(kCounter, kDigestSha1, 3, kZ.data(), 0, nullptr, 0xFFFFFFFF - 18, output),
            0u);
  EXPECT_THAT(Bytes(output, output + 100), Each(0));
}

// The worker checks nothing, so that each hash identifier that has the selector's number answers.
TEST(KdfWorkerTest, TakesHashIdentifiersBeyondTheCheckedOnesWithoutOverrun) {
  orx_test::LogCapture log;
  Bytes output(40, 0x5a);
  EXPECT_EQ(ORX_LIB_KDF_Gen(kNoCounter, 2, 3, reinterpret_cast<const uint8_t*>("abc"), 0, nullptr,
                            40, output.data()),
            0u);
  EXPECT_EQ(Hex(output),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"
            "ba7816bf8f01cfea");
  EXPECT_THAT(log.Take(), ElementsAre());

  EXPECT_EQ(ORX_LIB_KDF_Gen(kNoCounter, 4, 0, nullptr, 0, nullptr, 40, output.data()), 1u);
  EXPECT_THAT(log.Take(), ElementsAre("Error computing hash for KDF"));
  EXPECT_THAT(output, Each(0));
}

TEST(RngTest, FillsTheBuffer) {
  Bytes first(32), second(32);
  EXPECT_EQ(ORX_RNG_GetBytes(first.data(), 31), 0u);
  EXPECT_EQ(ORX_RNG_GetBytes(second.data(), 31), 0u);
  EXPECT_NE(first, second);
  EXPECT_EQ(first.back(), 0);
  EXPECT_EQ(ORX_RNG_GetBytes(nullptr, 16), 1u);
  EXPECT_EQ(ORX_RNG_Reseed(), 0u);
}

}  // namespace
