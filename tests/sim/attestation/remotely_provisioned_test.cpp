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

TEST(RemotelyProvisionedTest, TestModeAndTheOldRequestAreGone) {
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
}

TEST(RemotelyProvisionedTest, RequestChecksChallengeAndKeysBeforeItFails) {
  TestDevice device;
  constexpr char kInvalid[] = "not a public key of this component";
  const Bytes own = NewKeyPair(device.tee()).maced;
  const Bytes foreign = NewKeyPair(device.strongbox()).maced;
  Bytes changed = own;
  changed[40] ^= 1;
  Bytes payload(own.begin() + 9, own.begin() + 9 + 77);
  const Bytes test_key = EncodeMac0(CborWriter(), payload, {}, HmacKey{});
  struct {
    std::vector<Bytes> keys;
    size_t challenge_length;
    int32_t status;
    const char* reason;
  } const rows[] = {
      {{own},
       64,
       Component::STATUS_FAILED,
       "a simulated device is known to no provisioning server"},
      {{own}, 65, Component::STATUS_FAILED, "the challenge has more than 64 bytes"},
      {{own, foreign}, 0, Component::STATUS_INVALID_MAC, kInvalid},
      {{changed}, 0, Component::STATUS_INVALID_MAC, kInvalid},
      {{Bytes{1, 2, 3}}, 0, Component::STATUS_INVALID_MAC, kInvalid},
      {{own, test_key}, 0, Component::STATUS_TEST_KEY_IN_PRODUCTION_REQUEST, "a test key"},
  };
  for (const auto& row : rows) {
    std::vector<km::MacedPublicKey> keys;
    for (const Bytes& key : row.keys) keys.push_back({key});
    Bytes request = {1};
    const auto status = device.tee().remotely_provisioned->generateCertificateRequestV2(
        keys, Bytes(row.challenge_length), &request);
    EXPECT_EQ(status.getServiceSpecificError(), row.status);
    EXPECT_STREQ(status.getMessage(), row.reason);
    EXPECT_EQ(request, Bytes{1});
  }
}

}  // namespace
}  // namespace orx_sim
