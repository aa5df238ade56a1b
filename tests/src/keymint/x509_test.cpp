// SPDX-License-Identifier: Apache-2.0
#include <android_host/host.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "src/keymint/ORX_ATTEST_RKP.h"
#include "tests/support/certificate_builder.h"
#include "tests/support/chain_cases.h"
#include "tests/support/interposed/failing_crypto.h"
#include "tests/support/log_capture.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::Chain;
using orx_test::ChainFields;
using orx_test::EcKey;
using orx_test::MakeChain;

TEST(VerifyChainTest, JudgesChainsWithOneThingWrongEach) {
  for (const orx_test::ChainCase& test : orx_test::ChainCases()) {
    for (const bool strict : {true, false}) {
      SCOPED_TRACE(std::string(test.title) + (strict ? ", strict" : ", relaxed"));
      const orx_test::ChainVerdict& expected =
          strict ? test.strict : test.relaxed.value_or(test.strict);
      orx_test::LogCapture log;
      EXPECT_EQ(legacy::verify_chain(test.chain, static_cast<unsigned>(test.chain.size()), strict),
                expected.accepted);
      EXPECT_EQ(log.messages(), expected.messages);
    }
  }
}

TEST(VerifyChainTest, CountsFirstAndParsesEachCertificateOnce) {
  const Chain chain = MakeChain(ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3), EcKey(4)}));
  orx_test::LogCapture log;
  const int parsed = orx_test::CryptoCalls("d2i_X509");
  EXPECT_FALSE(legacy::verify_chain(chain, 4, false));
  EXPECT_EQ(log.messages(),
            std::vector<std::string>{"ATTEST: invalid attestation cert chain size"});
  EXPECT_EQ(orx_test::CryptoCalls("d2i_X509"), parsed);
  EXPECT_TRUE(legacy::verify_chain(chain, 5, true));
  EXPECT_EQ(orx_test::CryptoCalls("d2i_X509"), parsed + 5);
}

TEST(VerifyChainTest, ANegativeVerificationResultIsNoFailure) {
  auto fields = ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3)});
  fields[1].signer = EcKey(9);
  const Chain chain = MakeChain(fields);
  const orx_test::FailingCrypto error("X509_verify", -1);
  EXPECT_TRUE(legacy::verify_chain(chain, 4, true));
}

TEST(X509NameTest, EncodesTheCommonNameOrNothing) {
  // SEQUENCE of one SET of one SEQUENCE: the id of commonName and a UTF8String.
  const std::string text = "Android Keystore Key";
  const std::string der = "\x30\x1f\x31\x1d\x30\x1b\x06\x03\x55\x04\x03\x0c\x14" + text;
  const std::vector<uint8_t> expected(der.begin(), der.end());
  EXPECT_EQ(RKP::make_name_from_str(text + std::string("\0 and more", 10)), expected);
  EXPECT_TRUE(legacy::make_name_from_str("").empty());
  EXPECT_TRUE(legacy::make_name_from_str(std::string(65, 'n')).empty());
}

TEST(FactoryProvisioningTest, OnlyTheExactWordSwitchesItOn) {
  android_host::DisableDeviceModule();
  EXPECT_FALSE(legacy::ORX_sb_factory_prov_support());
  for (const std::string value : {"true", "true1", "true ", "TRUE", "tru", "1"}) {
    ASSERT_TRUE(android_host::SetProperty("ro.boot.factorysbprov", value, nullptr));
    EXPECT_EQ(legacy::ORX_sb_factory_prov_support(), value == "true") << value;
  }
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
