// SPDX-License-Identifier: Apache-2.0
#include <android_host/host.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "keymint/ORX_ATTEST.h"
#include "keymint/ORX_ATTEST_RKP.h"
#include "support/certificate_builder.h"
#include "support/crypto_memory.h"
#include "support/failing_crypto.h"
#include "support/log_capture.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::CertificateFields;
using orx_test::Chain;
using orx_test::ChainFields;
using orx_test::EcKey;
using orx_test::FailingCrypto;
using orx_test::kRootName;
using orx_test::MakeCertificate;
using orx_test::MakeChain;
using orx_test::RsaKey;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;
using Messages = std::vector<std::string>;

constexpr char kLeaf[] = "ATTEST: cert=0 has subject name: /CN=Android Keystore Key\n";
constexpr char kGoodRoot[] =
    "ATTEST: Root cert  has subject name: /serialNumber=f92009e853b6b045\n";
constexpr char kKeyAsRoot[] = "ATTEST: Root cert  has subject name: /CN=Android Keystore Key\n";
constexpr char kOtherRoot[] = "ATTEST: Root cert  has subject name: /O=Elsewhere/CN=Root\n";
constexpr char kNoRoot[] = "ATTEST: Root cert  has subject name: \n";
constexpr char kNotExpected[] =
    "ATTEST: Root cert name didnot match expected: /serialNumber=f92009e853b6b045\n";
constexpr char kWrongSubject[] = "ATTEST: cert=0 has wrong subject.(Possibly b/38394614)";
constexpr char kNotGoogle[] = "ATTEST: Not Google Root cert - failing\n";

std::vector<EVP_PKEY*> EcKeys(int count) {
  std::vector<EVP_PKEY*> keys;
  for (int i = 0; i < count; ++i) keys.push_back(EcKey(i));
  return keys;
}

// A chain of four with `change` made to its fields before it is signed.
Chain ChangedChain(const std::function<void(std::vector<CertificateFields>&)>& change) {
  std::vector<CertificateFields> fields = ChainFields(EcKeys(4));
  change(fields);
  return MakeChain(fields);
}

// The same with `change` made to the encoded certificates.
Chain DamagedChain(const std::function<void(Chain&)>& change) {
  Chain chain = MakeChain(ChainFields(EcKeys(4)));
  change(chain);
  return chain;
}

Chain ChainUnderOtherRoot() {
  return ChangedChain([](auto& fields) {
    fields[3].subject = fields[3].issuer = fields[2].issuer = {{"O", "Elsewhere"}, {"CN", "Root"}};
  });
}

// Names another algorithm in the certificate's public key: the id of an EC key becomes unknown.
void SpoilPublicKey(Bytes& der) {
  const Bytes kEcPublicKey = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x02, 0x01};
  const auto id = std::search(der.begin(), der.end(), kEcPublicKey.begin(), kEcPublicKey.end());
  ASSERT_NE(id, der.end());
  id[6] = 0x7f;
}

struct ChainCase {
  const char* title;
  Chain chain;
  Messages messages;
};

constexpr bool kStrict = true;
constexpr bool kRelaxed = false;

void Check(const ChainCase& test, bool strict, bool accepted, unsigned expected_size) {
  SCOPED_TRACE(test.title);
  orx_test::LogCapture log;
  EXPECT_EQ(legacy::verify_chain(test.chain, expected_size, strict), accepted);
  EXPECT_THAT(log.messages(), ElementsAreArray(test.messages));
  EXPECT_THAT(log.paths(), Each("src/keymint/ORX_ATTEST.cpp"));
}

void CheckAll(const std::vector<ChainCase>& cases, bool strict, bool accepted) {
  for (const ChainCase& test : cases) {
    Check(test, strict, accepted, static_cast<unsigned>(test.chain.size()));
  }
}

TEST(VerifyChainTest, AcceptsInBothModesChainsWithNothingWrong) {
  const std::vector<ChainCase> kCases = {
      {"four EC keys", MakeChain(ChainFields(EcKeys(4))), {kLeaf, kGoodRoot}},
      {"five certificates", MakeChain(ChainFields(EcKeys(5))), {kLeaf, kGoodRoot}},
      {"RSA issuers",
       MakeChain(ChainFields({EcKey(0), RsaKey(0), EcKey(1), RsaKey(1)})),
       {kLeaf, kGoodRoot}},
      {"bytes behind a certificate",
       DamagedChain([](Chain& chain) { chain[1].encodedCertificate.resize(4096); }),
       {kLeaf, kGoodRoot}},
  };
  CheckAll(kCases, kStrict, true);
  CheckAll(kCases, kRelaxed, true);
}

Chain ChainWithUnlinkedNames() {
  return ChangedChain([](auto& fields) { fields[2].issuer = {{"CN", "other"}}; });
}

TEST(VerifyChainTest, RelaxedTolerates) {
  CheckAll(
      {{"names that do not link", ChainWithUnlinkedNames(), {kLeaf, kGoodRoot}},
       {"another root", ChainUnderOtherRoot(), {kLeaf, kOtherRoot, kNotExpected}},
       {"one certificate", MakeChain(ChainFields(EcKeys(1))), {kLeaf, kKeyAsRoot, kNotExpected}},
       {"none", {}, {kNoRoot, kNotExpected}}},
      kRelaxed, true);
}

TEST(VerifyChainTest, StrictRefuses) {
  CheckAll(
      {{"names that do not link",
        ChainWithUnlinkedNames(),
        {kLeaf,
         "ATTEST: cert=2 has subject: /serialNumber=f92009e853b6b045 and issuer: "
         "/CN=other\n"}},
       {"a leaf that does not link, whose own name does not matter any more",
        ChangedChain([](auto& fields) { fields[0].issuer = fields[0].subject = kRootName; }),
        {"ATTEST: cert=0 has subject: /CN=1 and issuer: /serialNumber=f92009e853b6b045\n"}},
       {"another root", ChainUnderOtherRoot(), {kLeaf, kOtherRoot, kNotExpected, kNotGoogle}},
       {"a root with one entry more",
        ChangedChain([](auto& fields) {
          fields[3].subject.push_back({"CN", "Root"});
          fields[3].issuer = fields[2].issuer = fields[3].subject;
        }),
        {kLeaf, "ATTEST: Root cert  has subject name: /serialNumber=f92009e853b6b045/CN=Root\n",
         kNotExpected, kNotGoogle}},
       {"one certificate",
        MakeChain(ChainFields(EcKeys(1))),
        {kLeaf, kKeyAsRoot, kNotExpected, kNotGoogle}},
       {"none", {}, {kNoRoot, kNotExpected, kNotGoogle}}},
      kStrict, false);
}

TEST(VerifyChainTest, BothModesRefuse) {
  const std::vector<ChainCase> kCases = {
      {"a foreign signature on the leaf",
       ChangedChain([](auto& fields) { fields[0].signer = EcKey(9); }),
       {"ATTEST: verification against cert=0 failed"}},
      {"a foreign signature on an intermediate",
       ChangedChain([](auto& fields) { fields[1].signer = EcKey(9); }),
       {kLeaf, "ATTEST: verification against cert=1 failed"}},
      {"a root that is not self-signed",
       ChangedChain([](auto& fields) { fields[3].signer = EcKey(9); }),
       {kLeaf, "ATTEST: verification against cert=3 failed"}},
      {"two intermediates swapped",
       DamagedChain([](Chain& chain) { std::swap(chain[1], chain[2]); }),
       {"ATTEST: verification against cert=0 failed"}},
      {"root first",
       DamagedChain([](Chain& chain) { std::reverse(chain.begin(), chain.end()); }),
       {"ATTEST: verification against cert=0 failed"}},
      {"another leaf subject",
       ChangedChain([](auto& fields) {
         fields[0].subject = {{"CN", "Android keystore key"}};
       }),
       {"ATTEST: cert=0 has subject name: /CN=Android keystore key\n", kWrongSubject}},
      {"a leaf subject with one entry more",
       ChangedChain([](auto& fields) {
         fields[0].subject.push_back({"O", "Android"});
       }),
       {"ATTEST: cert=0 has subject name: /CN=Android Keystore Key/O=Android\n", kWrongSubject}},
      {"a signer whose key is of no known algorithm",
       DamagedChain([](Chain& chain) { SpoilPublicKey(chain[2].encodedCertificate); }),
       {kLeaf, "ATTEST: no public key for the signing cert=1"}},
      {"an empty leaf",
       DamagedChain([](Chain& chain) { chain[0].encodedCertificate.clear(); }),
       {}},
      {"an empty intermediate",
       DamagedChain([](Chain& chain) { chain[2].encodedCertificate.clear(); }),
       {kLeaf}},
      {"a root that is no certificate",
       DamagedChain([](Chain& chain) {
         chain[3].encodedCertificate = {0x30, 0x03, 2, 1, 0};
       }),
       {kLeaf}},
  };
  CheckAll(kCases, kStrict, false);
  CheckAll(kCases, kRelaxed, false);
}

TEST(VerifyChainTest, CountsBeforeAnythingElse) {
  const Chain chain = MakeChain(ChainFields(EcKeys(4)));
  const int parsed_before = orx_test::CryptoCalls("d2i_X509");
  for (const unsigned expected_size : {0u, 1u, 3u, 5u}) {
    Check({"miscounted", chain, {"ATTEST: invalid attestation cert chain size"}}, kRelaxed, false,
          expected_size);
  }
  EXPECT_EQ(orx_test::CryptoCalls("d2i_X509"), parsed_before);
}

TEST(VerifyChainTest, ParsesEachCertificateOnce) {
  const Chain chain = MakeChain(ChainFields(EcKeys(5)));
  const int parsed_before = orx_test::CryptoCalls("d2i_X509");
  EXPECT_TRUE(legacy::verify_chain(chain, 5, true));
  EXPECT_EQ(orx_test::CryptoCalls("d2i_X509"), parsed_before + 5);
}

TEST(VerifyChainTest, ANegativeVerificationResultIsNoFailure) {
  const Chain chain = ChangedChain([](auto& fields) { fields[1].signer = EcKey(9); });
  const FailingCrypto error("X509_verify", -1);
  CheckAll({{"an error for a verdict", chain, {kLeaf, kGoodRoot}}}, kStrict, true);
}

TEST(VerifyChainTest, RefusesEveryBitFlipAndTruncationOfTheLeaf) {
  Chain chain = MakeChain(ChainFields(EcKeys(2)));
  Bytes& leaf = chain[0].encodedCertificate;
  ASSERT_TRUE(legacy::verify_chain(chain, 2, true));
  for (size_t bit = 0; bit < leaf.size() * 8; ++bit) {
    leaf[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    EXPECT_FALSE(legacy::verify_chain(chain, 2, false)) << "bit " << bit;
    leaf[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
  }
  while (!leaf.empty()) {
    leaf.pop_back();
    leaf.shrink_to_fit();
    EXPECT_FALSE(legacy::verify_chain(chain, 2, false)) << leaf.size() << " bytes";
  }
}

TEST(VerifyChainTest, MemoryThatRunsOutIsNeverAPassAndNeverLost) {
  const Chain chain = MakeChain(ChainFields(EcKeys(4)));
  ASSERT_TRUE(legacy::verify_chain(chain, 4, true));  // fills the crypto library's caches
  orx_test::CryptoMemory memory;
  bool failed = true;
  for (size_t allocation = 0; failed; ++allocation) {
    memory.FailAt(allocation);
    const bool accepted = legacy::verify_chain(chain, 4, true);
    failed = memory.failed();
    EXPECT_EQ(accepted, !failed) << allocation;
    EXPECT_EQ(memory.live(), 0) << allocation;
  }
}

TEST(X509NameTest, PrintsTheEntriesInTheirOrder) {
  CertificateFields fields = ChainFields(EcKeys(1))[0];
  fields.subject = {{"C", "US"}, {"O", "Example LLC"}, {"CN", "a"}};
  const bssl::UniquePtr<X509> cert = legacy::parse_cert_blob(MakeCertificate(fields));
  ASSERT_NE(cert, nullptr);
  EXPECT_EQ(legacy::x509NameToStr(X509_get_subject_name(cert.get())), "/C=US/O=Example LLC/CN=a");
  const FailingCrypto out_of_memory("X509_NAME_oneline");
  EXPECT_EQ(legacy::x509NameToStr(X509_get_subject_name(cert.get())), "");
}

TEST(X509NameTest, EncodesTheCommonNameOrNothing) {
  // SEQUENCE of one SET of one SEQUENCE: the id of commonName and a UTF8String.
  Bytes expected = {0x30, 0x1f, 0x31, 0x1d, 0x30, 0x1b, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0c, 0x14};
  const std::string text = "Android Keystore Key";
  expected.insert(expected.end(), text.begin(), text.end());
  EXPECT_EQ(legacy::make_name_from_str(text), expected);
  EXPECT_EQ(RKP::make_name_from_str(text), expected);
  EXPECT_EQ(legacy::make_name_from_str(text + std::string("\0 and more", 10)), expected);

  EXPECT_THAT(legacy::make_name_from_str(""), IsEmpty());
  EXPECT_EQ(legacy::make_name_from_str(std::string(64, 'n')).size(), 77u);
  EXPECT_THAT(legacy::make_name_from_str(std::string(65, 'n')), IsEmpty());
  for (const char* function : {"X509_NAME_new", "X509_NAME_add_entry_by_txt", "i2d_X509_NAME"}) {
    const FailingCrypto failing(function);
    EXPECT_THAT(legacy::make_name_from_str(text), IsEmpty()) << function;
  }
}

TEST(FactoryProvisioningTest, OnlyTheExactWordSwitchesItOn) {
  android_host::DisableDeviceModule();
  EXPECT_FALSE(legacy::ORX_sb_factory_prov_support());
  const struct {
    const char* value;
    bool on;
  } kCases[] = {{"true", true}, {"true1", false}, {"true ", false}, {"TRUE", false},
                {"tru", false}, {" true", false}, {"1", false},     {"false", false}};
  for (const auto& test : kCases) {
    ASSERT_TRUE(android_host::SetProperty("ro.boot.factorysbprov", test.value, nullptr));
    EXPECT_EQ(legacy::ORX_sb_factory_prov_support(), test.on) << test.value;
  }
}

TEST(AddTagFromPropTest, AppendsTheBytesAndSkipsAnEmptyValue) {
  AuthorizationSetBuilder builder;
  legacy::add_tag_from_prop(&builder, TAG_ATTESTATION_ID_BRAND, "");
  EXPECT_TRUE(builder.empty());
  legacy::add_tag_from_prop(&builder, TAG_ATTESTATION_ID_SERIAL, "s1");
  RKP::add_tag_from_prop<km::Tag::ATTESTATION_ID_SECOND_IMEI>(&builder,
                                                              TAG_ATTESTATION_ID_SECOND_IMEI, "35");
  const auto blob = [](const char* text) {
    return km::KeyParameterValue::make<km::KeyParameterValue::blob>(text, text + 2);
  };
  EXPECT_THAT(builder.vector_data(),
              ElementsAre(km::KeyParameter{km::Tag::ATTESTATION_ID_SERIAL, blob("s1")},
                          km::KeyParameter{km::Tag::ATTESTATION_ID_SECOND_IMEI, blob("35")}));
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
