// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <orx/attest.h>

#include <functional>
#include <string>
#include <vector>

#include "attest/attestation_fixture.h"
#include "keymint/ORX_ATTEST_RKP.h"
#include "support/failing_crypto.h"
#include "support/maced_key.h"
#include "support/mock_hals.h"

namespace orx_test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

const char kLog[] = "src/keymint/ORX_ATTEST_RKP.cpp";
constexpr char kRefused[] = "Negative Test: return error = -74";
constexpr int32_t kNotProvisioned =
    static_cast<int32_t>(km::ErrorCode::ATTESTATION_KEYS_NOT_PROVISIONED);

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

  // What the device answers to its last request, the one without an attestation key.
  void RefuseAt(size_t call, int32_t code) {
    failing_call = static_cast<int>(call);
    failure = code;
    requests.clear();
    log.Clear();
  }

  // Runs the self-test for the brand alone, and compares its lines behind the one of the brand.
  void ExpectBrandToFail(const std::vector<std::string>& messages) {
    requests.clear();
    log.Clear();
    EXPECT_EQ(ORX_validate_attestation_ids(true, ORX_ATTEST_ID_BRAND, false, false), 1);
    std::vector<std::string> lines = Messages(kLog);
    ASSERT_THAT(lines, SizeIs(messages.size() + 1));
    lines.erase(lines.begin());
    EXPECT_EQ(lines, messages);
  }

  std::shared_ptr<::testing::NiceMock<MockComponent>> tee_component =
      Registered<MockComponent>("default");
  std::shared_ptr<::testing::NiceMock<MockComponent>> strongbox_component =
      Registered<MockComponent>("strongbox");
  Bytes maced_key = MacedKey(CoseKey(EcKey(0)));
};

TEST_F(ValidateIdsTest, AttestsEachIdentifierWithTheComponentsKeyAndThenNothing) {
  for (const bool use_strongbox : {false, true}) {
    RefuseAt(2, kNotProvisioned);
    EXPECT_CALL(*tee_component, generateEcdsaP256KeyPair).Times(use_strongbox ? 0 : 1);
    EXPECT_CALL(*strongbox_component, generateEcdsaP256KeyPair).Times(use_strongbox ? 1 : 0);
    EXPECT_EQ(ORX_validate_attestation_ids(true, 0x41, false, use_strongbox), 0);

    const km::AttestationKey attest_key = {
        {'h'}, {}, orx::RKP::make_name_from_str("Android Keystore Key")};
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(requests[0].params, SigningKeyParams(Id(km::Tag::ATTESTATION_ID_BRAND, "B1")));
    EXPECT_EQ(requests[1].params,
              SigningKeyParams(Id(km::Tag::ATTESTATION_ID_IMEI, "490154203237518")));
    EXPECT_EQ(requests[2].params, SigningKeyParams(std::nullopt));
    EXPECT_EQ(requests[0].attest_key, attest_key);
    EXPECT_EQ(requests[1].attest_key, attest_key);
    EXPECT_EQ(requests[2].attest_key, std::nullopt);
    const MockKeyMint& instance = use_strongbox ? strongbox : tee;
    for (const Request& request : requests) EXPECT_EQ(request.device, instance.device.get());
    EXPECT_THAT(Messages(kLog),
                ElementsAre("Validate key with auth tag-KeyParameter{tag: ATTESTATION_ID_BRAND, "
                            "value: KeyParameterValue{blob: [66, 49]}}",
                            "Validate key with auth tag-KeyParameter{tag: ATTESTATION_ID_IMEI, "
                            "value: KeyParameterValue{blob: [52, 57, 48, 49, 53, 52, 50, 48, 51, "
                            "50, 51, 55, 53, 49, 56]}}",
                            kRefused));
    ::testing::Mock::VerifyAndClearExpectations(tee_component.get());
    ::testing::Mock::VerifyAndClearExpectations(strongbox_component.get());
  }
}

TEST_F(ValidateIdsTest, FailsWhereTheDeviceStillAttestsWithKeysOfItsOwn) {
  key_chain = attested_chain;
  for (const bool attest_ids : {false, true}) {
    log.Clear();
    EXPECT_EQ(ORX_validate_attestation_ids(attest_ids, 0, false, false), 1);
    EXPECT_THAT(Messages(kLog),
                ElementsAre("Negative Test: return error = 0",
                            "Need to clear factory attestation keys before shipping"));
  }
  // Any refusal will do.
  for (const int32_t code : {-1, -1000, 7}) {
    RefuseAt(0, code);
    EXPECT_EQ(ORX_validate_attestation_ids(false, 0, false, false), 0);
    EXPECT_THAT(Messages(kLog),
                ElementsAre("Negative Test: return error = " + std::to_string(code)));
  }
}

TEST_F(ValidateIdsTest, EachThingThatTheComponentGetsWrongHasItsLine) {
  const auto run = [this](bool use_strongbox) {
    log.Clear();
    EXPECT_EQ(ORX_validate_attestation_ids(true, 0x41, false, use_strongbox), 1);
    EXPECT_THAT(requests, SizeIs(0));
    return Messages(kLog);
  };
  constexpr char kNoKeyPair[] = "Could not generate a P-256 keypair as an local attest key";
  EXPECT_CALL(*tee_component, generateEcdsaP256KeyPair)
      .WillOnce(Fails(km::IRemotelyProvisionedComponent::STATUS_REMOVED))
      .WillOnce(TransactionFails(STATUS_DEAD_OBJECT))
      .WillOnce([](auto&&...) { return ::ndk::ScopedAStatus(); })
      .WillRepeatedly(::testing::DoDefault());
  for (int i = 0; i < 3; ++i) EXPECT_THAT(run(false), ElementsAre(kNoKeyPair));

  maced_key = {0x80};
  EXPECT_THAT(run(false), ElementsAre("Unexpected macedPubKey Entry Count: 0",
                                      "Could not extract coseKeyData from macedPubKey"));
  // A key of the right type whose coordinates are missing.
  maced_key = MacedKey({0xa3, 0x01, 0x02, 0x03, 0x26, 0x20, 0x01});
  EXPECT_THAT(run(false), ElementsAre("Extract X coordinate failed",
                                      "Could not extract signing public key from coseKeyData"));
  maced_key = MacedKey(CoseKey(EcKey(0)));
  {
    const FailingCrypto failing("X509_NAME_new");
    EXPECT_THAT(run(false), ElementsAre("Could not make a subject name for the attest key"));
  }
  android_host::ClearServices();
  EXPECT_THAT(run(false), ElementsAre("Could not obtain the TEE rkp service"));
  EXPECT_THAT(run(true), ElementsAre("Could not obtain the Strongbox rkp service"));
}

TEST_F(ValidateIdsTest, EachThingThatTheDeviceGetsWrongHasItsLine) {
  failing_call = 0;
  ExpectBrandToFail({"Attestation fails with device ID"});
  EXPECT_THAT(requests, SizeIs(1)) << "and is the last";

  failing_call = -1;
  const Chain good = attested_chain;
  attested_chain.push_back(good[0]);
  ExpectBrandToFail({"Unexpected attested cert chain size: 2"});
  attested_chain = {{{0x30, 0x00}}};
  ExpectBrandToFail({"Invalid attested key cert"});
  attested_chain = MakeChain({{kKeyName, kKeyName, EcKey(8), EcKey(1)}});
  ExpectBrandToFail({"Verification of attested key cert failed"});
  {
    // Not a verdict, so that the self-test goes on to the refusal, which this device denies.
    const FailingCrypto error("X509_verify", -1);
    key_chain = good;
    ExpectBrandToFail({"Negative Test: return error = 0",
                       "Need to clear factory attestation keys before shipping"});
  }
  Set("ro.product.brand", "");
  log.Clear();
  EXPECT_EQ(ORX_validate_attestation_ids(true, 0, false, false), 1);
  EXPECT_THAT(Messages(kLog), ElementsAre("Fail to retrieve device ID values"));
}

TEST_F(ValidateIdsTest, LooksAtNoNamesAndNoRootAndIgnoresRelaxed) {
  attested_chain = MakeChain({{{{"CN", "Other"}}, {{"CN", "Issuer"}}, EcKey(8), EcKey(0)}});
  for (const bool relaxed : {false, true}) {
    RefuseAt(1, kNotProvisioned);
    EXPECT_EQ(ORX_validate_attestation_ids(true, ORX_ATTEST_ID_MODEL, relaxed, false), 0);
  }
}

TEST_F(ValidateIdsTest, TheMaskSelectsSevenRecordsOnSingleAndDualSimDevices) {
  using Tag = km::Tag;
  const struct {
    uint32_t mask;
    std::vector<Tag> tags;
  } kCases[] = {
      {0, {}},
      {ORX_ATTEST_ID_SERIAL | ORX_ATTEST_ID_MODEL,
       {Tag::ATTESTATION_ID_SERIAL, Tag::ATTESTATION_ID_MODEL}},
      {ORX_ATTEST_ID_SECOND_IMEI, {}},  // its record is not returned
      {ORX_ATTEST_ID_MEID, {}},         // neither is this one, wherever it is looked for
      {0xFFFFFE00, {}},
      {0xFFFFFFFF, kAllIds},
  };
  for (const char* dual_sim : {"false", "true"}) {
    Set("ro.vendor.hw.dualsim", dual_sim);
    for (const auto& test : kCases) {
      RefuseAt(test.tags.size(), kNotProvisioned);
      EXPECT_EQ(ORX_validate_attestation_ids(true, test.mask, false, false), 0);
      EXPECT_EQ(RequestedIds(), test.tags) << dual_sim << ", " << std::hex << test.mask;
      EXPECT_THAT(requests, SizeIs(test.tags.size() + 1));
    }
  }
}

}  // namespace
}  // namespace orx_test
