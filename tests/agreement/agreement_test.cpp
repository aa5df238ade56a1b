// SPDX-License-Identifier: Apache-2.0
// The tool does some things as the library does without sharing its code: here both are in one
// program, and what they do is held against each other.
#include <android_host/host.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/orx.h>

#include <functional>
#include <random>

#include "src/keymint/ORX_ATTEST.h"
#include "tests/support/chain_cases.h"
#include "tests/support/log_capture.h"
#include "tests/support/mock_keymint.h"
#include "tests/support/parameter_text.h"
#include "tools/orx/chain/attest_key.h"
#include "tools/orx/chain/certificate.h"
#include "tools/orx/check/keymint_keys.h"

namespace orx_tool {
namespace {

namespace km = aidl::android::hardware::security::keymint;
namespace orx = android::hardware::keymint::ORX;
using orx_test::EcKey;

class AgreementTest : public testing::Test {
 protected:
  // Compare holds the tool's verdict and code against the library's result and lines.
  void Compare(const orx_test::Chain& chain, const std::string& title) {
    CertificateChain ders;
    for (const km::Certificate& one : chain) ders.push_back(one.encodedCertificate);
    for (const size_t size : {chain.size(), chain.size() + 1}) {
      for (const bool strict : {true, false}) {
        const bool accepted = orx::legacy::verify_chain(chain, static_cast<unsigned>(size), strict);
        std::vector<LogLine> lines;
        for (const std::string& message : log_.Take()) lines.push_back({"", message});
        const auto fault = FirstChainFault(ders, {size}, strict);
        ASSERT_EQ(!fault, accepted) << title << (fault ? ": " + fault->text : "");
        codes_.insert(fault ? fault->code : "OK");
        if (!fault) continue;
        // A certificate that does not parse is refused without a line of its own.
        const std::string code = Diagnose(lines).code;
        ASSERT_EQ(fault->code, code == "UNEXPLAINED" ? "ATTEST-CHAIN-INVALID" : code) << title;
      }
    }
  }

  orx_test::LogCapture log_;
  std::set<std::string> codes_;
};

TEST_F(AgreementTest, OnTheChainsThatTheLibraryIsTestedWith) {
  for (const orx_test::ChainCase& test : orx_test::ChainCases()) Compare(test.chain, test.title);
}

TEST_F(AgreementTest, OnChainsWithAnyFieldChangedAndAnyByteDamaged) {
  const std::function<void(orx_test::CertificateFields*)> changes[] = {
      [](auto* fields) { fields->subject = fields->issuer; },
      [](auto* fields) { fields->subject = orx_test::kRootName; },
      [](auto* fields) {
        fields->subject.push_back({"O", "more"});
      },
      [](auto* fields) { fields->issuer = orx_test::kKeyName; },
      [](auto* fields) { fields->signer = EcKey(9); },
      [](auto* fields) { fields->key = EcKey(9); },
      [](auto* fields) { fields->key = fields->signer = orx_test::RsaKey(0); },
  };
  std::mt19937 random(20240229);
  for (int i = 0; i < 500; ++i) {
    auto fields = orx_test::ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3), EcKey(4)});
    fields.erase(fields.begin(), fields.begin() + random() % 5);
    fields[0].subject = orx_test::kKeyName;
    for (unsigned count = random() % 3; count != 0; --count) {
      changes[random() % std::size(changes)](&fields[random() % fields.size()]);
    }
    orx_test::Chain chain = orx_test::MakeChain(fields);
    if (random() % 3 == 0) {
      auto& der = chain[random() % chain.size()].encodedCertificate;
      const auto at = static_cast<ptrdiff_t>(random() % der.size());
      if (random() % 4 == 0) {
        der.erase(der.begin() + at);
      } else {
        der[static_cast<size_t>(at)] ^= static_cast<uint8_t>(1 << random() % 8);
      }
    }
    std::swap(chain[0], chain[random() % 8 == 0 ? chain.size() - 1 : 0]);
    if (random() % 16 == 0) chain[0].encodedCertificate.push_back(0);  // padding
    Compare(chain, "chain " + std::to_string(i));
  }
  EXPECT_THAT(codes_, testing::UnorderedElementsAre("OK", "ATTEST-CHAIN-INVALID",
                                                    "ATTEST-CHAIN-KEY", "ATTEST-CHAIN-NAMES",
                                                    "ATTEST-CHAIN-SIGNATURE", "ATTEST-CHAIN-SIZE",
                                                    "ATTEST-LEAF-SUBJECT", "ATTEST-ROOT"));
}

// The parameters of all calls with a key of this kind, as the library makes them or the exercise.
TEST_F(AgreementTest, OnTheParametersOfKeys) {
  orx_test::MockKeyMint keymint;
  std::vector<std::string> seen;
  ON_CALL(*keymint.device, importKey)
      .WillByDefault([&](const auto& params, auto, auto&, auto&, auto* out) {
        seen.push_back(orx_test::Text(params));
        *out = orx_test::MockKeyMintDevice::Created("blob");
        return ndk::ScopedAStatus::ok();
      });
  ON_CALL(*keymint.device, begin)
      .WillByDefault([&](auto, auto&, const auto& params, auto&, auto* out) {
        seen.push_back(orx_test::Text(params));
        *out = orx_test::MockKeyMintDevice::Begun(keymint.operation);
        return ndk::ScopedAStatus::ok();
      });
  std::vector<std::string> expected;
  for (ExerciseKey& key : ExerciseKeys()) {
    expected.push_back(orx_test::Text(key.import_params.vector_data()));
    for (const KeyUse& use : key.uses) expected.push_back(orx_test::Text(use.params.vector_data()));
    auto* data = reinterpret_cast<uint8_t*>(key.data.data());
    uint8_t bytes[512] = {1};
    uint32_t size = 16;
    if (key.name == "AES-128") {
      ORX_SYM_CONTEXT* context = nullptr;
      EXPECT_EQ(ORX_SYM_ImportProtectedKey(0, 50, data, 16, &context), 0u);
      const auto* iv = reinterpret_cast<const uint8_t*>("ORX exercise IV.");
      ORX_SYM_EncryptBegin(context, iv, 16, 0);
      ORX_SYM_DecryptBegin(context, iv, 16, 0);
      continue;
    }
    EXPECT_EQ(ORX_RSA_ImportKey(data, static_cast<uint32_t>(key.data.size()), 1, 51), 0u);
    for (const int digest : {1, 2}) ORX_RSA_Sign(51, bytes, bytes, 16, &size, digest, 1);
    for (const int padding : {1, 0}) {
      ORX_RSA_EncryptDecrypt(51, padding, bytes, bytes, 16, &size, nullptr, 0);
    }
  }
  EXPECT_EQ(seen, expected);
}

TEST_F(AgreementTest, OnWhoseStrongBoxHasFactoryKeys) {
  android_host::DisableDeviceModule();
  for (const std::string value : {"", "true", "true1", "TRUE", "1"}) {
    ASSERT_TRUE(android_host::SetProperty("ro.boot.factorysbprov", value, nullptr));
    EXPECT_EQ(StrongBoxHasFactoryKeys(), value == "true") << value;
    EXPECT_EQ(orx::legacy::ORX_sb_factory_prov_support(), value == "true") << value;
  }
}

}  // namespace
}  // namespace orx_tool
