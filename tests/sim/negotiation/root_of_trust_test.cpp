// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/root_of_trust.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/sim/simulated_device.h"
#include "tests/support/hex.h"

namespace orx_sim {
namespace {

HmacKey Key(uint8_t fill) {
  HmacKey key;
  key.fill(fill);
  return key;
}

RootOfTrust Root() {
  RootOfTrust root;
  root.boot_patch_level = 20240105;
  return root;
}

TEST(RootOfTrustTest, EncodesTheKnownStructure) {
  RootOfTrustChallenge challenge;
  for (size_t i = 0; i < challenge.size(); ++i) challenge[i] = static_cast<uint8_t>(i);
  const std::vector<uint8_t> expected = orx_test::FromHex(
      "d1 84 43a10105 a0 584f d99c41 85"
      "5820 0000000000000000000000000000000000000000000000000000000000000000 f4 02"
      "5820 0000000000000000000000000000000000000000000000000000000000000000 1a0134d6e9"
      "5820 327d03c66c91d86daa4e116b4a7d77f37dd0072bb386df87aa6f2c8a9949b90c");
  ASSERT_EQ(expected.size(), 122u);
  EXPECT_EQ(EncodeRootOfTrust(Root(), challenge, Key(0x0b)), expected);
}

TEST(RootOfTrustTest, IsAcceptedOncePerChallengeUnchangedUnderTheRightKey) {
  RootOfTrustReceiver receiver;
  EXPECT_FALSE(receiver.Accept(EncodeRootOfTrust(Root(), {}, Key(1)), Key(1)))
      << "there is no challenge yet";
  const auto first = EncodeRootOfTrust(Root(), receiver.NewChallenge(), Key(1));
  EXPECT_FALSE(receiver.Accept(first, Key(2)));
  auto changed = first;
  for (size_t bit = 0; bit < 8 * first.size(); ++bit) {
    changed[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    EXPECT_FALSE(receiver.Accept(changed, Key(1))) << "bit " << bit;
    changed = first;
  }
  changed.push_back(0);
  EXPECT_FALSE(receiver.Accept(changed, Key(1)));
  changed.pop_back();
  changed.insert(changed.begin(), first[0]);
  EXPECT_FALSE(receiver.Accept(changed, Key(1))) << "two tags";
  EXPECT_TRUE(receiver.Accept(first, Key(1))) << "a refusal must not spend the challenge";
  EXPECT_FALSE(receiver.Accept(first, Key(1))) << "the challenge is spent";
  receiver.NewChallenge();
  EXPECT_FALSE(receiver.Accept(first, Key(1))) << "the answer to an earlier challenge";
}

TEST(RootOfTrustTest, EachInstanceLacksTheOthersMethods) {
  TestDevice device;
  RootOfTrustChallenge challenge{};
  std::vector<uint8_t> root;
  EXPECT_EQ(CodeOf(device.tee().keymint->getRootOfTrustChallenge(&challenge)),
            ErrorCode::UNIMPLEMENTED);
  EXPECT_EQ(CodeOf(device.tee().keymint->sendRootOfTrust({})), ErrorCode::UNIMPLEMENTED);
  EXPECT_EQ(CodeOf(device.strongbox().keymint->getRootOfTrust(challenge, &root)),
            ErrorCode::UNIMPLEMENTED);
  EXPECT_EQ(CodeOf(device.strongbox().keymint->sendRootOfTrust({})),
            ErrorCode::VERIFICATION_FAILED);
}

}  // namespace
}  // namespace orx_sim
