// SPDX-License-Identifier: Apache-2.0
// What a process sees of the attestation services once the device is attached to it: through the
// service manager, with versions and faults.
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <gtest/gtest.h>

#include "sim/device.h"
#include "simulated_device.h"

namespace orx_sim {
namespace {

class AttachedServicesTest : public ::testing::Test {
 protected:
  void Attach(const std::vector<std::string>& settings, const std::vector<std::string>& faults) {
    android_host::DisableDeviceModule();
    android_host::ClearServices();
    folder_.Boot(settings);
    std::string error;
    const auto device = Device::Open(folder_.folder().path(), &error);
    ASSERT_TRUE(device) << error;
    for (const std::string& fault : faults) {
      EXPECT_TRUE(device->faults().Add(fault, &error)) << error;
    }
    device->Attach();
  }

  template <typename Interface>
  static std::shared_ptr<Interface> Get(const std::string& instance) {
    const std::string name = std::string(Interface::descriptor) + "/" + instance;
    return Interface::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
  }

  TestDevice folder_;
};

TEST_F(AttachedServicesTest, EachEnvironmentOffersThreeServices) {
  for (const bool strongbox : {true, false}) {
    Attach({strongbox ? "strongbox=yes" : "strongbox=no"}, {});
    EXPECT_TRUE(Get<km::IKeyMintDevice>("default"));
    EXPECT_TRUE(Get<km::IRemotelyProvisionedComponent>("default"));
    EXPECT_TRUE(Get<ss::ISharedSecret>("default"));
    EXPECT_EQ(Get<km::IKeyMintDevice>("strongbox") != nullptr, strongbox);
    EXPECT_EQ(Get<km::IRemotelyProvisionedComponent>("strongbox") != nullptr, strongbox);
    EXPECT_EQ(Get<ss::ISharedSecret>("strongbox") != nullptr, strongbox);
  }
}

TEST_F(AttachedServicesTest, ServicesCanBeAbsentOneByOne) {
  Attach({}, {"service:strongbox.sharedsecret:absent", "service:default.rkp:absent"});
  EXPECT_FALSE(Get<ss::ISharedSecret>("strongbox"));
  EXPECT_TRUE(Get<ss::ISharedSecret>("default"));
  EXPECT_FALSE(Get<km::IRemotelyProvisionedComponent>("default"));
  EXPECT_TRUE(Get<km::IKeyMintDevice>("default"));
}

TEST_F(AttachedServicesTest, VersionOneDoesNotKnowTheRootOfTrust) {
  for (const char* instance : {"default", "strongbox"}) {
    Attach({"keymint-version=1", "strongbox-keymint-version=1"}, {});
    const auto keymint = Get<km::IKeyMintDevice>(instance);
    ASSERT_TRUE(keymint);
    int32_t version = 0;
    EXPECT_TRUE(keymint->getInterfaceVersion(&version).isOk());
    EXPECT_EQ(version, 1);
    RootOfTrustChallenge challenge{};
    Bytes root;
    EXPECT_EQ(keymint->getRootOfTrustChallenge(&challenge).getStatus(), STATUS_UNKNOWN_TRANSACTION);
    EXPECT_EQ(keymint->getRootOfTrust(challenge, &root).getStatus(), STATUS_UNKNOWN_TRANSACTION);
    EXPECT_EQ(keymint->sendRootOfTrust(root).getStatus(), STATUS_UNKNOWN_TRANSACTION);
  }
}

TEST_F(AttachedServicesTest, FaultsGiveSharedSecretParametersOfOtherLengths) {
  struct {
    const char* fault;
    size_t seed_length;
    size_t nonce_length;
  } const rows[] = {{"strongbox.getSharedSecretParameters:seed=16", 16, 32},
                    {"strongbox.getSharedSecretParameters:seed=0", 0, 32},
                    {"sharedsecret.getSharedSecretParameters:nonce=31", 32, 31},
                    {"default.getSharedSecretParameters:nonce=31", 32, 32}};
  for (const auto& row : rows) {
    Attach({}, {row.fault});
    ss::SharedSecretParameters parameters;
    EXPECT_TRUE(Get<ss::ISharedSecret>("strongbox")->getSharedSecretParameters(&parameters).isOk());
    EXPECT_EQ(parameters.seed.size(), row.seed_length) << row.fault;
    EXPECT_EQ(parameters.nonce.size(), row.nonce_length) << row.fault;
  }
  FaultTable faults;
  std::string error;
  for (const char* fault : {"getSharedSecretParameters:seed=-1", "computeSharedSecret:seed=16",
                            "getSharedSecretParameters:nonce=4097"}) {
    EXPECT_FALSE(faults.Add(fault, &error)) << fault;
  }
}

TEST_F(AttachedServicesTest, FaultsMakeCheckValuesUnequal) {
  for (const auto& [fault, length] : {std::make_pair("strongbox.computeSharedSecret:damaged", 32u),
                                      std::make_pair("strongbox.computeSharedSecret:cut", 31u)}) {
    Attach({}, {fault});
    std::vector<ss::SharedSecretParameters> parameters(2);
    std::vector<Bytes> values(2);
    const std::shared_ptr<ss::ISharedSecret> parties[] = {Get<ss::ISharedSecret>("default"),
                                                          Get<ss::ISharedSecret>("strongbox")};
    for (size_t i : {0, 1}) parties[i]->getSharedSecretParameters(&parameters[i]);
    for (size_t i : {0, 1}) parties[i]->computeSharedSecret(parameters, &values[i]);
    EXPECT_EQ(values[0].size(), 32u);
    EXPECT_EQ(values[1].size(), length);
    EXPECT_NE(values[0], values[1]);
  }
}

TEST_F(AttachedServicesTest, ADamagedRootOfTrustIsRefusedByTheStrongBox) {
  for (const char* fault : {"getRootOfTrust:damaged", "getRootOfTrust:cut"}) {
    Attach({}, {std::string(fault) + "@1"});
    const auto tee = Get<km::IKeyMintDevice>("default");
    const auto strongbox = Get<km::IKeyMintDevice>("strongbox");
    for (const ErrorCode expected : {ErrorCode::VERIFICATION_FAILED, ErrorCode::OK}) {
      RootOfTrustChallenge challenge{};
      Bytes root;
      EXPECT_TRUE(strongbox->getRootOfTrustChallenge(&challenge).isOk());
      EXPECT_TRUE(tee->getRootOfTrust(challenge, &root).isOk());
      EXPECT_EQ(CodeOf(strongbox->sendRootOfTrust(root)), expected) << fault;
    }
  }
}

TEST_F(AttachedServicesTest, FaultsSpoilChainsAndPublicKeys) {
  Attach({}, {"generateKey:no-root@1", "generateKey:damaged-leaf@2",
              "generateEcdsaP256KeyPair:cut@1", "generateEcdsaP256KeyPair:damaged@2"});
  const auto keymint = Get<km::IKeyMintDevice>("default");
  const auto chain = [&] {
    km::KeyCreationResult result;
    EXPECT_TRUE(
        keymint->generateKey(Attested(EcRequest(km::KeyPurpose::SIGN)), {}, &result).isOk());
    return result.certificateChain;
  };
  EXPECT_EQ(chain().size(), 3u);
  const auto damaged = chain();
  ASSERT_EQ(damaged.size(), 4u);
  const auto issuer = ParseCertificate(damaged[1].encodedCertificate);
  const bssl::UniquePtr<EVP_PKEY> key(X509_get_pubkey(issuer.get()));
  EXPECT_EQ(X509_verify(ParseCertificate(damaged[0].encodedCertificate).get(), key.get()), 0);

  const auto component = Get<km::IRemotelyProvisionedComponent>("default");
  const auto public_key = [&] {
    km::MacedPublicKey maced;
    Bytes handle;
    EXPECT_TRUE(component->generateEcdsaP256KeyPair(false, &maced, &handle).isOk());
    return maced.macedKey;
  };
  EXPECT_EQ(public_key().size(), 118u);
  EXPECT_FALSE(PublicKeyOf(public_key())) << "the point must be off the curve";
  EXPECT_TRUE(PublicKeyOf(public_key()));
}

}  // namespace
}  // namespace orx_sim
