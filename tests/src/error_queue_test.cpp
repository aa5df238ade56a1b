// SPDX-License-Identifier: Apache-2.0
// The crypto library's error queue of the caller's thread, which the library's failures go through.
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <orx/attest.h>
#include <orx/hash.h>
#include <orx/kdf.h>

#include <functional>
#include <utility>

#include "tests/src/keymint/attestation_fixture.h"
#include "tests/support/crypto_memory.h"
#include "tests/support/maced_key.h"
#include "tests/support/mock_hals.h"
#include "tests/support/rsa_components.h"

namespace orx_test {
namespace {

class ErrorQueueTest : public AttestationFixture {};

TEST_F(ErrorQueueTest, AFailureLeavesTheCallersErrorsAndNoneOfItsOwn) {
  key_chain = MakeChain(ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3)}));
  key_chain[0].encodedCertificate.resize(100);
  Bytes cose_key = CoseKey(EcKey(0));
  cose_key.back() ^= 1;  // no point of the curve
  km::MacedPublicKey maced;
  maced.macedKey = MacedKey(cose_key);
  const auto component = Registered<MockComponent>("default");
  ON_CALL(*component, generateEcdsaP256KeyPair)
      .WillByDefault([&maced](bool, km::MacedPublicKey* key, Bytes*) {
        *key = maced;
        return ::ndk::ScopedAStatus::ok();
      });
  CryptoMemory memory;
  const auto without_memory = [&memory](size_t allocation, const std::function<uint32_t()>& call) {
    memory.FailAt(allocation);
    return call();
  };
  const auto begin = [] { return ORX_HASH_Begin(0, nullptr); };
  const uint8_t z = 1;
  uint8_t derived[20];
  const auto derive = [&] { return ORX_KDF_Gen(1, 0, 1, &z, 0, nullptr, 20, derived); };
  const std::pair<const char*, std::function<uint32_t()>> rows[] = {
      {"no memory for a digest", [&] { return without_memory(0, begin); }},
      {"no memory in a digest", [&] { return without_memory(1, begin); }},
      {"no memory to derive", [&] { return without_memory(0, derive); }},
      {"RSA components",
       [] {
         return ImportRsaComponents({{{1}, {2}, {3}, {4}, {5}}}, 50);
       }},
      {"chain", [] { return ORX_validate_attestation(false, 0, false, false); }},
      {"chain of a model", [] { return ORX_validate_attestation_model("M", false, false); }},
      {"attested key", [] { return ORX_validate_attestation_ids(false, 0, false, false); }},
  };
  for (const auto& [title, call] : rows) {
    ERR_clear_error();
    EXPECT_EQ(call(), 1u) << title;
    EXPECT_EQ(ERR_get_error(), 0u) << title;
    OPENSSL_PUT_ERROR(USER, 1);
    OPENSSL_PUT_ERROR(USER, 2);
    EXPECT_EQ(call(), 1u) << title;
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 1) << title;
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 2) << title;
    EXPECT_EQ(ERR_get_error(), 0u) << title;
  }
}

}  // namespace
}  // namespace orx_test
