// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/chain/certificate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "tests/support/certificate_builder.h"
#include "tests/support/temp_folder.h"

namespace orx_tool {
namespace {

using orx_test::CertificateFields;
using orx_test::EcKey;
using testing::ElementsAre;

CertificateChain Made(const std::vector<CertificateFields>& fields) {
  CertificateChain chain;
  for (const CertificateFields& one : fields) chain.push_back(orx_test::MakeCertificate(one));
  return chain;
}

std::vector<CertificateFields> Fields() {
  return orx_test::ChainFields({EcKey(0), EcKey(1), EcKey(2)});
}

struct ChainRow {
  const char* title;
  void (*damage)(std::vector<CertificateFields>* fields);
  std::vector<std::string> findings;
};

const char kOtherKey[] =
    "the root's key is not the published one: a development or simulated device";

TEST(ChainAdviceTest, NamesEachFindingInTheOrderOfTheSelfTests) {
  const ChainRow rows[] = {
      {"nothing wrong but the key", [](auto*) {}, {kOtherKey}},
      {"signed by another key",
       [](auto* fields) { (*fields)[1].signer = EcKey(3); },
       {"certificate 1 is not signed by certificate 2", kOtherKey}},
      {"root not self-signed",
       [](auto* fields) { (*fields)[2].signer = EcKey(3); },
       {"certificate 2 is not signed by itself", kOtherKey}},
      {"signature, names and subject of the leaf",
       [](auto* fields) {
         (*fields)[0].signer = EcKey(3);
         (*fields)[0].issuer = {{"CN", "X"}};
         (*fields)[0].subject = {{"CN", "Y"}};
       },
       {"certificate 0 is not signed by certificate 1",
        "certificate 0 names the issuer /CN=X, but certificate 1 is /CN=1",
        "certificate 0 has the subject /CN=Y instead of /CN=Android Keystore Key", kOtherKey}},
      {"another root",
       [](auto* fields) {
         (*fields)[1].issuer = (*fields)[2].issuer = (*fields)[2].subject = {{"CN", "Z"}};
       },
       {"the chain ends in /CN=Z, not in the attestation root /serialNumber=f92009e853b6b045"}},
  };
  for (const ChainRow& row : rows) {
    std::vector<CertificateFields> fields = Fields();
    row.damage(&fields);
    EXPECT_EQ(ChainAdvice(Made(fields)), row.findings) << row.title;
  }
}

TEST(ChainAdviceTest, EveryDamagedByteOfALeafIsFound) {
  CertificateChain chain = Made(Fields());
  const std::vector<uint8_t> whole = chain[0];
  for (size_t i = 0; i < whole.size(); ++i) {
    chain[0] = whole;
    chain[0][i] = static_cast<uint8_t>(chain[0][i] ^ (1 << i % 8));
    EXPECT_THAT(ChainAdvice(chain)[0], testing::StartsWith("certificate 0 ")) << i;
  }
}

TEST(ChainAdviceTest, TellsACertificateWithoutAUsableKey) {
  CertificateChain chain = Made(Fields());
  const uint8_t point[] = {0x03, 0x42, 0x00, 0x04};  // a P-256 key, not compressed
  std::search(chain[1].begin(), chain[1].end(), point, point + 4)[3] = 0x05;
  EXPECT_EQ(ChainAdvice(chain)[0], "certificate 1 has no usable public key");
}

TEST(ChainAdviceTest, TellsACertificateThatIsNotYetValid) {
  CertificateChain chain = Made(Fields());
  const uint8_t utc_time[] = {0x17, 0x0d};  // the first one is notBefore
  const auto at = std::search(chain[1].begin(), chain[1].end(), utc_time, utc_time + 2);
  at[2] = '4';
  at[3] = '9';
  EXPECT_THAT(ChainAdvice(chain).back(),
              testing::StartsWith("certificate 1 is not valid before 2049-"));
}

class ReadCertificatesTest : public testing::Test {
 protected:
  // Read gives the chain and what was damaged, of a file with this content.
  CertificateFile Read(const std::string& content) {
    std::ofstream(path_, std::ios::binary) << content;
    problem_.reset();
    return ReadCertificates(path_, &problem_).value_or(CertificateFile());
  }

  const orx_test::TempFolder folder_;
  const std::string path_ = folder_ / "chain";
  const CertificateChain chain_ = Made(Fields());
  const std::string pem_ = WritePem(chain_);
  std::optional<Problem> problem_;
};

TEST_F(ReadCertificatesTest, ShowsWhatIsWholeAndNamesWhatIsNot) {
  EXPECT_EQ(Read("text\n" + pem_).chain, chain_);

  std::string damaged = pem_;
  const size_t second = damaged.find("-----BEGIN", 10);
  damaged[second + 40] = '!';
  CertificateFile file = Read(damaged);
  EXPECT_THAT(file.chain, ElementsAre(chain_[0], chain_[2]));
  EXPECT_THAT(file.damage, ElementsAre(path_ + ": block 2 is damaged or cut"));

  file = Read(pem_.substr(0, second) + WritePem({{0x30, 0x00}}));
  EXPECT_THAT(file.chain, ElementsAre(chain_[0]));
  EXPECT_THAT(file.damage, ElementsAre(path_ + ": block 2 is no X.509 certificate"));

  EXPECT_TRUE(Read("text").chain.empty());
  EXPECT_EQ(problem_->code, "CERTIFICATE-FORMAT");
  EXPECT_FALSE(ReadCertificates(folder_ / "none", &problem_));
  EXPECT_EQ(problem_->code, "INPUT-UNREADABLE");
}

TEST_F(ReadCertificatesTest, TakesSeveralInDer) {
  std::string der;
  for (const auto& one : chain_) der.append(one.begin(), one.end());
  EXPECT_EQ(Read(der).chain, chain_);
  EXPECT_TRUE(Read(der).damage.empty());
  for (size_t cut = 1; cut <= chain_[2].size(); ++cut) {
    const CertificateFile file = Read(der.substr(0, der.size() - cut));
    EXPECT_THAT(file.chain, ElementsAre(chain_[0], chain_[1]));
    EXPECT_EQ(file.damage.size(), cut < chain_[2].size() ? 1u : 0u);
  }
}

TEST(RootFindingTest, KnowsBothPublishedRootsByTheirKeys) {
  const char kFirst[] = "/serialNumber=f92009e853b6b045";
  const char kFirstKey[] = "feb2ea7551ee316ed4bb443c8293b884dbfdea40b603ee3e4f4a897e4580fbae";
  const char kSecond[] = "/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US";
  const char kSecondKey[] = "3ee44512a1af2beb39c889490c60ea3f82e43f5d5a5532f5ab9419f676cd07ec";
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {kFirst, kFirstKey, "^$"},
      {kFirst, "00", "key is not the published one"},
      {kSecond, kSecondKey, "newer attestation root.*accepts it$"},
      {"/CN=Renewed", kSecondKey, "newer attestation root.*accepts it$"},
      {kSecond, "00", "newer attestation root.*another than the published"},
      {"/CN=Other", kFirstKey, "not in the attestation root"}};
  for (const auto& [subject, key, finding] : rows) {
    EXPECT_THAT(RootFinding(subject, key), testing::ContainsRegex(finding));
  }
}

}  // namespace
}  // namespace orx_tool
