// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <orx/attest.h>

#include <string>
#include <vector>

#include "src/keymint/ORX_ATTEST_RKP.h"
#include "tests/src/keymint/attestation_fixture.h"
#include "tests/support/interposed/failing_crypto.h"
#include "tests/support/maced_key.h"
#include "tests/support/mock_hals.h"

namespace orx_test {
namespace {

using ::testing::ElementsAre;

// A device whose KeyMint attests with the key pairs of its remotely provisioned component alone.
class ValidateIdsTest : public AttestationFixture {
 protected:
  ValidateIdsTest() {
    for (const auto& component : {tee_component, strongbox_component}) {
      ON_CALL(*component, generateEcdsaP256KeyPair)
          .WillByDefault([this](bool test_mode, km::MacedPublicKey* public_key, Bytes* handle) {
            EXPECT_FALSE(test_mode);
            public_key->macedKey = maced_key;
            *handle = {'h'};
            return ::ndk::ScopedAStatus::ok();
          });
    }
  }

  // Runs the self-test for the model and returns its lines, but for the one of the model.
  std::vector<std::string> Run(int result, bool use_strongbox = false) {
    requests.clear();
    log.Clear();
    EXPECT_EQ(ORX_validate_attestation_ids(true, ORX_ATTEST_ID_MODEL, false, use_strongbox),
              result);
    std::vector<std::string> messages = log.Take("src/keymint/ORX_ATTEST_RKP.cpp");
    if (messages[0] ==
        "Validate key with auth tag-KeyParameter{tag: ATTESTATION_ID_MODEL, value: "
        "KeyParameterValue{blob: [77, 49]}}") {
      messages.erase(messages.begin());
    }
    return messages;
  }

  std::shared_ptr<::testing::NiceMock<MockComponent>> tee_component =
      Registered<MockComponent>("default");
  std::shared_ptr<::testing::NiceMock<MockComponent>> strongbox_component =
      Registered<MockComponent>("strongbox");
  Bytes maced_key = MacedKey(CoseKey(EcKey(0)));
};

TEST_F(ValidateIdsTest, AttestsWithTheComponentsKeyAndThenNothing) {
  EXPECT_CALL(*tee_component, generateEcdsaP256KeyPair);
  EXPECT_CALL(*strongbox_component, generateEcdsaP256KeyPair);
  failing_call = 1;
  const km::AttestationKey attest_key = {
      {'h'}, {}, orx::RKP::make_name_from_str("Android Keystore Key")};
  for (const bool use_strongbox : {false, true}) {
    EXPECT_THAT(Run(0, use_strongbox), ElementsAre("Negative Test: return error = -66"));
    const MockKeyMintDevice* device = (use_strongbox ? strongbox : tee).device.get();
    EXPECT_THAT(
        requests,
        ElementsAre(
            Request{device, SigningKeyParams(Id(km::Tag::ATTESTATION_ID_MODEL, "M1")), attest_key},
            Request{device, SigningKeyParams(std::nullopt), std::nullopt}));
  }
}

TEST_F(ValidateIdsTest, FailsWhereTheDeviceStillAttestsWithKeysOfItsOwn) {
  key_chain = attested_chain;
  EXPECT_EQ(ORX_validate_attestation_ids(false, 0, false, false), 1);
  EXPECT_THAT(log.Take("src/keymint/ORX_ATTEST_RKP.cpp"),
              ElementsAre("Negative Test: return error = 0",
                          "Need to clear factory attestation keys before shipping"));
}

TEST_F(ValidateIdsTest, EachThingThatTheComponentGetsWrongHasItsLine) {
  EXPECT_CALL(*tee_component, generateEcdsaP256KeyPair)
      .WillOnce(Fails(km::IRemotelyProvisionedComponent::STATUS_REMOVED))
      .WillOnce([](auto&&...) { return ::ndk::ScopedAStatus(); })
      .WillRepeatedly(::testing::DoDefault());
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(Run(1), ElementsAre("Could not generate a P-256 keypair as an local attest key"));
  }
  maced_key = {0x80};
  EXPECT_THAT(Run(1), ElementsAre("Unexpected macedPubKey Entry Count: 0",
                                  "Could not extract coseKeyData from macedPubKey"));
  maced_key = MacedKey({0xa3, 0x01, 0x02, 0x03, 0x26, 0x20, 0x01});
  EXPECT_THAT(Run(1), ElementsAre("Extract X coordinate failed",
                                  "Could not extract signing public key from coseKeyData"));
  maced_key = MacedKey(CoseKey(EcKey(0)));
  android_host::ClearServices();
  EXPECT_THAT(Run(1, false), ElementsAre("Could not obtain the TEE rkp service"));
  EXPECT_THAT(Run(1, true), ElementsAre("Could not obtain the Strongbox rkp service"));
  EXPECT_THAT(requests, testing::SizeIs(0));
}

TEST_F(ValidateIdsTest, EachThingThatTheDeviceGetsWrongHasItsLine) {
  failing_call = 0;
  EXPECT_THAT(Run(1), ElementsAre("Attestation fails with device ID"));
  failing_call = 1;
  const Chain good = attested_chain;
  attested_chain.push_back(good[0]);
  EXPECT_THAT(Run(1), ElementsAre("Unexpected attested cert chain size: 2"));
  attested_chain = {{{0x30, 0x00}}};
  EXPECT_THAT(Run(1), ElementsAre("Invalid attested key cert"));
  attested_chain = MakeChain({{kKeyName, kKeyName, EcKey(8), EcKey(1)}});
  EXPECT_THAT(Run(1), ElementsAre("Verification of attested key cert failed"));
  {
    const FailingCrypto no_verdict("X509_verify", -1);
    EXPECT_THAT(Run(0), ElementsAre("Negative Test: return error = -66"));
  }
  Set("ro.product.brand", "");
  EXPECT_THAT(Run(1), ElementsAre("Fail to retrieve device ID values"));
}

TEST_F(ValidateIdsTest, LooksAtNoNamesIgnoresRelaxedAndSelectsSevenIdentifiers) {
  attested_chain = MakeChain({{{{"CN", "Other"}}, {{"CN", "Issuer"}}, EcKey(8), EcKey(0)}});
  failing_call = static_cast<int>(kAllIds.size());
  for (const bool dual_sim : {false, true}) {
    Set("ro.vendor.hw.dualsim", dual_sim ? "true" : "false");
    for (const bool relaxed : {false, true}) {
      requests.clear();
      EXPECT_EQ(ORX_validate_attestation_ids(true, 0xFFFFFFFF, relaxed, false), 0);
      EXPECT_EQ(RequestedIds(), kAllIds);
    }
  }
}

}  // namespace
}  // namespace orx_test
