// SPDX-License-Identifier: Apache-2.0
// The attestation and secure-element self-tests on the simulated device: they pass on the devices
// where they should and fail with the right line on the others.
#include <android_host/host.h>
#include <gtest/gtest.h>
#include <orx/attest.h>
#include <orx/ese.h>

#include <string>
#include <vector>

#include "sim/device.h"
#include "sim/modem.h"
#include "support/log_capture.h"

namespace orx_test {
namespace {

struct Row {
  const char* title;
  const char* profile;
  std::vector<std::string> settings;
  std::vector<std::string> faults;
  int (*check)();
  int result;
  const char* last_message;
};

constexpr uint32_t kAllIds = 0x1ff;

template <bool strongbox, bool relaxed>
int Attestation() {
  return ORX_validate_attestation(true, kAllIds, relaxed, strongbox);
}

template <bool strongbox>
int Model() {
  return ORX_validate_attestation_model("Simulated Dual", true, strongbox);
}

int UnknownModel() {
  return ORX_validate_attestation_model("Nobody's", true, false);
}

template <bool strongbox>
int RemotelyProvisioned() {
  return ORX_validate_attestation_ids(true, kAllIds, false, strongbox);
}

constexpr auto kTee = Attestation<false, false>;
constexpr auto kTeeRelaxed = Attestation<false, true>;
constexpr auto kStrongBox = Attestation<true, false>;
constexpr auto kStrongBoxRelaxed = Attestation<true, true>;

constexpr char kRootOk[] = "ATTEST: Root cert  has subject name: /serialNumber=f92009e853b6b045\n";
constexpr char kOtherRoot[] =
    "ATTEST: Root cert name didnot match expected: /serialNumber=f92009e853b6b045\n";

const Row kRows[] = {
    {"Tee", "dual-sim", {}, {}, kTee, 0, kRootOk},
    {"TeeOfASingleSimDevice", "single-sim", {}, {}, kTee, 0, kRootOk},
    {"TeeWithoutFactoryKeys",
     "dual-sim",
     {"attestation=none"},
     {},
     kTee,
     1,
     "ATTEST: could not generate a valid attestation key. Reason: "
     "ATTESTATION_KEYS_NOT_PROVISIONED"},
    {"TeeUnderTheNewerRoot",
     "dual-sim",
     {"attestation-root=/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US"},
     {},
     kTee,
     1,
     "ATTEST: attest key cert chain invalid"},
    {"TeeUnderTheNewerRootRelaxed",
     "dual-sim",
     {"attestation-root=/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US"},
     {},
     kTeeRelaxed,
     0,
     kOtherRoot},
    // Validity dates are not part of the check.
    {"TeeWithExpiredCertificates", "dual-sim", {"attestation-expired=yes"}, {}, kTee, 0, kRootOk},
    {"TeeWithAnotherSerialNumber",
     "dual-sim",
     {"provisioned-ids=serial=X"},
     {},
     kTee,
     1,
     "ATTEST: attestation fails with device ID"},
    {"TeeWithADamagedChain",
     "dual-sim",
     {},
     {"generateKey:damaged-leaf@1"},
     kTee,
     1,
     "ATTEST: attest key cert chain invalid"},
    {"TeeWithAShortChain",
     "dual-sim",
     {},
     {"generateKey:no-root@1"},
     kTee,
     1,
     "ATTEST: attest key cert chain invalid"},
    {"TeeWithADamagedIdentifierChain",
     "dual-sim",
     {},
     {"generateKey:damaged-leaf@2"},
     kTee,
     1,
     "ATTEST: attested cert chain invalid"},
    {"StrongBoxRemotelyProvisioned",
     "dual-sim",
     {},
     {},
     kStrongBox,
     1,
     "ATTEST: SB attest key cert chain invalid"},
    {"StrongBoxRemotelyProvisionedRelaxed", "dual-sim", {}, {}, kStrongBoxRelaxed, 0, kOtherRoot},
    {"StrongBoxOfTheFactory",
     "dual-sim",
     {"strongbox-attestation=factory", "ro.boot.factorysbprov=true"},
     {},
     kStrongBox,
     0,
     kRootOk},
    {"StrongBoxOfTheFactoryWithoutKeys",
     "dual-sim",
     {"ro.boot.factorysbprov=true"},
     {},
     kStrongBox,
     1,
     "ATTEST: could not generate a valid sb attestation key. Reason: "
     "ATTESTATION_KEYS_NOT_PROVISIONED"},
    {"Model", "dual-sim", {}, {}, Model<false>, 0, kRootOk},
    {"ModelOfTheStrongBox", "dual-sim", {}, {}, Model<true>, 0, kOtherRoot},
    {"ModelOfAnotherDevice",
     "dual-sim",
     {},
     {},
     UnknownModel,
     1,
     "ATTEST: attestation fails with device ID"},
    {"RemoteKeysOfTheStrongBox",
     "dual-sim",
     {},
     {},
     RemotelyProvisioned<true>,
     0,
     "Negative Test: return error = -74"},
    {"RemoteKeysOfATeeWithoutFactoryKeys",
     "dual-sim",
     {"attestation=none"},
     {},
     RemotelyProvisioned<false>,
     0,
     "Negative Test: return error = -74"},
    {"RemoteKeysBesideFactoryKeys",
     "dual-sim",
     {},
     {},
     RemotelyProvisioned<false>,
     1,
     "Need to clear factory attestation keys before shipping"},
    {"RemoteKeyWithAPointOffTheCurve",
     "dual-sim",
     {},
     {"generateEcdsaP256KeyPair:damaged"},
     RemotelyProvisioned<true>,
     1,
     "Could not extract signing public key from coseKeyData"},
    {"RemoteKeyCutShort",
     "dual-sim",
     {},
     {"generateEcdsaP256KeyPair:cut"},
     RemotelyProvisioned<true>,
     1,
     "Could not extract coseKeyData from macedPubKey"},
    {"RemoteProvisioningAbsent",
     "dual-sim",
     {},
     {"service:strongbox.rkp:absent"},
     RemotelyProvisioned<true>,
     1,
     "Could not obtain the Strongbox rkp service"},
    {"RootOfTrust",
     "dual-sim",
     {},
     {},
     ORX_eSE_RoT_binding_check,
     0,
     "The eSE provisioning test passed"},
    {"RootOfTrustOfASwappedStrongBox",
     "dual-sim",
     {"strongbox-preshared-key=other"},
     {},
     ORX_eSE_RoT_binding_check,
     1,
     "Send root of trust to Strongbox keymint failed"},
    {"RootOfTrustOfAnOldTee",
     "dual-sim",
     {"keymint-version=1"},
     {},
     ORX_eSE_RoT_binding_check,
     1,
     "Test not applicable to TEE KeyMint device before v2"},
    {"RootOfTrustOfAnOldStrongBox",
     "dual-sim",
     {"strongbox-keymint-version=1"},
     {},
     ORX_eSE_RoT_binding_check,
     1,
     "Test not applicable to StrongBox KeyMint device before v2"},
    {"RootOfTrustWithoutStrongBox",
     "dual-sim",
     {"strongbox=no"},
     {},
     ORX_eSE_RoT_binding_check,
     1,
     "Could not obtain the Strongbox keymint service"},
    {"RootOfTrustUnimplemented",
     "dual-sim",
     {},
     {"getRootOfTrustChallenge:-100"},
     ORX_eSE_RoT_binding_check,
     1,
     "Get challenge from Strongbox keymint failed"},
    {"SharedSecret",
     "dual-sim",
     {},
     {},
     ORX_eSE_SharedSecret_negotiation_check,
     0,
     "The eSE shared secret negotiation test passed"},
    {"SharedSecretOfASwappedStrongBox",
     "dual-sim",
     {"strongbox-preshared-key=other"},
     {},
     ORX_eSE_SharedSecret_negotiation_check,
     1,
     "The calculated shared secret is different"},
    {"SharedSecretCutShort",
     "dual-sim",
     {},
     {"strongbox.computeSharedSecret:cut"},
     ORX_eSE_SharedSecret_negotiation_check,
     1,
     "The calculated shared secret is different"},
    {"SharedSecretWithAShortSeed",
     "dual-sim",
     {},
     {"default.getSharedSecretParameters:seed=16"},
     ORX_eSE_SharedSecret_negotiation_check,
     1,
     "Invalid seed in TEE keymint shared secret parameter"},
    {"SharedSecretWithALongNonce",
     "dual-sim",
     {},
     {"strongbox.getSharedSecretParameters:nonce=33"},
     ORX_eSE_SharedSecret_negotiation_check,
     1,
     "Invalid nonce in Strongbox keymint shared secret parameter"},
};

class AttestDeviceTest : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    android_host::DisableDeviceModule();
    std::string error;
    const auto device =
        orx_sim::Device::Create("/mnt/vendor/persist/device", GetParam().profile, &error);
    ASSERT_TRUE(device) << error;
    ASSERT_TRUE(device->folder().Set(GetParam().settings, &error)) << error;
    for (const std::string& fault : GetParam().faults) {
      ASSERT_TRUE(device->faults().Add(fault, &error)) << error;
    }
    device->Attach();
    const auto get = [&](const char* name) { return device->folder().Get(name); };
    ASSERT_TRUE(modem_.Start("/dev/socket/rild-oem",
                             {get("imei"), get("second-imei"), get("meid"), {}}, &error))
        << error;
  }

  orx_sim::ModemDaemon modem_;
  LogCapture log_;
};

TEST_P(AttestDeviceTest, EndsWithTheExpectedLine) {
  EXPECT_EQ(GetParam().check(), GetParam().result);
  ASSERT_FALSE(log_.messages().empty());
  EXPECT_EQ(log_.messages().back(), GetParam().last_message);
}

INSTANTIATE_TEST_SUITE_P(All, AttestDeviceTest, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.title); });

}  // namespace
}  // namespace orx_test
