// SPDX-License-Identifier: Apache-2.0
#include <android_host/host.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "src/keymint/ORX_ATTEST_RKP.h"
#include "tests/support/certificate_builder.h"
#include "tests/support/failing_crypto.h"
#include "tests/support/log_capture.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::Chain;
using orx_test::ChainFields;
using orx_test::EcKey;
using orx_test::FailingCrypto;
using orx_test::MakeChain;
using orx_test::RsaKey;

const std::string kLeaf = "ATTEST: cert=0 has subject name: /CN=Android Keystore Key\n";
const std::string kRoot = "ATTEST: Root cert  has subject name: ";
const std::string kGoodRoot = kRoot + "/serialNumber=f92009e853b6b045\n";
const std::string kNotExpected =
    "ATTEST: Root cert name didnot match expected: /serialNumber=f92009e853b6b045\n";
const std::string kNotGoogle = "ATTEST: Not Google Root cert - failing\n";

// A chain of `length` with `change` made to its fields before it is signed.
template <typename Change>
Chain Changed(Change change, int length = 4) {
  std::vector<EVP_PKEY*> keys;
  for (int i = 0; i < length; ++i) keys.push_back(EcKey(i));
  auto fields = ChainFields(keys);
  change(fields);
  return MakeChain(fields);
}

Chain Good(int length = 4) {
  return Changed([](auto&) {}, length);
}

// A good chain of four with `change` made to one encoded certificate.
Chain Damaged(size_t index, const std::function<void(std::vector<uint8_t>&)>& change) {
  Chain chain = Good();
  change(chain[index].encodedCertificate);
  return chain;
}

// Makes the id of the certificate's EC key that of no known algorithm.
void SpoilPublicKey(std::vector<uint8_t>& der) {
  const uint8_t kEcPublicKey[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x02, 0x01};
  std::search(der.begin(), der.end(), std::begin(kEcPublicKey), std::end(kEcPublicKey))[6] = 0x7f;
}

struct Verdict {
  bool accepted;
  std::vector<std::string> messages;
};

TEST(VerifyChainTest, JudgesChainsWithOneThingWrongEach) {
  const struct {
    const char* title;
    Chain chain;
    Verdict strict;
    std::optional<Verdict> relaxed = std::nullopt;  // where it differs
  } kCases[] = {
      {"RSA issuers",
       MakeChain(ChainFields({EcKey(0), RsaKey(0), EcKey(1), RsaKey(1)})),
       {true, {kLeaf, kGoodRoot}}},
      {"five", Good(5), {true, {kLeaf, kGoodRoot}}},
      {"bytes behind a certificate",
       Damaged(1, [](auto& der) { der.resize(4096); }),
       {true, {kLeaf, kGoodRoot}}},
      {"expired",
       Changed([](auto& fields) { fields[1].seconds_left = -1; }),
       {true, {kLeaf, kGoodRoot}}},
      {"unlinked names",
       Changed([](auto& fields) {
         fields[2].issuer = {{"CN", "x"}};
       }),
       {false,
        {kLeaf,
         "ATTEST: cert=2 has subject: /serialNumber=f92009e853b6b045 and issuer: "
         "/CN=x\n"}},
       Verdict{true, {kLeaf, kGoodRoot}}},
      {"another root",
       Changed([](auto& fields) {
         fields[3].subject.push_back({"CN", "x"});
         fields[3].issuer = fields[2].issuer = fields[3].subject;
       }),
       {false, {kLeaf, kRoot + "/serialNumber=f92009e853b6b045/CN=x\n", kNotExpected, kNotGoogle}},
       Verdict{true, {kLeaf, kRoot + "/serialNumber=f92009e853b6b045/CN=x\n", kNotExpected}}},
      {"one",
       Good(1),
       {false, {kLeaf, kRoot + "/CN=Android Keystore Key\n", kNotExpected, kNotGoogle}},
       Verdict{true, {kLeaf, kRoot + "/CN=Android Keystore Key\n", kNotExpected}}},
      {"none",
       {},
       {false, {kRoot + "\n", kNotExpected, kNotGoogle}},
       Verdict{true, {kRoot + "\n", kNotExpected}}},
      {"foreign signature",
       Changed([](auto& fields) { fields[1].signer = EcKey(9); }),
       {false, {kLeaf, "ATTEST: verification against cert=1 failed"}}},
      {"root not self-signed",
       Changed([](auto& fields) { fields[3].signer = EcKey(9); }),
       {false, {kLeaf, "ATTEST: verification against cert=3 failed"}}},
      {"order",
       {Good()[0], Good()[2], Good()[1], Good()[3]},
       {false, {"ATTEST: verification against cert=0 failed"}}},
      {"leaf with one entry more",
       Changed([](auto& fields) {
         fields[0].subject.push_back({"O", "x"});
       }),
       {false,
        {"ATTEST: cert=0 has subject name: /CN=Android Keystore Key/O=x\n",
         "ATTEST: cert=0 has wrong subject.(Possibly b/38394614)"}}},
      {"unknown key",
       Damaged(2, SpoilPublicKey),
       {false, {kLeaf, "ATTEST: no public key for the signing cert=1"}}},
      {"empty leaf", Damaged(0, [](auto& der) { der.clear(); }), {false, {}}},
      {"cut root", Damaged(3, [](auto& der) { der.pop_back(); }), {false, {kLeaf}}},
  };
  for (const auto& test : kCases) {
    for (const bool strict : {true, false}) {
      SCOPED_TRACE(std::string(test.title) + (strict ? ", strict" : ", relaxed"));
      const Verdict& expected = strict ? test.strict : test.relaxed.value_or(test.strict);
      orx_test::LogCapture log;
      EXPECT_EQ(legacy::verify_chain(test.chain, static_cast<unsigned>(test.chain.size()), strict),
                expected.accepted);
      EXPECT_EQ(log.messages(), expected.messages);
    }
  }
}

TEST(VerifyChainTest, CountsFirstAndParsesEachCertificateOnce) {
  const Chain chain = Good(5);
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
  const Chain chain = Changed([](auto& fields) { fields[1].signer = EcKey(9); });
  const FailingCrypto error("X509_verify", -1);
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
