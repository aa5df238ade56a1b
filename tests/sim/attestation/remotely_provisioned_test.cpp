// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/remotely_provisioned.h"

#include <cppbor_parse.h>
#include <gtest/gtest.h>

#include "tests/sim/simulated_device.h"

namespace orx_sim {
namespace {

using Component = km::IRemotelyProvisionedComponent;

ErrorCode Attest(Services& services, const Bytes& handle, km::KeyCreationResult* result) {
  return CodeOf(services.keymint->generateKey(Attested(EcRequest(km::KeyPurpose::SIGN)),
                                              km::AttestationKey{handle, {}, DefaultSubjectName()},
                                              result));
}

TEST(RemotelyProvisionedTest, HandleAttestsOnItsOwnInstanceOnlyAndOutlivesUpdates) {
  TestDevice device;
  km::MacedPublicKey key;
  Bytes handle;
  Component& component = *device.strongbox().remotely_provisioned;
  ASSERT_TRUE(component.generateEcdsaP256KeyPair(false, &key, &handle).isOk());
  const auto [mac, end, problem] = cppbor::parse(key.macedKey);
  EXPECT_FALSE(OpenMac0(*mac->asArray(), {}, HmacKey{})) << "under a key that everybody knows";
  for (const char* patch_level : {"202611", "202612"}) {
    device.Boot({std::string("os-patch-level=") + patch_level});
    km::KeyCreationResult result;
    ASSERT_EQ(Attest(device.strongbox(), handle, &result), ErrorCode::OK) << patch_level;
    ASSERT_EQ(result.certificateChain.size(), 1u);
    const auto certificate = ParseCertificate(result.certificateChain[0].encodedCertificate);
    EXPECT_EQ(X509_verify(certificate.get(), PublicKeyOf(key.macedKey).get()), 1);
    EXPECT_EQ(Attest(device.tee(), handle, &result), ErrorCode::INVALID_KEY_BLOB);
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
  EXPECT_EQ(component.generateCertificateRequest(true, {}, {}, {}, &info, &data, &handle)
                .getServiceSpecificError(),
            Component::STATUS_REMOVED);
  EXPECT_EQ(component.generateCertificateRequestV2({}, {}, &handle).getServiceSpecificError(),
            Component::STATUS_FAILED);
}

}  // namespace
}  // namespace orx_sim
