// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <keymint/authorization_set.h>

#include <algorithm>
#include <string>
#include <vector>

namespace android::hardware::keymint::ORX {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Builder = AuthorizationSetBuilder;

std::vector<std::string> Texts(const AuthorizationSet& set) {
  std::vector<std::string> texts;
  for (const km::KeyParameter& parameter : set) {
    const std::string tag = toString(parameter.tag);
    const std::string value = parameter.value.toString();
    // "KeyParameterValue{algorithm: RSA}" becomes "algorithm: RSA".
    const size_t brace = value.find('{') + 1;
    texts.push_back(tag + " " + value.substr(brace, value.size() - brace - 1));
  }
  return texts;
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
  EXPECT_THAT(Texts(Builder().RsaSigningKey(2048, 0xFFFFFFFFFFFFFFFFu)),
              ElementsAre("ALGORITHM algorithm: RSA", "KEY_SIZE integer: 2048",
                          "RSA_PUBLIC_EXPONENT longInteger: -1", "PURPOSE keyPurpose: SIGN",
                          "PURPOSE keyPurpose: VERIFY"));
  EXPECT_THAT(Texts(Builder().EcdsaSigningKey(km::EcCurve::P_256)),
              ElementsAre("ALGORITHM algorithm: EC", "EC_CURVE ecCurve: P_256",
                          "PURPOSE keyPurpose: SIGN", "PURPOSE keyPurpose: VERIFY"));
  const std::string sign = "PURPOSE keyPurpose: SIGN", verify = "PURPOSE keyPurpose: VERIFY";
  EXPECT_THAT(Texts(Builder().EcdsaSigningKey(256).TripleDesEncryptionKey(168).HmacKey(512)),
              ElementsAre("ALGORITHM algorithm: EC", "KEY_SIZE integer: 256", sign, verify,
                          "ALGORITHM algorithm: TRIPLE_DES", "KEY_SIZE integer: 168",
                          "PURPOSE keyPurpose: ENCRYPT", "PURPOSE keyPurpose: DECRYPT",
                          "ALGORITHM algorithm: HMAC", "KEY_SIZE integer: 512", sign, verify));
  EXPECT_THAT(Texts(Builder().RsaEncryptionKey(2048, 3)),
              ElementsAre("ALGORITHM algorithm: RSA", "KEY_SIZE integer: 2048",
                          "RSA_PUBLIC_EXPONENT longInteger: 3", "PURPOSE keyPurpose: ENCRYPT",
                          "PURPOSE keyPurpose: DECRYPT"));
  EXPECT_THAT(
      Texts(Builder().NoDigestOrPadding().EcbMode()),
      ElementsAre("DIGEST digest: NONE", "PADDING paddingMode: NONE", "BLOCK_MODE blockMode: ECB"));
  EXPECT_THAT(Texts(Builder().GcmModeMinMacLen(96).GcmModeMacLen(128)),
              ElementsAre("BLOCK_MODE blockMode: GCM", "PADDING paddingMode: NONE",
                          "MIN_MAC_LENGTH integer: 96", "BLOCK_MODE blockMode: GCM",
                          "PADDING paddingMode: NONE", "MAC_LENGTH integer: 128"));
  EXPECT_THAT(
      Texts(Builder()
                .BlockMode({km::BlockMode::CTR, km::BlockMode::CBC})
                .OaepMGFDigest({km::Digest::SHA1})
                .Authorization(TAG_ATTESTATION_ID_MODEL, reinterpret_cast<const uint8_t*>("a\0b"),
                               3)),
      ElementsAre("BLOCK_MODE blockMode: CTR", "BLOCK_MODE blockMode: CBC",
                  "RSA_OAEP_MGF_DIGEST digest: SHA1", "ATTESTATION_ID_MODEL blob: [97, 0, 98]"));
}

TEST(AuthorizationSetTest, AnEmptyListAppendsNothing) {
  EXPECT_THAT(Texts(Builder().Digest({}).BlockMode({}).OaepMGFDigest({}).Padding({})), IsEmpty());
  EXPECT_THAT(Texts(Builder().Digest({km::Digest::MD5, km::Digest::SHA1}).Digest(km::Digest::NONE)),
              ElementsAre("DIGEST digest: MD5", "DIGEST digest: SHA1", "DIGEST digest: NONE"));
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
  EXPECT_THAT(Texts(set),
              ElementsAre("NONCE integer: 9", "NONCE blob: [1, 2]", "NONCE blob: [1, 2, 3]",
                          "NONCE blob: [2]", "NONCE blob: [255]"));
}

TEST(AuthorizationSetTest, DeduplicateKeepsOneOfEqualElementsAndDropsInvalidOnes) {
  Builder set;
  set.SigningKey().SigningKey();
  set.push_back(Invalid());
  set.push_back(Invalid());
  set.Deduplicate();
  EXPECT_THAT(Texts(set), ElementsAre("PURPOSE keyPurpose: SIGN", "PURPOSE keyPurpose: VERIFY"));

  // One behind the byte strings stays.
  AuthorizationSet trailing = Blobs({"n"});
  trailing.push_back(Invalid(1));
  trailing.push_back(Invalid(2));
  trailing.Deduplicate();
  EXPECT_THAT(Texts(trailing), ElementsAre("NONCE blob: [110]", "INVALID invalid: 2"));
}

TEST(AuthorizationSetTest, SubtractTakesOneEqualElementForEachOfTheOthers) {
  AuthorizationSet set = Blobs({"b", "a", "b"});  // deduplicated first
  set.push_back(Invalid(2));
  set.push_back(Invalid(2));  // of which the last stays, behind the byte strings
  AuthorizationSet other = Blobs({"b", "c", "b"});
  other.push_back(TAG_PURPOSE, km::KeyPurpose::SIGN);
  set.Subtract(other);
  EXPECT_THAT(Texts(set), ElementsAre("NONCE blob: [97]", "INVALID invalid: 2"));
  set.Subtract(set);
  EXPECT_THAT(Texts(set), IsEmpty());
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
  EXPECT_THAT(Texts(set), ElementsAre("PURPOSE keyPurpose: ENCRYPT", "PURPOSE keyPurpose: DECRYPT",
                                      "PURPOSE keyPurpose: SIGN", "PURPOSE keyPurpose: VERIFY"));
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
