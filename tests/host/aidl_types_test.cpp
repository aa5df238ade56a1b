// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/BnRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace aidl::android::hardware::security::keymint {
namespace {

using ::android::internal::ToString;
using Value = KeyParameterValue;

// A missing, doubled or mistyped entry of the long lists shows in the size or the sum.
template <typename Enum>
std::pair<int, int64_t> SizeAndSum() {
  std::pair<int, int64_t> seen;
  for (const Enum value : ndk::enum_range<Enum>()) {
    seen = {seen.first + 1, seen.second + static_cast<int64_t>(value)};
  }
  return seen;
}

TEST(Enums, AreComplete) {
  // Their types add up to 46, their numbers to 35852.
  EXPECT_EQ(SizeAndSum<Tag>(), std::pair(66, (int64_t{46} << 28) + 35852));
  // 0 to -85 without -42 and -43, then three more.
  EXPECT_EQ(SizeAndSum<ErrorCode>(),
            std::pair(87, int64_t{-(85 * 86 / 2 - 42 - 43) - 100 - 101 - 1000}));
}

TEST(Text, IsThatOfTheGeneratedTypes) {
  const int number = 5;
  const std::pair<std::string, const char*> kCases[] = {
      {ToString(false), "false"},
      {ToString(std::unique_ptr<int>()), "(null)"},
      {ToString(&number), "5"},
      {ToString(std::vector<uint8_t>{97, 255}), "[97, 255]"},
      {toString(ErrorCode(-66)), "CANNOT_ATTEST_IDS"},
      {toString(ErrorCode(-42)), "-42"},
      {toString(static_cast<Tag>(0x900002C6)), "ATTESTATION_ID_BRAND"},
      {toString(Algorithm(3)), "EC"},
      {toString(EcCurve(1)), "P_256"},
      {toString(HardwareAuthenticatorType(-1)), "ANY"},
      {KeyParameter{Tag::ALGORITHM, Algorithm::EC}.toString(),
       "KeyParameter{tag: ALGORITHM, value: KeyParameterValue{algorithm: EC}}"},
      {BeginResult{9, {}, ndk::SharedRefBase::make<IKeyMintOperationDefault>()}.toString(),
       "BeginResult{challenge: 9, params: [], operation: <interface>}"},
      {RpcHardwareInfo().toString(),
       "RpcHardwareInfo{versionNumber: 0, rpcAuthorName: , supportedEekCurve: 0, uniqueId: "
       "(null), supportedNumKeysInCsr: 4}"},
      {BnKeyMintDevice::makeServiceName("x"), "android.hardware.security.keymint.IKeyMintDevice/x"},
  };
  for (const auto& [text, expected] : kCases) EXPECT_EQ(text, expected);
}

TEST(Union, HoldsOneAlternative) {
  Value value;
  value.set<Value::blob>(3, uint8_t{7});
  value.get<Value::blob>().pop_back();
  EXPECT_EQ(value, (Value::make<Value::blob>({uint8_t{7}, uint8_t{7}})));
  const Value padding = PaddingMode::PKCS7;
  EXPECT_EQ(padding.get<Value::paddingMode>(), PaddingMode::PKCS7);
  EXPECT_EXIT(static_cast<void>(padding.get<Value::digest>()), testing::KilledBySignal(SIGABRT),
              "assertion \"bad access: a wrong tag\" failed");
  EXPECT_DEATH(value.get<Value::invalid>() = 0, "bad access: a wrong tag");
}

TEST(Order, IsByFieldAlternativeAndValue) {
  const KeyParameter ascending[] = {
      {Tag::NONCE, std::vector<uint8_t>{9}},  // tags compare signed
      {},
      {Tag::KEY_SIZE, Value::make<Value::integer>(5)},
      {Tag::KEY_SIZE, Value::make<Value::longInteger>(-5)},
      {Tag::KEY_SIZE, std::vector<uint8_t>{0x7F, 1}},
      {Tag::KEY_SIZE, std::vector<uint8_t>{0x80}},
      {Tag::NO_AUTH_REQUIRED, Value()},
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

}  // namespace
}  // namespace aidl::android::hardware::security::keymint
