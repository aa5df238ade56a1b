// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <orx/attest.h>

#include <functional>
#include <string>
#include <vector>

#include "attest/attestation_fixture.h"
#include "keymint/ORX_ATTEST.h"
#include "support/failing_crypto.h"

namespace orx_test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr uint32_t kBrandAndImei = 0x41;
const char kLog[] = "src/keymint/ORX_ATTEST.cpp";

enum class SelfTest { kIds, kModel };

// One kind of attestation key, and its messages. Those that differ between the two self-tests are
// given for the identifiers, then for the model.
struct Kind {
  const char* title;
  bool strongbox;
  bool factory;
  bool challenge;
  int chain_length;
  const char* generate_failed[2];
  const char* key_chain_invalid;
  const char* attested_chain_invalid[2];
};

constexpr char kTeeFailed[] = "ATTEST: could not generate a valid attestation key. Reason: ";
constexpr char kFactoryFailed[] = "ATTEST: could not generate a valid sb attestation key. Reason: ";

constexpr Kind kKinds[] = {
    {"TEE",
     false,
     false,
     true,
     4,
     {kTeeFailed, kTeeFailed},
     "ATTEST: attest key cert chain invalid",
     {"ATTEST: attested cert chain invalid", "ATTEST: attested cert chain invalid"}},
    {"TEE beside a factory-provisioned StrongBox",
     false,
     true,
     true,
     4,
     {kTeeFailed, kTeeFailed},
     "ATTEST: attest key cert chain invalid",
     {"ATTEST: attested cert chain invalid", "ATTEST: attested cert chain invalid"}},
    {"factory-provisioned StrongBox",
     true,
     true,
     true,
     4,
     {kFactoryFailed, kFactoryFailed},
     "ATTEST: felica SB attest key cert chain invalid",
     {"ATTEST: felica SB attested key cert chain invalid",
      "ATTEST: felica SB attested key cert chain invalid"}},
    {"remotely provisioned StrongBox",
     true,
     false,
     false,
     1,
     {"ATTEST: could not generate a valid sb attestation key with rkp. Reason: ",
      "ATTEST: could not generate a valid sb attestation key with rpk. Reason: "},
     "ATTEST: SB attest key cert chain invalid",
     {"ATTEST: attested cert chain invalid", "ATTEST: SB attested cert chain invalid"}},
};

class ValidateAttestationTest : public AttestationFixture {
 protected:
  void Become(const Kind& kind) {
    Set("ro.boot.factorysbprov", kind.factory ? "true" : "false");
    std::vector<EVP_PKEY*> keys;
    for (int i = 0; i < kind.chain_length; ++i) keys.push_back(EcKey(i));
    key_chain = MakeChain(ChainFields(keys));
    // A chain of one certificate has a root of another name.
    relaxed = kind.chain_length == 1;
    failing_call = -1;
    requests.clear();
    log.Clear();
  }

  int Run(SelfTest test, const Kind& kind) {
    if (test == SelfTest::kModel) {
      return ORX_validate_attestation_model("M1", relaxed, kind.strongbox);
    }
    return ORX_validate_attestation(true, kBrandAndImei, relaxed, kind.strongbox);
  }

  // Runs `check` for every kind of attestation key and either self-test.
  void ForEach(const std::function<void(const Kind&, SelfTest)>& check) {
    for (const Kind& kind : kKinds) {
      for (const SelfTest test : {SelfTest::kIds, SelfTest::kModel}) {
        SCOPED_TRACE(std::string(kind.title) + (test == SelfTest::kIds ? ", ids" : ", model"));
        Become(kind);
        check(kind, test);
      }
    }
  }

  static std::vector<km::KeyParameter> Ids(SelfTest test) {
    if (test == SelfTest::kModel) return {Id(km::Tag::ATTESTATION_ID_MODEL, "M1")};
    return {Id(km::Tag::ATTESTATION_ID_BRAND, "B1"),
            Id(km::Tag::ATTESTATION_ID_IMEI, "490154203237518")};
  }

  bool relaxed = false;
};

std::vector<km::KeyParameter> AttestationKeyParams(bool challenge) {
  orx::AuthorizationSetBuilder params;
  params.EcdsaKey(km::EcCurve::P_256).AttestKey();
  if (challenge) params.AttestationChallenge("fun").AttestationApplicationId("fee");
  return params.SetDefaultValidity().vector_data();
}

TEST_F(ValidateAttestationTest, AsksForAnAttestationKeyAndAKeyPerIdentifier) {
  ForEach([this](const Kind& kind, SelfTest test) {
    EXPECT_EQ(Run(test, kind), 0);
    const std::vector<km::KeyParameter> ids = Ids(test);
    ASSERT_THAT(requests, SizeIs(ids.size() + 1));
    EXPECT_EQ(requests[0].params, AttestationKeyParams(kind.challenge));
    EXPECT_EQ(requests[0].attest_key, std::nullopt);
    const km::AttestationKey attest_key = {
        {'b', 'l', 'o', 'b'}, {}, orx::legacy::make_name_from_str("Android Keystore Key")};
    for (size_t i = 0; i < ids.size(); ++i) {
      EXPECT_EQ(requests[i + 1].params, SigningKeyParams(ids[i]));
      EXPECT_EQ(requests[i + 1].attest_key, attest_key);
    }
    const MockKeyMint& instance = kind.strongbox ? strongbox : tee;
    for (const Request& request : requests) EXPECT_EQ(request.device, instance.device.get());
  });
}

TEST_F(ValidateAttestationTest, LogsEachIdentifierBeforeItsChain) {
  Become(kKinds[0]);
  EXPECT_EQ(Run(SelfTest::kIds, kKinds[0]), 0);
  const char kLeaf[] = "ATTEST: cert=0 has subject name: /CN=Android Keystore Key\n";
  const char kRoot[] = "ATTEST: Root cert  has subject name: /serialNumber=f92009e853b6b045\n";
  EXPECT_THAT(Messages(kLog),
              ElementsAre(kLeaf, kRoot,
                          "ATTEST: validate key with auth tag-KeyParameter{tag: "
                          "ATTESTATION_ID_BRAND, value: KeyParameterValue{blob: [66, 49]}}",
                          kLeaf, kRoot,
                          "ATTEST: validate key with auth tag-KeyParameter{tag: "
                          "ATTESTATION_ID_IMEI, value: KeyParameterValue{blob: [52, 57, 48, 49, "
                          "53, 52, 50, 48, 51, 50, 51, 55, 53, 49, 56]}}",
                          kLeaf, kRoot));
}

TEST_F(ValidateAttestationTest, EachFailingGenerationHasItsLineAndIsTheLast) {
  ForEach([this](const Kind& kind, SelfTest test) {
    const int last = static_cast<int>(Ids(test).size());
    for (failing_call = 0; failing_call <= last + 1; ++failing_call) {
      requests.clear();
      log.Clear();
      EXPECT_EQ(Run(test, kind), failing_call <= last ? 1 : 0);
      EXPECT_THAT(requests, SizeIs(std::min(failing_call, last) + 1));
      const std::vector<std::string> messages = Messages(kLog);
      if (failing_call == 0) {
        EXPECT_THAT(messages, ElementsAre(kind.generate_failed[static_cast<int>(test)] +
                                          std::string("CANNOT_ATTEST_IDS")));
      } else if (failing_call <= last) {
        EXPECT_EQ(messages.back(), "ATTEST: attestation fails with device ID");
      }
    }
  });
}

TEST_F(ValidateAttestationTest, NamesTheReasonWhereItHasAName) {
  Become(kKinds[0]);
  failing_call = 0;
  const struct {
    int32_t code;
    const char* reason;
  } kCases[] = {{-33, "INVALID_KEY_BLOB"},
                {-66, "CANNOT_ATTEST_IDS"},
                {-1000, "UNKNOWN_ERROR"},
                {-42, "-42"}};
  for (const auto& test : kCases) {
    requests.clear();
    failure = test.code;
    EXPECT_EQ(Run(SelfTest::kIds, kKinds[0]), 1);
    EXPECT_THAT(Messages(kLog), ElementsAre(std::string(kTeeFailed) + test.reason));
  }
  android_host::ClearServices();
  EXPECT_EQ(Run(SelfTest::kIds, kKinds[0]), 1);
  EXPECT_THAT(Messages(kLog), ElementsAre(std::string(kTeeFailed) + "UNEXPECTED_NULL_POINTER"));
}

TEST_F(ValidateAttestationTest, AnInvalidChainHasTheLineOfItsKind) {
  ForEach([this](const Kind& kind, SelfTest test) {
    const Chain good = key_chain;
    key_chain.push_back(good.back());
    EXPECT_EQ(Run(test, kind), 1);
    EXPECT_THAT(Messages(kLog),
                ElementsAre("ATTEST: invalid attestation cert chain size", kind.key_chain_invalid));

    key_chain = good;
    attested_chain[0].encodedCertificate.back() ^= 1;
    EXPECT_EQ(Run(test, kind), 1);
    const std::vector<std::string> messages = Messages(kLog);
    EXPECT_EQ(messages[messages.size() - 2], "ATTEST: verification against cert=0 failed");
    EXPECT_EQ(messages.back(), kind.attested_chain_invalid[static_cast<int>(test)]);
    attested_chain[0].encodedCertificate.back() ^= 1;
  });
}

TEST_F(ValidateAttestationTest, RelaxedAloneAcceptsAnotherRoot) {
  ForEach([this](const Kind& kind, SelfTest test) {
    // A chain of one certificate has another root as it is.
    if (kind.chain_length == 4) {
      std::vector<CertificateFields> fields = ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3)});
      fields[3].subject = fields[3].issuer = fields[2].issuer = {{"CN", "Other"}};
      key_chain = MakeChain(fields);
    }
    relaxed = true;
    EXPECT_EQ(Run(test, kind), 0);
    log.Clear();
    relaxed = false;
    EXPECT_EQ(Run(test, kind), 1);
    const std::vector<std::string> messages = Messages(kLog);
    EXPECT_EQ(messages[messages.size() - 2], "ATTEST: Not Google Root cert - failing\n");
    EXPECT_EQ(messages.back(), kind.key_chain_invalid);
  });
}

TEST_F(ValidateAttestationTest, WithoutIssuerNameThereIsNoAttestation) {
  ForEach([this](const Kind& kind, SelfTest test) {
    const FailingCrypto failing("X509_NAME_new");
    EXPECT_EQ(Run(test, kind), 1);
    EXPECT_THAT(Messages(kLog),
                ElementsAre("ATTEST: could not make a subject name for the attestation key"));
    EXPECT_THAT(requests, SizeIs(1));
  });
}

TEST_F(ValidateAttestationTest, TheMaskSelectsRecordsAndHasGaps) {
  using Tag = km::Tag;
  const struct {
    uint32_t mask;
    std::vector<Tag> tags;
  } kCases[] = {
      {0, {}},
      {ORX_ATTEST_ID_DEVICE | ORX_ATTEST_ID_IMEI,
       {Tag::ATTESTATION_ID_DEVICE, Tag::ATTESTATION_ID_IMEI}},
      {0x80, {}},   // means the second IMEI to the other self-test alone
      {0x100, {}},  // the MEID, whose record is not returned
      {0xFFFFFE00, {}},
      {0xFFFFFFFF, kAllIds},
  };
  Become(kKinds[0]);
  for (const auto& test : kCases) {
    requests.clear();
    EXPECT_EQ(ORX_validate_attestation(true, test.mask, false, false), 0);
    EXPECT_EQ(RequestedIds(), test.tags) << std::hex << test.mask;
  }
  for (size_t bit = 0; bit < kAllIds.size(); ++bit) {
    requests.clear();
    EXPECT_EQ(ORX_validate_attestation(true, 1u << bit, false, false), 0);
    EXPECT_THAT(RequestedIds(), ElementsAre(kAllIds[bit]));
  }
}

TEST_F(ValidateAttestationTest, ReadsTheIdentifiersOnlyWhenAskedTo) {
  Become(kKinds[0]);
  Set("ro.product.model", "");
  EXPECT_EQ(ORX_validate_attestation(false, 0xFFFFFFFF, false, false), 0);
  EXPECT_THAT(requests, SizeIs(1));
  log.Clear();
  EXPECT_EQ(ORX_validate_attestation(true, 0, false, false), 1) << "even for no identifier";
  EXPECT_EQ(Messages(kLog).back(), "ATTEST: fail to retrieve device ID values");
}

TEST_F(ValidateAttestationTest, WithoutAModelTheAttestationKeyAloneIsChecked) {
  Become(kKinds[0]);
  for (const char* model : {"", static_cast<const char*>(nullptr)}) {
    requests.clear();
    EXPECT_EQ(ORX_validate_attestation_model(model, false, false), 0);
    EXPECT_THAT(requests, SizeIs(1));
  }
  EXPECT_EQ(ORX_validate_attestation_model("other", false, false), 0);
  EXPECT_EQ(requests.back().params.back(), Id(km::Tag::ATTESTATION_ID_MODEL, "other"));
}

}  // namespace
}  // namespace orx_test
