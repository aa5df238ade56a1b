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
using ::testing::ElementsAreArray;
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

struct BuilderRow {
  std::string title;
  AuthorizationSet set;
  std::vector<std::string> expected;
};

class BuilderMethod : public ::testing::TestWithParam<BuilderRow> {};

TEST_P(BuilderMethod, AppendsExactlyItsParametersInOrder) {
  EXPECT_THAT(Texts(GetParam().set), ElementsAreArray(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    All, BuilderMethod,
    ::testing::ValuesIn(std::vector<BuilderRow>{
        {"RsaSigningKey",
         Builder().RsaSigningKey(2048, 0xFFFFFFFFFFFFFFFFu),
         {"ALGORITHM algorithm: RSA", "KEY_SIZE integer: 2048",
          "RSA_PUBLIC_EXPONENT longInteger: -1", "PURPOSE keyPurpose: SIGN",
          "PURPOSE keyPurpose: VERIFY"}},
        {"RsaEncryptionKey",
         Builder().RsaEncryptionKey(4096, 3),
         {"ALGORITHM algorithm: RSA", "KEY_SIZE integer: 4096",
          "RSA_PUBLIC_EXPONENT longInteger: 3", "PURPOSE keyPurpose: ENCRYPT",
          "PURPOSE keyPurpose: DECRYPT"}},
        {"EcdsaSigningKeyBySize",
         Builder().EcdsaSigningKey(256),
         {"ALGORITHM algorithm: EC", "KEY_SIZE integer: 256", "PURPOSE keyPurpose: SIGN",
          "PURPOSE keyPurpose: VERIFY"}},
        {"EcdsaSigningKeyByCurve",
         Builder().EcdsaSigningKey(km::EcCurve::P_256),
         {"ALGORITHM algorithm: EC", "EC_CURVE ecCurve: P_256", "PURPOSE keyPurpose: SIGN",
          "PURPOSE keyPurpose: VERIFY"}},
        {"AesEncryptionKey",
         Builder().AesEncryptionKey(128),
         {"ALGORITHM algorithm: AES", "KEY_SIZE integer: 128", "PURPOSE keyPurpose: ENCRYPT",
          "PURPOSE keyPurpose: DECRYPT"}},
        {"TripleDesEncryptionKey",
         Builder().TripleDesEncryptionKey(168),
         {"ALGORITHM algorithm: TRIPLE_DES", "KEY_SIZE integer: 168", "PURPOSE keyPurpose: ENCRYPT",
          "PURPOSE keyPurpose: DECRYPT"}},
        {"HmacKey",
         Builder().HmacKey(256),
         {"ALGORITHM algorithm: HMAC", "KEY_SIZE integer: 256", "PURPOSE keyPurpose: SIGN",
          "PURPOSE keyPurpose: VERIFY"}},
        {"AttestKey", Builder().AttestKey(), {"PURPOSE keyPurpose: ATTEST_KEY"}},
        {"NoDigestOrPadding",
         Builder().NoDigestOrPadding(),
         {"DIGEST digest: NONE", "PADDING paddingMode: NONE"}},
        {"EcbMode", Builder().EcbMode(), {"BLOCK_MODE blockMode: ECB"}},
        {"GcmModeMinMacLen",
         Builder().GcmModeMinMacLen(96),
         {"BLOCK_MODE blockMode: GCM", "PADDING paddingMode: NONE", "MIN_MAC_LENGTH integer: 96"}},
        {"GcmModeMacLen",
         Builder().GcmModeMacLen(128),
         {"BLOCK_MODE blockMode: GCM", "PADDING paddingMode: NONE", "MAC_LENGTH integer: 128"}},
        {"BlockMode",
         Builder().BlockMode({km::BlockMode::CTR, km::BlockMode::CBC}),
         {"BLOCK_MODE blockMode: CTR", "BLOCK_MODE blockMode: CBC"}},
        {"Digest",
         Builder().Digest({km::Digest::SHA1, km::Digest::SHA_2_256}),
         {"DIGEST digest: SHA1", "DIGEST digest: SHA_2_256"}},
        {"OneDigest", Builder().Digest(km::Digest::MD5), {"DIGEST digest: MD5"}},
        {"OaepMGFDigest",
         Builder().OaepMGFDigest({km::Digest::SHA1}),
         {"RSA_OAEP_MGF_DIGEST digest: SHA1"}},
        {"Padding",
         Builder().Padding({km::PaddingMode::PKCS7, km::PaddingMode::NONE}),
         {"PADDING paddingMode: PKCS7", "PADDING paddingMode: NONE"}},
        {"EmptyLists", Builder().BlockMode({}).Digest(std::vector<km::Digest>{}), {}},
        {"SetDefaultValidity",
         Builder().SetDefaultValidity(),
         {"CERTIFICATE_NOT_BEFORE dateTime: 0", "CERTIFICATE_NOT_AFTER dateTime: 253402300799000"}},
        {"Attestation",
         Builder().AttestationChallenge("ab").AttestationApplicationId(""),
         {"ATTESTATION_CHALLENGE blob: [97, 98]", "ATTESTATION_APPLICATION_ID blob: []"}},
        {"BytesFromPointer",
         Builder().Authorization(TAG_ATTESTATION_ID_MODEL, reinterpret_cast<const uint8_t*>("a\0b"),
                                 3),
         {"ATTESTATION_ID_MODEL blob: [97, 0, 98]"}},
        {"BoolTags",
         Builder().Authorization(TAG_NO_AUTH_REQUIRED).Authorization(TAG_CALLER_NONCE),
         {"NO_AUTH_REQUIRED boolValue: true", "CALLER_NONCE boolValue: true"}},
    }),
    [](const auto& row) { return row.param.title; });

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
}

TEST(AuthorizationSetTest, DeduplicateKeepsATrailingInvalidElement) {
  AuthorizationSet set = Blobs({"n"});
  set.push_back(Invalid(1));
  set.push_back(Invalid(2));
  set.Deduplicate();
  EXPECT_THAT(Texts(set), ElementsAre("NONCE blob: [110]", "INVALID invalid: 2"));

  AuthorizationSet empty;
  empty.Deduplicate();
  EXPECT_THAT(empty, IsEmpty());
}

TEST(AuthorizationSetTest, UnionIsSortedWithoutDuplicatesAlsoWithItself) {
  Builder set;
  set.SigningKey();
  set.Union(Builder().EncryptionKey().SigningKey());
  const std::vector<std::string> all = {"PURPOSE keyPurpose: ENCRYPT",
                                        "PURPOSE keyPurpose: DECRYPT", "PURPOSE keyPurpose: SIGN",
                                        "PURPOSE keyPurpose: VERIFY"};
  EXPECT_THAT(Texts(set), ElementsAreArray(all));
  set.Union(set);
  EXPECT_THAT(Texts(set), ElementsAreArray(all));
}

TEST(AuthorizationSetTest, SubtractRemovesOnlyWholeMatches) {
  Builder set;
  set.SigningKey().EncryptionKey();
  set.Subtract(Builder().Digest(km::Digest::NONE).Authorization(TAG_PURPOSE, km::KeyPurpose::SIGN));
  EXPECT_THAT(Texts(set), ElementsAre("PURPOSE keyPurpose: ENCRYPT", "PURPOSE keyPurpose: DECRYPT",
                                      "PURPOSE keyPurpose: VERIFY"));
  set.Subtract(set);
  EXPECT_THAT(set, IsEmpty());
}

TEST(AuthorizationSetTest, SearchesByTagBehindAPosition) {
  const AuthorizationSet set = Builder().SigningKey().AesKey(256).EncryptionKey();
  EXPECT_EQ(set.find(km::Tag::PURPOSE), 0);
  EXPECT_EQ(set.find(km::Tag::PURPOSE, 1), 4);
  EXPECT_EQ(set.find(km::Tag::PURPOSE, 5), -1);
  EXPECT_EQ(AuthorizationSet().find(km::Tag::PURPOSE), -1);
  EXPECT_EQ(set.GetTagCount(km::Tag::PURPOSE), 4u);
  EXPECT_EQ(set.GetTagCount(km::Tag::DIGEST), 0u);
  ASSERT_TRUE(set.GetEntry(km::Tag::PURPOSE));
  EXPECT_EQ(&set.GetEntry(km::Tag::PURPOSE)->get(), &set[0]);
  EXPECT_FALSE(set.GetEntry(km::Tag::DIGEST));
}

TEST(AuthorizationSetTest, EraseRefusesOnlyTheIndexPastTheEnd) {
  Builder set;
  set.SigningKey();
  EXPECT_FALSE(set.erase(2));
  EXPECT_TRUE(set.erase(0));
  EXPECT_THAT(Texts(set), ElementsAre("PURPOSE keyPurpose: VERIFY"));
  set.Clear();
  EXPECT_FALSE(set.erase(0));
}

TEST(AidlBufTest, AssignmentTakesTheLengthOfTheString) {
  AidlBuf buffer(std::string("longer\0text", 11));
  EXPECT_EQ(buffer.size(), 11u);
  buffer = std::string("ab");
  EXPECT_THAT(buffer, ElementsAre('a', 'b'));
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
