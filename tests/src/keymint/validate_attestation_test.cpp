// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <orx/attest.h>

#include <string>
#include <vector>

#include "src/keymint/ORX_ATTEST.h"
#include "tests/src/keymint/attestation_fixture.h"

namespace orx_test {
namespace {

const char kLog[] = "src/keymint/ORX_ATTEST.cpp";

// One kind of attestation key under one self-test, and its messages.
struct Kind {
  const char* title;
  bool strongbox;
  bool factory;
  bool model;  // else the identifiers
  size_t chain_length;
  const char* generate_failed;
  const char* key_chain_invalid;
  const char* attested_chain_invalid;
};

constexpr char kTee[] = "ATTEST: could not generate a valid attestation key. Reason: ";
constexpr char kTeeKey[] = "ATTEST: attest key cert chain invalid";
constexpr char kAttested[] = "ATTEST: attested cert chain invalid";
constexpr char kFactory[] = "ATTEST: could not generate a valid sb attestation key. Reason: ";
constexpr char kFactoryKey[] = "ATTEST: felica SB attest key cert chain invalid";
constexpr char kFactoryAttested[] = "ATTEST: felica SB attested key cert chain invalid";
constexpr char kRkp[] = "ATTEST: could not generate a valid sb attestation key with rkp. Reason: ";
constexpr char kRpk[] = "ATTEST: could not generate a valid sb attestation key with rpk. Reason: ";
constexpr char kRemoteKey[] = "ATTEST: SB attest key cert chain invalid";
constexpr char kRemoteAttested[] = "ATTEST: SB attested cert chain invalid";

constexpr Kind kKinds[] = {
    {"TEE", false, true, false, 4, kTee, kTeeKey, kAttested},
    {"TEE, model", false, false, true, 4, kTee, kTeeKey, kAttested},
    {"factory", true, true, false, 4, kFactory, kFactoryKey, kFactoryAttested},
    {"factory, model", true, true, true, 4, kFactory, kFactoryKey, kFactoryAttested},
    {"remote", true, false, false, 1, kRkp, kRemoteKey, kAttested},
    {"remote, model", true, false, true, 1, kRpk, kRemoteKey, kRemoteAttested},
};

class ValidateAttestationTest : public AttestationFixture {
 protected:
  // Runs `check` for every kind, on a device of that kind.
  void ForEach(const std::function<void(const Kind&)>& check) {
    for (const Kind& kind : kKinds) {
      SCOPED_TRACE(kind.title);
      Become(kind);
      check(kind);
    }
  }

  void Become(const Kind& kind) {
    Set("ro.boot.factorysbprov", kind.factory ? "true" : "false");
    std::vector<EVP_PKEY*> keys = {EcKey(0), EcKey(1), EcKey(2), EcKey(3)};
    keys.resize(kind.chain_length);
    key_chain = MakeChain(ChainFields(keys));
    relaxed = kind.chain_length == 1;  // its root has another name
    failing_call = -1;
    requests.clear();
    log.Clear();
  }

  int Run(const Kind& kind) {
    if (kind.model) return ORX_validate_attestation_model("M1", relaxed, kind.strongbox);
    return ORX_validate_attestation(true, ORX_ATTEST_ID_MODEL, relaxed, kind.strongbox);
  }

  bool relaxed = false;
};

TEST_F(ValidateAttestationTest, AsksForAnAttestationKeyAndAKeyPerIdentifier) {
  ForEach([this](const Kind& kind) {
    EXPECT_EQ(Run(kind), 0);
    orx::AuthorizationSetBuilder key_params;
    key_params.EcdsaKey(km::EcCurve::P_256).AttestKey();
    if (kind.chain_length != 1) {
      key_params.AttestationChallenge("fun").AttestationApplicationId("fee");
    }
    key_params.SetDefaultValidity();
    const km::AttestationKey attest_key = {
        {'b', 'l', 'o', 'b'}, {}, orx::legacy::make_name_from_str("Android Keystore Key")};
    const MockKeyMintDevice* device = (kind.strongbox ? strongbox : tee).device.get();
    EXPECT_THAT(requests,
                testing::ElementsAre(
                    Request{device, key_params.vector_data(), std::nullopt},
                    Request{device, SigningKeyParams(Id(km::Tag::ATTESTATION_ID_MODEL, "M1")),
                            attest_key}));
    EXPECT_THAT(
        log.Take(kLog),
        ::testing::Contains("ATTEST: validate key with auth tag-KeyParameter{tag: "
                            "ATTESTATION_ID_MODEL, value: KeyParameterValue{blob: [77, 49]}}"));
  });
}

TEST_F(ValidateAttestationTest, EachFailureHasTheLineOfItsKindAndIsTheLast) {
  ForEach([this](const Kind& kind) {
    const auto expect = [&](const std::string& message, size_t num_requests) {
      requests.clear();
      EXPECT_EQ(Run(kind), 1);
      EXPECT_EQ(log.Take(kLog).back(), message);
      EXPECT_THAT(requests, testing::SizeIs(num_requests));
    };
    failing_call = 0;
    expect(kind.generate_failed + std::string("CANNOT_ATTEST_IDS"), 1);
    failing_call = 1;
    expect("ATTEST: attestation fails with device ID", 2);
    failing_call = -1;
    attested_chain[0].encodedCertificate.back() ^= 1;
    expect(kind.attested_chain_invalid, 2);
    attested_chain[0].encodedCertificate.back() ^= 1;
    key_chain.push_back(key_chain.back());
    expect(kind.key_chain_invalid, 1);
  });
}

TEST_F(ValidateAttestationTest, RelaxedAloneAcceptsAnotherRoot) {
  ForEach([this](const Kind& kind) {
    if (kind.chain_length == 4) {
      std::vector<CertificateFields> fields = ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3)});
      fields[3].subject = fields[3].issuer = fields[2].issuer = {{"CN", "Other"}};
      key_chain = MakeChain(fields);
    }
    relaxed = true;
    EXPECT_EQ(Run(kind), 0);
    relaxed = false;
    EXPECT_EQ(Run(kind), 1);
    EXPECT_EQ(log.Take(kLog).back(), kind.key_chain_invalid);
  });
}

TEST_F(ValidateAttestationTest, TheMaskSelectsRecordsAndHasGaps) {
  Become(kKinds[0]);
  for (size_t bit = 0; bit < 32; ++bit) {
    requests.clear();
    EXPECT_EQ(ORX_validate_attestation(true, 1u << bit, false, false), 0);
    const bool selects = bit < kAllIds.size();
    EXPECT_EQ(RequestedIds(), std::vector<km::Tag>(selects ? 1 : 0, kAllIds[selects ? bit : 0]));
  }
  requests.clear();
  EXPECT_EQ(ORX_validate_attestation(true, 0xFFFFFFFF, false, false), 0);
  EXPECT_EQ(RequestedIds(), kAllIds);
}

TEST_F(ValidateAttestationTest, ReadsTheIdentifiersOnlyWhenAskedTo) {
  Become(kKinds[0]);
  Set("ro.product.model", "");
  EXPECT_EQ(ORX_validate_attestation(false, 0xFFFFFFFF, false, false), 0);
  EXPECT_EQ(ORX_validate_attestation_model("", false, false), 0);
  EXPECT_EQ(ORX_validate_attestation_model(nullptr, false, false), 0);
  EXPECT_THAT(requests, testing::SizeIs(3));
  EXPECT_EQ(ORX_validate_attestation(true, 0, false, false), 1) << "even for no identifier";
  EXPECT_EQ(log.Take(kLog).back(), "ATTEST: fail to retrieve device ID values");
}

}  // namespace
}  // namespace orx_test
