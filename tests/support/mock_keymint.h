// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnKeyMintOperation.h>
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace orx_test {

namespace km = ::aidl::android::hardware::security::keymint;
using Bytes = std::vector<uint8_t>;

// Succeeds is a mock action: the call is answered OK with `value` as its result (the last
// parameter of an AIDL method).
ACTION_P(Succeeds, value) {
  *std::get<std::tuple_size_v<args_type> - 1>(args) = value;
  return ::ndk::ScopedAStatus::ok();
}

// SucceedsWithoutResult is for AIDL methods that return nothing.
ACTION(SucceedsWithoutResult) {
  return ::ndk::ScopedAStatus::ok();
}

// Fails is a mock action: the service answers with its own error `code` (a KeyMint ErrorCode).
ACTION_P(Fails, code) {
  return ::ndk::ScopedAStatus::fromServiceSpecificError(static_cast<int32_t>(code));
}

// TransactionFails is a mock action: the call fails in the transport (STATUS_DEAD_OBJECT, ...).
ACTION_P(TransactionFails, status) {
  return ::ndk::ScopedAStatus::fromStatus(status);
}

using Status = ::ndk::ScopedAStatus;
using Token = std::optional<km::HardwareAuthToken>;
using Time = std::optional<::aidl::android::hardware::security::secureclock::TimeStampToken>;
using Parameters = std::vector<km::KeyParameter>;
using AttestKey = std::optional<km::AttestationKey>;

// What the mocks take and return, by which their parts are named below.
namespace mocked {
using Nothing = Status();
using Version = Status(int32_t*);
using Blob = Status(const Bytes&);
using Aad = Status(const Bytes&, const Token&, const Time&);
using Update = Status(const Bytes&, const Token&, const Time&, Bytes*);
using Finish = Status(const std::optional<Bytes>&, const std::optional<Bytes>&, const Token&,
                      const Time&, const std::optional<Bytes>&, Bytes*);
using Generate = Status(const Parameters&, const AttestKey&, km::KeyCreationResult*);
using Import = Status(const Parameters&, km::KeyFormat, const Bytes&, const AttestKey&,
                      km::KeyCreationResult*);
using Upgrade = Status(const Bytes&, const Parameters&, Bytes*);
using Begin = Status(km::KeyPurpose, const Bytes&, const Parameters&, const Token&,
                     km::BeginResult*);
using Challenge = Status(std::array<uint8_t, 16>*);
using RootOfTrust = Status(const std::array<uint8_t, 16>&, Bytes*);
}  // namespace mocked

// MockOperation is a KeyMint operation that takes anything and finishes with the bytes "output".
class MockOperation : public km::BnKeyMintOperation {
 public:
  MOCK_METHOD(Status, updateAad, (const Bytes&, const Token&, const Time&), (override));
  MOCK_METHOD(Status, update, (const Bytes&, const Token&, const Time&, Bytes*), (override));
  MOCK_METHOD(Status, finish,
              (const std::optional<Bytes>&, const std::optional<Bytes>&, const Token&, const Time&,
               const std::optional<Bytes>&, Bytes*),
              (override));
  MOCK_METHOD(Status, abort, (), (override));

  MockOperation();
  ~MockOperation() override;
};

// MockKeyMintDevice is a KeyMint device whose imports return the key blob "blob", whose upgrades
// return "upgraded", which starts `operation` for any key and deletes any key. What no test has
// given an answer is answered by an absent status, which the library counts as UNKNOWN_ERROR. It
// is of any interface version, which a device that is made from the current one cannot be.
class MockKeyMintDevice : public km::IKeyMintDeviceDefault {
 public:
  using Interface = km::IKeyMintDevice;

  MOCK_METHOD(Status, getInterfaceVersion, (int32_t*), (override));
  MOCK_METHOD(Status, generateKey, (const Parameters&, const AttestKey&, km::KeyCreationResult*),
              (override));
  MOCK_METHOD(Status, importKey,
              (const Parameters&, km::KeyFormat, const Bytes&, const AttestKey&,
               km::KeyCreationResult*),
              (override));
  MOCK_METHOD(Status, upgradeKey, (const Bytes&, const Parameters&, Bytes*), (override));
  MOCK_METHOD(Status, deleteKey, (const Bytes&), (override));
  MOCK_METHOD(Status, begin,
              (km::KeyPurpose, const Bytes&, const Parameters&, const Token&, km::BeginResult*),
              (override));
  MOCK_METHOD(Status, getRootOfTrustChallenge, ((std::array<uint8_t, 16>*)), (override));
  MOCK_METHOD(Status, getRootOfTrust, ((const std::array<uint8_t, 16>&), Bytes*), (override));
  MOCK_METHOD(Status, sendRootOfTrust, (const Bytes&), (override));

  explicit MockKeyMintDevice(const std::shared_ptr<MockOperation>& operation = nullptr);
  ~MockKeyMintDevice() override;

  ::ndk::SpAIBinder asBinder() override;

  // Created is the result of a creation that returns `blob` and nothing else.
  static km::KeyCreationResult Created(const std::string& blob) {
    km::KeyCreationResult result;
    result.keyBlob.assign(blob.begin(), blob.end());
    return result;
  }

  // Begun is the result of a begin() that starts `operation` without output parameters.
  static km::BeginResult Begun(const std::shared_ptr<km::IKeyMintOperation>& operation) {
    km::BeginResult result;
    result.challenge = 1;
    result.operation = operation;
    return result;
  }
};

// MockKeyMint registers a mock device with its mock operation as one instance of the KeyMint
// service while it lives, and is how a test reaches both:
//
//   MockKeyMint keymint;
//   EXPECT_CALL(*keymint.device, begin).WillOnce(Fails(km::ErrorCode::INVALID_KEY_BLOB));
//
// The mocks are verified when it goes out of scope; the library's symmetric service may hold them
// longer.
class MockKeyMint {
 public:
  // `instance` is "default" (the TEE) or "strongbox".
  explicit MockKeyMint(const std::string& instance = "default");
  ~MockKeyMint();
  MockKeyMint(const MockKeyMint&) = delete;
  MockKeyMint& operator=(const MockKeyMint&) = delete;

  const std::shared_ptr<::testing::NiceMock<MockOperation>> operation;
  const std::shared_ptr<::testing::NiceMock<MockKeyMintDevice>> device;
};

}  // namespace orx_test

// The mocks' parts are compiled once, in mock_keymint.cpp: nothing else in the tests is as slow.
#define ORX_MOCK_PARTS(EXTERN)                                                  \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Nothing>;   \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Version>;   \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Blob>;      \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Aad>;       \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Update>;    \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Finish>;    \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Generate>;  \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Import>;    \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Upgrade>;   \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Begin>;     \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::Challenge>; \
  EXTERN template class ::testing::FunctionMocker<orx_test::mocked::RootOfTrust>;
ORX_MOCK_PARTS(extern)
