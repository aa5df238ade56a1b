// SPDX-License-Identifier: Apache-2.0
#include "tests/support/chain_cases.h"

#include <algorithm>
#include <functional>

namespace orx_test {
namespace {

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

}  // namespace

std::vector<ChainCase> ChainCases() {
  return {
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
       ChainVerdict{true, {kLeaf, kGoodRoot}}},
      {"another root",
       Changed([](auto& fields) {
         fields[3].subject.push_back({"CN", "x"});
         fields[3].issuer = fields[2].issuer = fields[3].subject;
       }),
       {false, {kLeaf, kRoot + "/serialNumber=f92009e853b6b045/CN=x\n", kNotExpected, kNotGoogle}},
       ChainVerdict{true, {kLeaf, kRoot + "/serialNumber=f92009e853b6b045/CN=x\n", kNotExpected}}},
      {"one",
       Good(1),
       {false, {kLeaf, kRoot + "/CN=Android Keystore Key\n", kNotExpected, kNotGoogle}},
       ChainVerdict{true, {kLeaf, kRoot + "/CN=Android Keystore Key\n", kNotExpected}}},
      {"none",
       {},
       {false, {kRoot + "\n", kNotExpected, kNotGoogle}},
       ChainVerdict{true, {kRoot + "\n", kNotExpected}}},
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
}

}  // namespace orx_test
