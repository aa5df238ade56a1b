// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <orx/ese.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "tests/support/log_capture.h"
#include "tests/support/mock_hals.h"

namespace {

using orx_test::Bytes;
using orx_test::MockKeyMintDevice;
using orx_test::MockSharedSecret;
using orx_test::Registered;
using ::testing::ElementsAre;
using ::testing::NiceMock;
using ::testing::Pointee;
using Parameters = orx_test::ss::SharedSecretParameters;
using Status = ::ndk::ScopedAStatus;

using Check = int (*)();

void Expect(Check check, int result, const std::string& message) {
  orx_test::LogCapture log;
  EXPECT_EQ(check(), result);
  EXPECT_THAT(log.messages(), ElementsAre(message));
  EXPECT_THAT(log.messages("src/keymint/ORX_ESE_TEST.cpp"), ElementsAre(message));
}

// SecureElementTest numbers the calls that a check makes, and can have one of them fail.
class SecureElementTest : public ::testing::Test {
 protected:
  ~SecureElementTest() override { android_host::ClearServices(); }

  // A mock action: puts `*value` in the call's last parameter, or fails.
  template <typename T>
  auto Answers(const T* value) {
    return [this, value]([[maybe_unused]] auto&&... parameters) {
      (void)value;  // a call without a result has no use for it
      if (calls_++ == failing_call_) {
        // A service in the same process can answer no status at all.
        return absent_ ? Status() : Status::fromServiceSpecificError(-100);
      }
      if constexpr (!std::is_void_v<T>) {
        *std::get<sizeof...(parameters) - 1>(std::tie(parameters...)) = *value;
      }
      return Status::ok();
    };
  }

  // Has each call fail in each way, the messages being theirs in order and last that of a pass.
  void FailEachCall(Check check, const std::vector<std::string>& messages) {
    const int last = static_cast<int>(messages.size()) - 1;
    for (const bool absent : {false, true}) {
      absent_ = absent;
      for (failing_call_ = 0; failing_call_ <= last; ++failing_call_) {
        calls_ = 0;
        Expect(check, failing_call_ == last ? 0 : 1, messages[failing_call_]);
        EXPECT_EQ(calls_, std::min(failing_call_ + 1, last)) << "no call follows the failed one";
      }
    }
  }

  int calls_ = 0;
  int failing_call_ = -1;
  bool absent_ = false;
};

class RootOfTrustTest : public SecureElementTest {
 protected:
  RootOfTrustTest() {
    ON_CALL(*tee, getInterfaceVersion).WillByDefault(Answers(&tee_version));
    ON_CALL(*strongbox, getInterfaceVersion).WillByDefault(Answers(&strongbox_version));
    ON_CALL(*strongbox, getRootOfTrustChallenge).WillByDefault(Answers(&challenge));
    ON_CALL(*tee, getRootOfTrust).WillByDefault(Answers(&root_of_trust));
    ON_CALL(*strongbox, sendRootOfTrust).WillByDefault(Answers<void>(nullptr));
  }

  std::array<uint8_t, 16> challenge = {1, 2, 3};
  Bytes root_of_trust = {4, 5, 6};
  int32_t tee_version = 2;
  int32_t strongbox_version = 2;
  const std::shared_ptr<NiceMock<MockKeyMintDevice>> tee = Registered<MockKeyMintDevice>("default");
  const std::shared_ptr<NiceMock<MockKeyMintDevice>> strongbox =
      Registered<MockKeyMintDevice>("strongbox");
};

TEST_F(RootOfTrustTest, PassesOnWhatEachSideAnswersAndStopsAtTheFirstFailure) {
  EXPECT_CALL(*strongbox, getRootOfTrustChallenge(Pointee(std::array<uint8_t, 16>())))
      .Times(::testing::AtLeast(1));
  EXPECT_CALL(*tee, getRootOfTrust(challenge, Pointee(Bytes()))).Times(::testing::AtLeast(1));
  EXPECT_CALL(*strongbox, sendRootOfTrust(root_of_trust)).Times(::testing::AtLeast(1));
  FailEachCall(
      ORX_eSE_RoT_binding_check,
      {"Check TEE keymint version failed", "Check Strongbox keymint version failed",
       "Get challenge from Strongbox keymint failed", "Get root of trust from TEE keymint failed",
       "Send root of trust to Strongbox keymint failed", "The eSE provisioning test passed"});
}

TEST_F(RootOfTrustTest, AppliesFromVersionTwoOnBothSides) {
  tee_version = strongbox_version = 1;
  Expect(ORX_eSE_RoT_binding_check, 1, "Test not applicable to TEE KeyMint device before v2");
  EXPECT_EQ(calls_, 1);
  tee_version = 2;
  Expect(ORX_eSE_RoT_binding_check, 1, "Test not applicable to StrongBox KeyMint device before v2");
}

class SharedSecretTest : public SecureElementTest {
 protected:
  SharedSecretTest() {
    ON_CALL(*tee, getSharedSecretParameters).WillByDefault(Answers(&tee_parameters));
    ON_CALL(*strongbox, getSharedSecretParameters).WillByDefault(Answers(&strongbox_parameters));
    ON_CALL(*tee, computeSharedSecret).WillByDefault(Answers(&tee_value));
    ON_CALL(*strongbox, computeSharedSecret).WillByDefault(Answers(&strongbox_value));
  }

  // The TEE comes first, also where its parameters sort last.
  Parameters tee_parameters = {Bytes(32, 2), Bytes(32, 3)};
  Parameters strongbox_parameters = {{}, Bytes(32, 1)};
  Bytes tee_value = Bytes(32, 4);
  Bytes strongbox_value = tee_value;
  const std::shared_ptr<NiceMock<MockSharedSecret>> tee = Registered<MockSharedSecret>("default");
  const std::shared_ptr<NiceMock<MockSharedSecret>> strongbox =
      Registered<MockSharedSecret>("strongbox");
};

TEST_F(SharedSecretTest, GivesBothSidesTheSameListAndStopsAtTheFirstFailure) {
  const auto list = ElementsAre(tee_parameters, strongbox_parameters);
  EXPECT_CALL(*tee, computeSharedSecret(list, Pointee(Bytes()))).Times(::testing::AtLeast(1));
  EXPECT_CALL(*strongbox, computeSharedSecret(list, Pointee(Bytes()))).Times(::testing::AtLeast(1));
  FailEachCall(ORX_eSE_SharedSecret_negotiation_check,
               {"Get shared secret parameter from TEE keymint failed",
                "Get shared secret parameter from Strongbox keymint failed",
                "Compute shared secret in TEE keymint failed",
                "Compute shared secret in Strongbox keymint failed",
                "The eSE shared secret negotiation test passed"});
}

TEST_F(SharedSecretTest, ChecksTheSizesThatEachSideAnswers) {
  for (const auto& [parameters, side] :
       {std::pair(&tee_parameters, "TEE"), {&strongbox_parameters, "Strongbox"}}) {
    const std::string where = std::string(" in ") + side + " keymint shared secret parameter";
    for (const size_t size : {1, 31, 33}) {
      *parameters = {Bytes(size), Bytes(size)};
      Expect(ORX_eSE_SharedSecret_negotiation_check, 1, "Invalid seed" + where);
      *parameters = {Bytes(), Bytes(size)};
      Expect(ORX_eSE_SharedSecret_negotiation_check, 1, "Invalid nonce" + where);
    }
    *parameters = {Bytes(32), Bytes(32)};
  }
  Expect(ORX_eSE_SharedSecret_negotiation_check, 0,
         "The eSE shared secret negotiation test passed");
}

TEST_F(SharedSecretTest, ComparesLengthAndBytes) {
  for (const Bytes& value : {Bytes(31, 4), Bytes(33, 4), Bytes(32, 5), Bytes()}) {
    strongbox_value = value;
    Expect(ORX_eSE_SharedSecret_negotiation_check, 1, "The calculated shared secret is different");
  }
}

TEST(MissingServiceTest, IsNamedBySide) {
  android_host::DisableDeviceModule();
  Expect(ORX_eSE_RoT_binding_check, 1, "Could not obtain the TEE keymint service");
  Expect(ORX_eSE_SharedSecret_negotiation_check, 1,
         "Could not obtain the TEE shared secret service");
  Registered<MockKeyMintDevice>("default");
  const auto secret = Registered<MockSharedSecret>("default");
  Expect(ORX_eSE_SharedSecret_negotiation_check, 1,
         "Could not obtain the Strongbox shared secret service");
  // A service of another interface under the name is none.
  const char kName[] = "android.hardware.security.keymint.IKeyMintDevice/strongbox";
  ASSERT_EQ(EX_NONE, AServiceManager_addService(secret->asBinder().get(), kName));
  Expect(ORX_eSE_RoT_binding_check, 1, "Could not obtain the Strongbox keymint service");
  android_host::ClearServices();
}

}  // namespace
