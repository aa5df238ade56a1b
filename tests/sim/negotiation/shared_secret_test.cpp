// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/shared_secret.h"

#include <gtest/gtest.h>

#include "tests/sim/simulated_device.h"
#include "tests/support/hex.h"

namespace orx_sim {
namespace {

using orx_test::FromHex;

using Parameters = std::vector<ss::SharedSecretParameters>;

constexpr size_t kKeyBytes = 32;
const SecretBytes kZeroKey(kKeyBytes, 0);

std::shared_ptr<SharedSecretService> NewService(const SecretBytes& key, const Bytes& seed) {
  return ndk::SharedRefBase::make<SharedSecretService>(
      std::make_shared<SharedSecretParty>(key, seed));
}

ss::SharedSecretParameters ParametersOf(ss::ISharedSecret& service) {
  ss::SharedSecretParameters parameters;
  EXPECT_TRUE(service.getSharedSecretParameters(&parameters).isOk());
  return parameters;
}

TEST(SharedSecretTest, DerivesTheKnownSecretsAndCheckValues) {
  const ss::SharedSecretParameters tee{{}, Bytes(kKeyBytes, 1)};
  const ss::SharedSecretParameters strongbox{Bytes(kKeyBytes, 2), Bytes(kKeyBytes, 3)};
  const std::tuple<Parameters, const char*, const char*> rows[] = {
      {{tee, strongbox},
       "b2941252d52e5d3eea87c4e3cd7ca35e024d303fe3f92eae95afde65a25dbe27",
       "c3cebfb6efb33fd791f38b2bfbdf5b9375bd805eaf62783fbe2a4474dafb5814"},
      {{strongbox, tee},
       "8146486bb325788a3f71e43e4c456db98cca3b9e30eb5befb13c3fb2b5e4fd4c",
       "68f9bd0ac7a96d508b67e68e21d62688eed9b5c835af14b200009a59e296a336"}};
  for (const auto& [parameters, secret, check_value] : rows) {
    const HmacKey derived = DeriveSharedSecret(kZeroKey, parameters);
    EXPECT_EQ(Bytes(derived.begin(), derived.end()), FromHex(secret));
    EXPECT_EQ(SharedSecretCheckValue(derived), FromHex(check_value));
  }
}

TEST(SharedSecretTest, NonceIsConstantUntilTheNextBootAndTheSeedBeyond) {
  const Bytes seed(kKeyBytes, 5);
  const auto party = NewService(kZeroKey, seed);
  const auto first = ParametersOf(*party);
  EXPECT_EQ(first.seed, seed);
  EXPECT_EQ(ParametersOf(*party), first);
  EXPECT_NE(ParametersOf(*NewService(kZeroKey, seed)).nonce, first.nonce) << "after a boot";
}

TEST(SharedSecretTest, AListWithoutTheOwnParametersIsRefusedAndKeepsTheSecret) {
  const auto party = std::make_shared<SharedSecretParty>(kZeroKey, Bytes());
  const auto service = ndk::SharedRefBase::make<SharedSecretService>(party);
  EXPECT_FALSE(party->secret().has_value());
  Bytes value;
  EXPECT_TRUE(service->computeSharedSecret({party->parameters()}, &value).isOk());
  const auto secret = party->secret();
  ASSERT_TRUE(secret.has_value());

  auto foreign = party->parameters();
  foreign.nonce[31] ^= 1;
  for (const Parameters& parameters : {Parameters{}, Parameters{foreign}}) {
    value = {1};
    EXPECT_EQ(CodeOf(service->computeSharedSecret(parameters, &value)),
              ErrorCode::INVALID_ARGUMENT);
    EXPECT_EQ(value, Bytes{1});
  }
  EXPECT_EQ(party->secret(), secret);
  EXPECT_TRUE(service->computeSharedSecret({foreign, party->parameters()}, &value).isOk());
  EXPECT_NE(party->secret(), secret);
}

}  // namespace
}  // namespace orx_sim
