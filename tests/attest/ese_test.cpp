// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <orx/ese.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/mock_hals.h"

namespace {

using orx_test::Bytes;
using orx_test::MockSharedSecret;
using orx_test::MockVersionedKeyMint;
using orx_test::Registered;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::NiceMock;
using ::testing::Pointee;
using Parameters = orx_test::ss::SharedSecretParameters;
using Status = ::ndk::ScopedAStatus;

using Check = int (*)();

// Runs a check and compares its result and the one line that it writes.
void Expect(Check check, int result, const std::string& message) {
  orx_test::LogCapture log;
  EXPECT_EQ(check(), result);
  EXPECT_THAT(log.messages(), ElementsAre(message));
  EXPECT_THAT(log.paths(), Each("src/keymint/ORX_ESE_TEST.cpp"));
}

// SecureElementTest numbers the calls that a check makes, and can have one of them fail.
class SecureElementTest : public ::testing::Test {
 protected:
  ~SecureElementTest() override { android_host::ClearServices(); }

  Status Answer() {
    if (calls_++ != failing_call_) return Status::ok();
    if (way_ == 0) return Status::fromServiceSpecificError(-100);
    if (way_ == 1) return Status::fromStatus(STATUS_DEAD_OBJECT);
    return Status();  // a service in the same process can answer no status at all
  }

  template <typename T>
  Status Answer(T* out, const T& value) {
    Status status = Answer();
    if (status.isOk()) *out = value;
    return status;
  }

  // Has each call fail in each way, the messages being theirs in order and last that of a pass.
  void FailEachCall(Check check, const std::vector<std::string>& messages) {
    const int last = static_cast<int>(messages.size()) - 1;
    for (way_ = 0; way_ < 3; ++way_) {
      for (failing_call_ = 0; failing_call_ <= last; ++failing_call_) {
        calls_ = 0;
        Expect(check, failing_call_ == last ? 0 : 1, messages[failing_call_]);
        EXPECT_EQ(calls_, std::min(failing_call_ + 1, last)) << "no call follows the failed one";
      }
    }
  }

  int calls_ = 0;
  int failing_call_ = -1;
  int way_ = 0;
};

class RootOfTrustTest : public SecureElementTest {
 protected:
  RootOfTrustTest() {
    ON_CALL(*tee_, getInterfaceVersion).WillByDefault([this](int32_t* version) {
      return Answer(version, tee_version_);
    });
    ON_CALL(*strongbox_, getInterfaceVersion).WillByDefault([this](int32_t* version) {
      return Answer(version, strongbox_version_);
    });
    ON_CALL(*strongbox_, getRootOfTrustChallenge).WillByDefault([this](auto* challenge) {
      return Answer(challenge, kChallenge);
    });
    ON_CALL(*tee_, getRootOfTrust).WillByDefault([this](const auto&, Bytes* root_of_trust) {
      return Answer(root_of_trust, kRootOfTrust);
    });
    ON_CALL(*strongbox_, sendRootOfTrust).WillByDefault([this](const Bytes&) { return Answer(); });
  }

  const std::array<uint8_t, 16> kChallenge = {1, 2, 3};
  const Bytes kRootOfTrust = {4, 5, 6};
  int32_t tee_version_ = 2;
  int32_t strongbox_version_ = 2;
  std::shared_ptr<NiceMock<MockVersionedKeyMint>> tee_ =
      Registered<MockVersionedKeyMint>("default");
  std::shared_ptr<NiceMock<MockVersionedKeyMint>> strongbox_ =
      Registered<MockVersionedKeyMint>("strongbox");
};

TEST_F(RootOfTrustTest, PassesOnWhatEachSideAnswers) {
  const std::array<uint8_t, 16> kCleared = {};
  EXPECT_CALL(*strongbox_, getRootOfTrustChallenge(Pointee(kCleared)));
  EXPECT_CALL(*tee_, getRootOfTrust(kChallenge, Pointee(Bytes())));
  EXPECT_CALL(*strongbox_, sendRootOfTrust(kRootOfTrust));
  Expect(ORX_eSE_RoT_binding_check, 0, "The eSE provisioning test passed");
}

TEST_F(RootOfTrustTest, EachFailingCallHasItsLineAndIsTheLast) {
  FailEachCall(
      ORX_eSE_RoT_binding_check,
      {"Check TEE keymint version failed", "Check Strongbox keymint version failed",
       "Get challenge from Strongbox keymint failed", "Get root of trust from TEE keymint failed",
       "Send root of trust to Strongbox keymint failed", "The eSE provisioning test passed"});
}

TEST_F(RootOfTrustTest, AppliesFromVersionTwoOnBothSides) {
  const struct {
    int32_t tee;
    int32_t strongbox;
    int calls;
    const char* message;
  } kCases[] = {
      {0, 2, 1, "Test not applicable to TEE KeyMint device before v2"},
      {1, 1, 1, "Test not applicable to TEE KeyMint device before v2"},
      {2, 1, 2, "Test not applicable to StrongBox KeyMint device before v2"},
      {3, -1, 2, "Test not applicable to StrongBox KeyMint device before v2"},
      {2, 3, 5, "The eSE provisioning test passed"},
      {3, 2, 5, "The eSE provisioning test passed"},
  };
  for (const auto& test : kCases) {
    calls_ = 0;
    tee_version_ = test.tee;
    strongbox_version_ = test.strongbox;
    Expect(ORX_eSE_RoT_binding_check, test.calls == 5 ? 0 : 1, test.message);
    EXPECT_EQ(calls_, test.calls);
  }
}

TEST(RootOfTrustWithoutServiceTest, NamesTheSideThatIsMissing) {
  android_host::DisableDeviceModule();
  Expect(ORX_eSE_RoT_binding_check, 1, "Could not obtain the TEE keymint service");
  Registered<MockVersionedKeyMint>("default");
  Expect(ORX_eSE_RoT_binding_check, 1, "Could not obtain the Strongbox keymint service");

  // A service of another interface under the name is none.
  const auto other = Registered<MockSharedSecret>("default");
  const char kName[] = "android.hardware.security.keymint.IKeyMintDevice/strongbox";
  ASSERT_EQ(EX_NONE, AServiceManager_addService(other->asBinder().get(), kName));
  Expect(ORX_eSE_RoT_binding_check, 1, "Could not obtain the Strongbox keymint service");
  android_host::ClearServices();
}

class SharedSecretTest : public SecureElementTest {
 protected:
  SharedSecretTest() {
    ON_CALL(*tee_, getSharedSecretParameters).WillByDefault([this](Parameters* parameters) {
      return Answer(parameters, tee_parameters_);
    });
    ON_CALL(*strongbox_, getSharedSecretParameters).WillByDefault([this](Parameters* parameters) {
      return Answer(parameters, strongbox_parameters_);
    });
    ON_CALL(*tee_, computeSharedSecret).WillByDefault([this](const auto&, Bytes* check_value) {
      return Answer(check_value, kCheckValue);
    });
    ON_CALL(*strongbox_, computeSharedSecret)
        .WillByDefault([this](const auto&, Bytes* check_value) {
          return Answer(check_value, strongbox_check_value_);
        });
  }

  const Bytes kCheckValue = Bytes(32, 4);
  Parameters tee_parameters_ = {{}, Bytes(32, 1)};
  Parameters strongbox_parameters_ = {Bytes(32, 2), Bytes(32, 3)};
  Bytes strongbox_check_value_ = kCheckValue;
  std::shared_ptr<NiceMock<MockSharedSecret>> tee_ = Registered<MockSharedSecret>("default");
  std::shared_ptr<NiceMock<MockSharedSecret>> strongbox_ =
      Registered<MockSharedSecret>("strongbox");
};

TEST_F(SharedSecretTest, GivesBothSidesTheSameListTeeFirst) {
  const auto list = ElementsAre(tee_parameters_, strongbox_parameters_);
  EXPECT_CALL(*tee_, computeSharedSecret(list, Pointee(Bytes())));
  EXPECT_CALL(*strongbox_, computeSharedSecret(list, Pointee(Bytes())));
  Expect(ORX_eSE_SharedSecret_negotiation_check, 0,
         "The eSE shared secret negotiation test passed");
}

TEST_F(SharedSecretTest, EachFailingCallHasItsLineAndIsTheLast) {
  FailEachCall(ORX_eSE_SharedSecret_negotiation_check,
               {"Get shared secret parameter from TEE keymint failed",
                "Get shared secret parameter from Strongbox keymint failed",
                "Compute shared secret in TEE keymint failed",
                "Compute shared secret in Strongbox keymint failed",
                "The eSE shared secret negotiation test passed"});
}

TEST_F(SharedSecretTest, ChecksTheSizesThatEachSideAnswers) {
  const struct {
    size_t seed;
    size_t nonce;
    const char* flaw;  // null for none
  } kCases[] = {
      {0, 32, nullptr}, {32, 32, nullptr}, {16, 32, "seed"}, {31, 32, "seed"}, {33, 32, "seed"},
      {32, 0, "nonce"}, {32, 31, "nonce"}, {0, 33, "nonce"}, {1, 1, "seed"},
  };
  const auto check = [&](Parameters* parameters, const std::string& side, int calls) {
    const Parameters valid = *parameters;
    for (const auto& test : kCases) {
      *parameters = {Bytes(test.seed, 7), Bytes(test.nonce, 8)};
      calls_ = 0;
      if (test.flaw == nullptr) {
        Expect(ORX_eSE_SharedSecret_negotiation_check, 0,
               "The eSE shared secret negotiation test passed");
      } else {
        Expect(ORX_eSE_SharedSecret_negotiation_check, 1,
               std::string("Invalid ") + test.flaw + " in " + side +
                   " keymint shared secret parameter");
        EXPECT_EQ(calls_, calls) << "the flaw ends the check";
      }
    }
    *parameters = valid;
  };
  check(&tee_parameters_, "TEE", 1);
  check(&strongbox_parameters_, "Strongbox", 2);
}

TEST_F(SharedSecretTest, ComparesLengthAndBytes) {
  Bytes longer = kCheckValue, shorter = kCheckValue, other = kCheckValue;
  longer.push_back(0);
  shorter.pop_back();
  other.back() ^= 1;
  for (const Bytes& value : {longer, shorter, other, Bytes()}) {
    strongbox_check_value_ = value;
    Expect(ORX_eSE_SharedSecret_negotiation_check, 1, "The calculated shared secret is different");
  }
}

TEST(SharedSecretWithoutServiceTest, NamesTheSideThatIsMissing) {
  android_host::DisableDeviceModule();
  Expect(ORX_eSE_SharedSecret_negotiation_check, 1,
         "Could not obtain the TEE shared secret service");
  Registered<MockSharedSecret>("default");
  Expect(ORX_eSE_SharedSecret_negotiation_check, 1,
         "Could not obtain the Strongbox shared secret service");
  android_host::ClearServices();
}

}  // namespace
