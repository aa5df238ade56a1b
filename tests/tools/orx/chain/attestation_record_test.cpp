// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/chain/attestation_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/hex.h"

namespace orx_tool {
namespace {

using testing::ElementsAre;

// A record as devices write them: TRUE as 01, tags of old and new versions, one of a vendor, and an
// entry that is a NULL where a number belongs; one stands behind the first root of trust, too. A
// line is a set of authorizations, or what is before.
std::vector<uint8_t> MakeRecord() {
  return orx_test::FromHex(
      "308197 0202012c 0a0101 0202012c 0a0101 040366756e 0400 "
      "3041 bf853d08020601990c3a2400 bf854013300f0403414243 010101 0a0102 04020102 0500 "
      "bf85451a04183016 310e300c04076170702e6f7278020107 31040402ab01 "
      "303d a1083106020102020107 a3020500 ab03020103 bf853f020500 bf854011300f0403414243 010101 "
      "0a0102 04020102 bf85540404024142 bfce1003020105");
}

std::vector<std::string> Lines(const std::vector<uint8_t>& der) {
  std::vector<std::string> lines;
  AppendRecordLines(DecodeKeyDescription(der.data(), der.size()), 0, &lines);
  return lines;
}

TEST(AttestationRecordTest, IsShownInItsOwnOrderWhateverItHolds) {
  EXPECT_THAT(
      Lines(MakeRecord()),
      ElementsAre("attestationVersion: 300", "attestationSecurityLevel: TrustedEnvironment",
                  "keyMintVersion: 300", "keyMintSecurityLevel: TrustedEnvironment",
                  "attestationChallenge: fun",
                  "uniqueId: ", "softwareEnforced:", "  creationDateTime: 2025-09-02T20:59:20Z",
                  "  rootOfTrust: not readable: 300f04034142430101010a0102040201020500",
                  "  attestationApplicationId:", "    packages: app.orx version 7",
                  "    signerDigests: ab01", "hardwareEnforced:", "  purpose: SIGN, ATTEST_KEY",
                  "  keySize: not readable: 0500", "  mlDsaVariant: 3", "  rollbackResistant: true",
                  "  rootOfTrust:", "    verifiedBootKey: 414243", "    deviceLocked: true",
                  "    verifiedBootState: Unverified", "    verifiedBootHash: 0102",
                  "  moduleHash: 4142", "  tag 10000: 020105"));
}

// Every record is shown whole or says where it ends to make sense.
bool SaysWhereItEnds(const Record& record) {
  if (record.empty()) return false;
  return record.size() == 8 || record.back().name == "error";
}

TEST(AttestationRecordTest, DamageIsToldAndNeverRead) {
  const std::vector<uint8_t> whole = MakeRecord();
  for (size_t size = 0; size < whole.size(); ++size) {
    const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_EQ(DecodeKeyDescription(cut.data(), cut.size()).back().name, "error") << size;
  }
  for (size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    std::vector<uint8_t> flipped = whole;
    flipped[bit / 8] = static_cast<uint8_t>(flipped[bit / 8] ^ (1 << bit % 8));
    const Record record = DecodeKeyDescription(flipped.data(), flipped.size());
    EXPECT_TRUE(SaysWhereItEnds(record)) << bit;
  }
  std::vector<uint8_t> beyond = whole;
  ++beyond[whole.size() - 4];  // the length of the last entry of a set
  const Record record = DecodeKeyDescription(beyond.data(), beyond.size());
  EXPECT_EQ(record.back().entries.back().name, "error");
}

}  // namespace
}  // namespace orx_tool
