// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/remotely_provisioned.h"

#include <gtest/gtest.h>

#include "tests/sim/simulated_device.h"
#include "tests/support/hex.h"

namespace orx_sim {
namespace {

using Component = km::IRemotelyProvisionedComponent;
using orx_test::Hex;

struct KeyPair {
  Bytes maced;
  Bytes handle;

  std::string Part(size_t offset, size_t length) const { return Hex(&maced.at(offset), length); }
};

KeyPair NewKeyPair(Services& services) {
  km::MacedPublicKey key;
  KeyPair pair;
  EXPECT_TRUE(
      services.remotely_provisioned->generateEcdsaP256KeyPair(false, &key, &pair.handle).isOk());
  pair.maced = key.macedKey;
  EXPECT_EQ(pair.maced.size(), 119u);
  pair.maced.resize(119);
  return pair;
}

ErrorCode Attest(Services& services, const Bytes& handle, km::KeyCreationResult* result) {
  return CodeOf(services.keymint->generateKey(Attested(EcRequest(km::KeyPurpose::SIGN)),
                                              km::AttestationKey{handle, {}, DefaultSubjectName()},
                                              result));
}

TEST(RemotelyProvisionedTest, PublicKeyIsACanonicalCoseKeyInsideACoseMac0) {
  TestDevice device;
  const KeyPair pair = NewKeyPair(device.strongbox());
  EXPECT_EQ(pair.Part(0, 18), "8443a10105a0584da5010203262001215820");
  EXPECT_EQ(pair.Part(50, 3), "225820");
  EXPECT_EQ(pair.Part(85, 2), "5820");
  EXPECT_TRUE(PublicKeyOf(pair.maced));
  EXPECT_NE(NewKeyPair(device.strongbox()).maced, pair.maced);
}

TEST(RemotelyProvisionedTest, HandleAttestsOnItsOwnInstanceOnlyAndOutlivesUpdates) {
  TestDevice device;
  const KeyPair pair = NewKeyPair(device.strongbox());
  for (const char* patch_level : {"202611", "202612"}) {
    device.Boot({std::string("os-patch-level=") + patch_level});
    km::KeyCreationResult result;
    ASSERT_EQ(Attest(device.strongbox(), pair.handle, &result), ErrorCode::OK) << patch_level;
    ASSERT_EQ(result.certificateChain.size(), 1u);
    const auto certificate = ParseCertificate(result.certificateChain[0].encodedCertificate);
    EXPECT_EQ(X509_verify(certificate.get(), PublicKeyOf(pair.maced).get()), 1);
    EXPECT_EQ(Attest(device.tee(), pair.handle, &result), ErrorCode::INVALID_KEY_BLOB);
  }
}

TEST(RemotelyProvisionedTest, TestModeAndRequestsAreRefused) {
  TestDevice device;
  Component& component = *device.tee().remotely_provisioned;
  km::MacedPublicKey key;
  Bytes handle;
  EXPECT_EQ(component.generateEcdsaP256KeyPair(true, &key, &handle).getServiceSpecificError(),
            Component::STATUS_REMOVED);
  EXPECT_TRUE(key.macedKey.empty() && handle.empty());
  km::DeviceInfo info;
  km::ProtectedData data;
  Bytes mac;
  for (const bool test_mode : {false, true}) {
    EXPECT_EQ(component.generateCertificateRequest(test_mode, {}, {}, {}, &info, &data, &mac)
                  .getServiceSpecificError(),
              Component::STATUS_REMOVED);
  }
  EXPECT_EQ(component.generateCertificateRequestV2({}, {}, &mac).getServiceSpecificError(),
            Component::STATUS_FAILED);
}

}  // namespace
}  // namespace orx_sim
