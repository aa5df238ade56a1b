// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/chain/attestation_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/hex.h"

namespace orx_tool {
namespace {

using testing::ElementsAre;

// The shortest form, as DER demands.
std::string Length(const std::string& hex) {
  const size_t size = hex.size() / 2;
  const auto low = static_cast<uint8_t>(size);
  if (size < 0x80) return orx_test::Hex({low});
  if (size < 0x100) return orx_test::Hex({0x81, low});
  return orx_test::Hex({0x82, static_cast<uint8_t>(size >> 8), low});
}

std::string Element(const std::string& tag, const std::string& hex) {
  return tag + Length(hex) + hex;
}

std::string Sequence(const std::string& hex) {
  return Element("30", hex);
}

std::string Octets(const std::string& hex) {
  return Element("04", hex);
}

// A record as devices write them: TRUE as 01, tags of old and new versions, one of a vendor, and an
// entry that is a NULL where a number belongs.
std::vector<uint8_t> MakeRecord() {
  const std::string package = Sequence(Octets("6170702e6f7278") + "020107");
  const std::string application = Sequence(Element("31", package) + Element("31", Octets("ab01")));
  const std::string software =
      Sequence(Element("bf853d", "020601990c3a2400") + Element("bf8545", Octets(application)));
  const std::string root_of_trust =
      Sequence(Octets("414243") + "010101" + "0a0102" + Octets("0102"));
  const std::string hardware =
      Sequence(Element("a1", "3106020102020107") + Element("a3", "0500") + Element("ab", "020103") +
               Element("bf853f", "0500") + Element("bf8540", root_of_trust) +
               Element("bf8554", Octets("4142")) + Element("bfce10", "020105"));
  return orx_test::FromHex(
      Sequence("0202012c0a0101"
               "0202012c0a0101" +
               Octets("66756e") + "0400" + software + hardware));
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
}

}  // namespace
}  // namespace orx_tool
