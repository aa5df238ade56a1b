// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/BnRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/IKeyMintOperation.h>
#include <aidl/android/hardware/security/secureclock/ISecureClock.h>
#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace aidl::android::hardware::security::keymint {
namespace {

using ::android::internal::ToString;
using Value = KeyParameterValue;

// A missing, doubled or mistyped entry anywhere in an enum shows in its size or its sum.
template <typename Enum>
void CheckEnum(size_t size, int64_t sum, const std::map<std::string, int64_t>& some) {
  std::map<std::string, int64_t> values;
  int64_t total = 0;
  for (const Enum value : ndk::enum_range<Enum>()) {
    values[toString(value)] = static_cast<int64_t>(value);
    total += static_cast<int64_t>(value);
  }
  EXPECT_EQ(values.size(), size);
  EXPECT_EQ(total, sum);
  for (const auto& [name, value] : some) {
    ASSERT_EQ(values.count(name), 1u) << name;
    EXPECT_EQ(values[name], value) << name;
  }
}

TEST(Enums, HoldTheirPublishedValues) {
  CheckEnum<Algorithm>(5, 197, {{"EC", 3}, {"TRIPLE_DES", 33}, {"HMAC", 128}});
  CheckEnum<BlockMode>(4, 38, {{"CBC", 2}, {"GCM", 32}});
  CheckEnum<Digest>(7, 21, {{"NONE", 0}, {"SHA1", 2}, {"SHA_2_256", 4}});
  CheckEnum<EcCurve>(5, 10, {{"P_256", 1}, {"CURVE_25519", 4}});
  CheckEnum<HardwareAuthenticatorType>(4, 2, {{"ANY", -1}, {"FINGERPRINT", 2}});
  CheckEnum<KeyFormat>(3, 4, {{"PKCS8", 1}, {"RAW", 3}});
  CheckEnum<KeyOrigin>(5, 10, {{"IMPORTED", 2}, {"SECURELY_IMPORTED", 4}});
  CheckEnum<KeyPurpose>(7, 24, {{"VERIFY", 3}, {"WRAP_KEY", 5}, {"ATTEST_KEY", 7}});
  CheckEnum<PaddingMode>(6, 79, {{"NONE", 1}, {"RSA_PKCS1_1_5_SIGN", 5}, {"PKCS7", 64}});
  CheckEnum<SecurityLevel>(4, 103, {{"STRONGBOX", 2}, {"KEYSTORE", 100}});
  CheckEnum<Value::Tag>(15, 105, {{"invalid", 0}, {"boolValue", 10}, {"blob", 14}});
  // 0 to -85 without -42 and -43, then three more.
  CheckEnum<ErrorCode>(87, -(85 * 86 / 2 - 42 - 43) - 100 - 101 - 1000,
                       {{"INVALID_INPUT_LENGTH", -21},
                        {"MEMORY_ALLOCATION_FAILED", -41},
                        {"IMPORT_PARAMETER_MISMATCH", -44},
                        {"KEY_REQUIRES_UPGRADE", -62},
                        {"ATTESTATION_KEYS_NOT_PROVISIONED", -74},
                        {"HARDWARE_NOT_YET_AVAILABLE", -85},
                        {"VERSION_MISMATCH", -101},
                        {"UNKNOWN_ERROR", -1000}});
}

// Type bits and numbers are pinned apart: so many tags of each type, the numbers ascending.
TEST(Enums, TagsAreATypeAndAnAscendingNumber) {
  std::map<TagType, int> counts;
  uint32_t last = 0;
  uint32_t sum = 0;
  for (const Tag tag : ndk::enum_range<Tag>()) {
    const auto bits = static_cast<uint32_t>(tag);
    ++counts[static_cast<TagType>(bits & 0xF0000000u)];
    EXPECT_TRUE(tag == Tag::INVALID || (bits & 0x0FFFFFFFu) > last) << toString(tag);
    last = bits & 0x0FFFFFFFu;
    sum += last;
  }
  EXPECT_EQ(sum, 35852u);
  const std::map<TagType, int> expected = {
      {TagType::INVALID, 1}, {TagType::ENUM, 5},      {TagType::ENUM_REP, 5}, {TagType::UINT, 13},
      {TagType::ULONG, 1},   {TagType::ULONG_REP, 1}, {TagType::DATE, 6},     {TagType::BOOL, 14},
      {TagType::BIGNUM, 1},  {TagType::BYTES, 19}};
  EXPECT_EQ(counts, expected);
  CheckEnum<TagType>(11, 1879048192,
                     {{"ENUM", 268435456}, {"BOOL", 1879048192}, {"BYTES", -1879048192}});
  const std::map<Tag, int32_t> some = {{Tag::PURPOSE, 536870913},
                                       {Tag::ALGORITHM, 268435458},
                                       {Tag::KEY_SIZE, 805306371},
                                       {Tag::RSA_PUBLIC_EXPONENT, 1342177480},
                                       {Tag::USER_SECURE_ID, -1610612234},
                                       {Tag::NO_AUTH_REQUIRED, 1879048695},
                                       {Tag::ATTESTATION_ID_SECOND_IMEI, -1879047469},
                                       {Tag::CERTIFICATE_SERIAL, -2147482642},
                                       {Tag::CERTIFICATE_NOT_AFTER, 1610613745},
                                       {Tag::NONCE, -1879047191}};
  for (const auto& [tag, value] : some) EXPECT_EQ(static_cast<int32_t>(tag), value);
}

class Operation : public IKeyMintOperationDefault {};

TEST(Text, IsThatOfTheGeneratedTypes) {
  const std::vector<uint8_t> acme = {'a', 'c', 'm', 'e'};
  const struct {
    std::string text;
    const char* expected;
  } kCases[] = {
      {toString(ErrorCode(-66)), "CANNOT_ATTEST_IDS"},
      {toString(ErrorCode(-42)), "-42"},
      {toString(ErrorCode(-10001)), "-10001"},
      {toString(static_cast<Tag>(0x900002C6)), "ATTESTATION_ID_BRAND"},
      {toString(static_cast<Tag>(0x90002711)), "-1879038191"},
      {toString(HardwareAuthenticatorType(-1)), "ANY"},
      {toString(HardwareAuthenticatorType(3)), "3"},
      {toString(Value::blob), "blob"},
      {KeyParameter{Tag::ALGORITHM, Algorithm::EC}.toString(),
       "KeyParameter{tag: ALGORITHM, value: KeyParameterValue{algorithm: EC}}"},
      {KeyParameter{Tag::KEY_SIZE, Value::make<Value::integer>(2048)}.toString(),
       "KeyParameter{tag: KEY_SIZE, value: KeyParameterValue{integer: 2048}}"},
      {KeyParameter{Tag::NO_AUTH_REQUIRED, true}.toString(),
       "KeyParameter{tag: NO_AUTH_REQUIRED, value: KeyParameterValue{boolValue: true}}"},
      {KeyParameter{Tag::ATTESTATION_ID_BRAND, acme}.toString(),
       "KeyParameter{tag: ATTESTATION_ID_BRAND, value: KeyParameterValue{blob: [97, 99, 109, "
       "101]}}"},
      {KeyParameter().toString(),
       "KeyParameter{tag: INVALID, value: KeyParameterValue{invalid: 0}}"},
      {KeyParameter{static_cast<Tag>(0x30002711), Value::make<Value::integer>(7)}.toString(),
       "KeyParameter{tag: 805316369, value: KeyParameterValue{integer: 7}}"},
      {KeyParameter{Tag::CERTIFICATE_NOT_AFTER, Value::make<Value::dateTime>(253402300799000)}
           .toString(),
       "KeyParameter{tag: CERTIFICATE_NOT_AFTER, value: KeyParameterValue{dateTime: "
       "253402300799000}}"},
      {KeyCharacteristics().toString(),
       "KeyCharacteristics{securityLevel: SOFTWARE, authorizations: []}"},
      {HardwareAuthToken().toString(),
       "HardwareAuthToken{challenge: 0, userId: 0, authenticatorId: 0, authenticatorType: NONE, "
       "timestamp: Timestamp{milliSeconds: 0}, mac: []}"},
      {BeginResult{9, {}, nullptr}.toString(),
       "BeginResult{challenge: 9, params: [], operation: (null)}"},
      {BeginResult{9, {}, ndk::SharedRefBase::make<Operation>()}.toString(),
       "BeginResult{challenge: 9, params: [], operation: <unimplemented>}"},
      {MacedPublicKey{{132, 67}}.toString(), "MacedPublicKey{macedKey: [132, 67]}"},
      {RpcHardwareInfo().toString(),
       "RpcHardwareInfo{versionNumber: 0, rpcAuthorName: , supportedEekCurve: 0, uniqueId: "
       "(null), supportedNumKeysInCsr: 4}"},
      {KeyMintHardwareInfo{3, SecurityLevel::STRONGBOX, "name", "author", true}.toString(),
       "KeyMintHardwareInfo{versionNumber: 3, securityLevel: STRONGBOX, keyMintName: name, "
       "keyMintAuthorName: author, timestampTokenRequired: true}"},
  };
  for (const auto& row : kCases) EXPECT_EQ(row.text, row.expected);
}

TEST(Text, FollowsTheTypeOfTheValue) {
  struct Nameless {};
  const int number = 5;
  const struct {
    std::string text;
    const char* expected;
  } kCases[] = {
      {ToString(false), "false"},
      {ToString(u'A'), "A"},
      {ToString(u'\u00e4'), "\xc3\xa4"},
      {ToString(u'\u20ac'), "\xe2\x82\xac"},
      {ToString(uint8_t{65}), "65"},
      {ToString(int8_t{-1}), "-1"},
      {ToString(std::string("as is")), "as is"},
      {ToString(ndk::ScopedFileDescriptor()), "fd:-1"},
      {ToString(std::optional<bool>(true)), "true"},
      {ToString(std::unique_ptr<int>()), "(null)"},
      {ToString(&number), "5"},
      {ToString(std::vector<std::string>{"a", "b"}), "[a, b]"},
      {ToString(std::array<uint8_t, 3>{1, 255, 0}), "[1, 255, 0]"},
      {ToString(std::vector<bool>{true, false}), "[true, false]"},
      {ToString(Nameless()), "{no toString() implemented}"},
  };
  for (const auto& row : kCases) EXPECT_EQ(row.text, row.expected);
}

TEST(Union, HoldsOneAlternative) {
  Value value;
  EXPECT_EQ(value.getTag(), Value::invalid);
  EXPECT_EQ(value.get<Value::invalid>(), 0);
  value.set<Value::blob>(3, uint8_t{7});
  EXPECT_EQ(value.getTag(), Value::blob);
  EXPECT_EQ(value.get<Value::blob>(), std::vector<uint8_t>(3, 7));
  value.get<Value::blob>().pop_back();
  EXPECT_EQ(value, (Value::make<Value::blob>({uint8_t{7}, uint8_t{7}})));
  value = PaddingMode::PKCS7;
  EXPECT_EQ(value.get<Value::paddingMode>(), PaddingMode::PKCS7);
  const Value& constant = value;
  EXPECT_DEATH(static_cast<void>(constant.get<Value::digest>()),
               "assertion \"bad access: a wrong tag\" failed");
  EXPECT_DEATH(value.get<Value::blob>().clear(), "bad access: a wrong tag");
}

TEST(Union, OrdersByAlternativeThenValue) {
  const Value ascending[] = {
      Value::make<Value::invalid>(-1),
      Value(),
      Algorithm::RSA,
      Algorithm::HMAC,
      HardwareAuthenticatorType::ANY,
      HardwareAuthenticatorType::NONE,
      false,
      Value::make<Value::integer>(static_cast<int32_t>(0x80000000u)),
      Value::make<Value::integer>(5),
      Value::make<Value::longInteger>(5),
      Value::make<Value::dateTime>(-5),
      std::vector<uint8_t>{},
      std::vector<uint8_t>{0x7F, 1},
      std::vector<uint8_t>{0x80},
  };
  for (size_t i = 0; i < std::size(ascending); ++i) {
    for (size_t j = 0; j < std::size(ascending); ++j) {
      SCOPED_TRACE(ascending[i].toString() + " and " + ascending[j].toString());
      EXPECT_EQ(ascending[i] < ascending[j], i < j);
      EXPECT_EQ(ascending[i] <= ascending[j], i <= j);
      EXPECT_EQ(ascending[i] > ascending[j], i > j);
      EXPECT_EQ(ascending[i] >= ascending[j], i >= j);
      EXPECT_EQ(ascending[i] == ascending[j], i == j);
      EXPECT_EQ(ascending[i] != ascending[j], i != j);
    }
  }
}

TEST(Parcelable, ComparesFieldByFieldInOrder) {
  const KeyParameter base{Tag::KEY_SIZE, Value::make<Value::integer>(128)};
  EXPECT_EQ(base, KeyParameter(base));
  // Tags compare signed: one with the top bit set comes before all others.
  EXPECT_LT((KeyParameter{Tag::NONCE, std::vector<uint8_t>{9}}), KeyParameter());
  EXPECT_LT(base, (KeyParameter{Tag::KEY_SIZE, Value::make<Value::integer>(256)}));
  EXPECT_LT(base, (KeyParameter{Tag::NO_AUTH_REQUIRED, Value()})) << "the tag goes first";
  EXPECT_GT((Certificate{{1}}), Certificate());

  RpcHardwareInfo info;
  RpcHardwareInfo other;
  other.uniqueId = "";
  EXPECT_NE(info, other);
  EXPECT_LT(info, other) << "an absent value comes first";
  info.rpcAuthorName = "a";
  EXPECT_GT(info, other) << "an earlier field decides";
  EXPECT_FALSE(info < other);
}

TEST(Interface, IdentityIsThatOfTheFrozenVersion) {
  const struct {
    const char* descriptor;
    int32_t version;
    std::string hash;
    const char* expected;
  } kCases[] = {
      {IKeyMintDevice::descriptor, IKeyMintDevice::version, IKeyMintDevice::hash,
       "keymint.IKeyMintDevice 3 74a538630d5d90f732f361a2313cbb69b09eb047"},
      {IKeyMintOperation::descriptor, IKeyMintOperation::version, IKeyMintOperation::hash,
       "keymint.IKeyMintOperation 3 74a538630d5d90f732f361a2313cbb69b09eb047"},
      {IRemotelyProvisionedComponent::descriptor, IRemotelyProvisionedComponent::version,
       IRemotelyProvisionedComponent::hash,
       "keymint.IRemotelyProvisionedComponent 3 7d14edbfab5c490efa407ba55fa80614bb48ae8e"},
      {sharedsecret::ISharedSecret::descriptor, sharedsecret::ISharedSecret::version,
       sharedsecret::ISharedSecret::hash,
       "sharedsecret.ISharedSecret 1 aea3745b559d2977f0676952e510fb0547a52140"},
      {secureclock::ISecureClock::descriptor, secureclock::ISecureClock::version,
       secureclock::ISecureClock::hash,
       "secureclock.ISecureClock 1 cd55ca9963c6a57fa5f2f120a45c6e0c4fafb423"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(row.descriptor + (" " + std::to_string(row.version)) + " " + row.hash,
              std::string("android.hardware.security.") + row.expected);
  }
  EXPECT_EQ(BnKeyMintDevice::makeServiceName("strongbox"),
            "android.hardware.security.keymint.IKeyMintDevice/strongbox");
  EXPECT_STREQ(sharedsecret::ISharedSecret::KEY_AGREEMENT_LABEL, "KeymasterSharedMac");
  EXPECT_STREQ(sharedsecret::ISharedSecret::KEY_CHECK_LABEL, "Keymaster HMAC Verification");
  EXPECT_STREQ(KeyParameter::descriptor, "android.hardware.security.keymint.KeyParameter");
}

TEST(Interface, TransactionCodesFollowTheDeclaredOrder) {
  EXPECT_EQ(IKeyMintDevice::TRANSACTION_getHardwareInfo, 1u);
  EXPECT_EQ(IKeyMintDevice::TRANSACTION_importKey, 4u);
  EXPECT_EQ(IKeyMintDevice::TRANSACTION_begin, 10u);
  EXPECT_EQ(IKeyMintDevice::TRANSACTION_sendRootOfTrust, 17u);
  EXPECT_EQ(IKeyMintOperation::TRANSACTION_abort, 4u);
  EXPECT_EQ(IRemotelyProvisionedComponent::TRANSACTION_generateCertificateRequestV2, 4u);
  EXPECT_EQ(sharedsecret::ISharedSecret::TRANSACTION_computeSharedSecret, 2u);
}

}  // namespace
}  // namespace aidl::android::hardware::security::keymint
