// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <keymint/authorization_set.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/parameter_text.h"

namespace android::hardware::keymint::ORX {
namespace {

using Builder = AuthorizationSetBuilder;

std::string Text(const AuthorizationSet& set) {
  return orx_test::Text(set.vector_data());
}

km::KeyParameter Invalid(int value = 0) {
  return {km::Tag::INVALID, km::KeyParameterValue::make<km::KeyParameterValue::invalid>(value)};
}

AuthorizationSet Blobs(std::initializer_list<std::string> blobs) {
  Builder set;
  for (const std::string& blob : blobs) set.Authorization(TAG_NONCE, blob);
  return set;
}

TEST(AuthorizationSetTest, BuilderMethodsAppendExactlyTheirParametersInOrder) {
  const std::string sign = "PURPOSE=SIGN PURPOSE=VERIFY ";
  const std::string encrypt = "PURPOSE=ENCRYPT PURPOSE=DECRYPT ";
  const std::pair<Builder, std::string> rows[] = {
      {Builder().RsaSigningKey(2048, 0xFFFFFFFFFFFFFFFFu),
       "ALGORITHM=RSA KEY_SIZE=2048 RSA_PUBLIC_EXPONENT=-1 " + sign},
      {Builder().EcdsaSigningKey(km::EcCurve::P_256), "ALGORITHM=EC EC_CURVE=P_256 " + sign},
      {Builder().EcdsaSigningKey(256), "ALGORITHM=EC KEY_SIZE=256 " + sign},
      {Builder().TripleDesEncryptionKey(168), "ALGORITHM=TRIPLE_DES KEY_SIZE=168 " + encrypt},
      {Builder().HmacKey(512), "ALGORITHM=HMAC KEY_SIZE=512 " + sign},
      {Builder().RsaEncryptionKey(2048, 3),
       "ALGORITHM=RSA KEY_SIZE=2048 RSA_PUBLIC_EXPONENT=3 " + encrypt},
      {Builder().NoDigestOrPadding().EcbMode(), "DIGEST=NONE PADDING=NONE BLOCK_MODE=ECB "},
      {Builder().GcmModeMinMacLen(96).GcmModeMacLen(128),
       "BLOCK_MODE=GCM PADDING=NONE MIN_MAC_LENGTH=96 BLOCK_MODE=GCM PADDING=NONE MAC_LENGTH=128 "},
      {Builder().BlockMode({km::BlockMode::CTR, km::BlockMode::CBC}),
       "BLOCK_MODE=CTR BLOCK_MODE=CBC "},
      {Builder().OaepMGFDigest({km::Digest::SHA1}), "RSA_OAEP_MGF_DIGEST=SHA1 "},
      {Builder().Authorization(TAG_NONCE, reinterpret_cast<const uint8_t*>("a\0b"), 3),
       "NONCE=[97, 0, 98] "},
      {Builder().Digest({}).BlockMode({}).OaepMGFDigest({}).Padding({}), ""},
      {Builder().Digest({km::Digest::MD5, km::Digest::SHA1}).Digest(km::Digest::NONE),
       "DIGEST=MD5 DIGEST=SHA1 DIGEST=NONE "},
  };
  for (const auto& [set, text] : rows) EXPECT_EQ(Text(set), text);
}

TEST(AuthorizationSetTest, SortsByteStringsBeforeInvalidBeforeEverythingElse) {
  Builder set;
  set.AesKey(128).Authorization(TAG_NO_AUTH_REQUIRED).SetDefaultValidity();
  set.push_back(Invalid());
  set.AttestationChallenge("x").Authorization(TAG_NONCE, "n").SigningKey();
  set.Sort();
  const std::vector<km::KeyParameter>& sorted = set.vector_data();
  EXPECT_EQ(sorted[0].tag, km::Tag::ATTESTATION_CHALLENGE);
  EXPECT_EQ(sorted[1].tag, km::Tag::NONCE);
  EXPECT_EQ(sorted[2].tag, km::Tag::INVALID);
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
    return static_cast<int32_t>(a.tag) < static_cast<int32_t>(b.tag);
  }));
}

TEST(AuthorizationSetTest, SortsEqualTagsByAlternativeThenByContent) {
  AuthorizationSet set = Blobs({"\x02", "\x01\x02\x03", "\x01\x02", "\xFF"});
  set.push_back({km::Tag::NONCE, km::KeyParameterValue::make<km::KeyParameterValue::integer>(9)});
  set.Sort();
  EXPECT_EQ(Text(set), "NONCE=9 NONCE=[1, 2] NONCE=[1, 2, 3] NONCE=[2] NONCE=[255] ");
}

TEST(AuthorizationSetTest, DeduplicateKeepsOneOfEqualElementsAndDropsInvalidOnes) {
  Builder set;
  set.SigningKey().SigningKey();
  set.push_back(Invalid());
  set.push_back(Invalid());
  set.Deduplicate();
  EXPECT_EQ(Text(set), "PURPOSE=SIGN PURPOSE=VERIFY ");

  // One behind the byte strings stays.
  AuthorizationSet trailing = Blobs({"n"});
  trailing.push_back(Invalid(1));
  trailing.push_back(Invalid(2));
  trailing.Deduplicate();
  EXPECT_EQ(Text(trailing), "NONCE=[110] INVALID=2 ");
}

TEST(AuthorizationSetTest, SubtractTakesOneEqualElementForEachOfTheOthers) {
  AuthorizationSet set = Blobs({"b", "a", "b"});  // deduplicated first
  set.push_back(Invalid(2));
  set.push_back(Invalid(2));  // of which the last stays, behind the byte strings
  AuthorizationSet other = Blobs({"b", "c", "b"});
  other.push_back(TAG_PURPOSE, km::KeyPurpose::SIGN);
  set.Subtract(other);
  EXPECT_EQ(Text(set), "NONCE=[97] INVALID=2 ");
  set.Subtract(set);
  EXPECT_EQ(Text(set), "");
}

TEST(AuthorizationSetTest, FindsBehindAPositionAndErasesUpToTheSize) {
  Builder set;
  set.SigningKey().EncryptionKey();
  EXPECT_EQ(set.find(km::Tag::PURPOSE), 0);
  EXPECT_EQ(set.find(km::Tag::PURPOSE, 2), 3);
  EXPECT_EQ(set.find(km::Tag::PURPOSE, 3), -1);
  EXPECT_EQ(set.GetTagCount(km::Tag::PURPOSE), 4u);
  EXPECT_FALSE(set.erase(4));
  EXPECT_TRUE(set.erase(3));
  EXPECT_EQ(set.GetTagCount(km::Tag::PURPOSE), 3u);
  EXPECT_FALSE(set.GetEntry(km::Tag::DIGEST));
}

TEST(AuthorizationSetTest, UnionIsSortedWithoutDuplicatesAlsoWithItself) {
  Builder set;
  set.SigningKey();
  set.Union(Builder().EncryptionKey().SigningKey());
  set.Union(set);
  EXPECT_EQ(Text(set), "PURPOSE=ENCRYPT PURPOSE=DECRYPT PURPOSE=SIGN PURPOSE=VERIFY ");
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
