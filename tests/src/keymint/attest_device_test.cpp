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
#include "sim/modem/modem.h"
#include "tests/support/log_capture.h"

namespace orx_test {
namespace {

struct Row {
  const char* title;
  std::vector<std::string> changes;  // settings, properties and faults of a "dual-sim" device
  int (*check)();
  int result;
  const char* last_message;
};

constexpr uint32_t kAllIds = 0x1ff;

template <bool strongbox, bool relaxed>
int Attest() {
  return ORX_validate_attestation(true, kAllIds, relaxed, strongbox);
}
constexpr auto kTee = Attest<false, false>;
constexpr auto kTeeRelaxed = Attest<false, true>;
constexpr auto kStrongBox = Attest<true, false>;
constexpr auto kStrongBoxRelaxed = Attest<true, true>;

int Model() {
  return ORX_validate_attestation_model("Simulated Dual", true, true);
}
int AnothersModel() {
  return ORX_validate_attestation_model("Another's", true, false);
}

template <bool strongbox>
int Remote() {
  return ORX_validate_attestation_ids(true, kAllIds, false, strongbox);
}
constexpr auto kBinding = ORX_eSE_RoT_binding_check;
constexpr auto kNegotiation = ORX_eSE_SharedSecret_negotiation_check;

constexpr char kExpectedRoot[] =
    "ATTEST: Root cert  has subject name: /serialNumber=f92009e853b6b045\n";
constexpr char kOtherRoot[] =
    "ATTEST: Root cert name didnot match expected: /serialNumber=f92009e853b6b045\n";
constexpr char kNewerRoot[] =
    "attestation-root=/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US";
constexpr char kBadChain[] = "ATTEST: attest key cert chain invalid";
constexpr char kBadId[] = "ATTEST: attestation fails with device ID";
constexpr char kUnequal[] = "The calculated shared secret is different";

const Row kRows[] = {
    {"Tee", {}, kTee, 0, kExpectedRoot},
    {"WithoutFactoryKeys",
     {"attestation=none"},
     kTee,
     1,
     "ATTEST: could not generate a valid attestation key. Reason: "
     "ATTESTATION_KEYS_NOT_PROVISIONED"},
    {"NewerRoot", {kNewerRoot}, kTee, 1, kBadChain},
    {"NewerRootRelaxed", {kNewerRoot}, kTeeRelaxed, 0, kOtherRoot},
    {"ExpiredIsNotChecked", {"attestation-expired=yes"}, kTee, 0, kExpectedRoot},
    {"OtherSerialNumber", {"provisioned-ids=serial=X"}, kTee, 1, kBadId},
    {"DamagedChain", {"generateKey:damaged-leaf@1"}, kTee, 1, kBadChain},
    {"ShortChain", {"generateKey:no-root@1"}, kTee, 1, kBadChain},
    {"DamagedIdChain",
     {"generateKey:damaged-leaf@2"},
     kTee,
     1,
     "ATTEST: attested cert chain invalid"},
    {"RemoteStrongBox", {}, kStrongBox, 1, "ATTEST: SB attest key cert chain invalid"},
    {"RemoteStrongBoxRelaxed", {}, kStrongBoxRelaxed, 0, kOtherRoot},
    {"FactoryStrongBox",
     {"strongbox-attestation=factory", "ro.boot.factorysbprov=true"},
     kStrongBox,
     0,
     kExpectedRoot},
    {"FactoryStrongBoxWithoutKeys",
     {"ro.boot.factorysbprov=true"},
     kStrongBox,
     1,
     "ATTEST: could not generate a valid sb attestation key. Reason: "
     "ATTESTATION_KEYS_NOT_PROVISIONED"},
    {"Model", {}, Model, 0, kOtherRoot},
    {"AnothersModel", {}, AnothersModel, 1, kBadId},
    {"RemoteKeys", {}, Remote<true>, 0, "Negative Test: return error = -74"},
    {"RemoteKeysOfTheTee",
     {"attestation=remote"},
     Remote<false>,
     0,
     "Negative Test: return error = -74"},
    {"RemoteBesideFactoryKeys",
     {},
     Remote<false>,
     1,
     "Need to clear factory attestation keys before shipping"},
    {"RemoteKeyOffTheCurve",
     {"generateEcdsaP256KeyPair:damaged"},
     Remote<true>,
     1,
     "Could not extract signing public key from coseKeyData"},
    {"RemoteKeyCut",
     {"generateEcdsaP256KeyPair:cut"},
     Remote<true>,
     1,
     "Could not extract coseKeyData from macedPubKey"},
    {"NoRemoteProvisioning",
     {"strongbox-attestation=none"},
     Remote<true>,
     1,
     "Could not obtain the Strongbox rkp service"},
    {"Binding", {}, kBinding, 0, "The eSE provisioning test passed"},
    {"BindingOfASwappedStrongBox",
     {"strongbox-preshared-key=other"},
     kBinding,
     1,
     "Send root of trust to Strongbox keymint failed"},
    {"DamagedRootOfTrust",
     {"getRootOfTrust:damaged"},
     kBinding,
     1,
     "Send root of trust to Strongbox keymint failed"},
    {"BindingOfAnOldTee",
     {"keymint-version=1"},
     kBinding,
     1,
     "Test not applicable to TEE KeyMint device before v2"},
    {"BindingOfAnOldStrongBox",
     {"strongbox-keymint-version=1"},
     kBinding,
     1,
     "Test not applicable to StrongBox KeyMint device before v2"},
    {"Negotiation", {}, kNegotiation, 0, "The eSE shared secret negotiation test passed"},
    {"NegotiationOfASwappedStrongBox",
     {"strongbox-preshared-key=other"},
     kNegotiation,
     1,
     kUnequal},
    {"DamagedCheckValue", {"computeSharedSecret:damaged@2"}, kNegotiation, 1, kUnequal},
    {"CutCheckValue", {"strongbox.computeSharedSecret:cut"}, kNegotiation, 1, kUnequal},
    {"ShortSeed",
     {"default.getSharedSecretParameters:seed=16"},
     kNegotiation,
     1,
     "Invalid seed in TEE keymint shared secret parameter"},
    {"LongNonce",
     {"strongbox.getSharedSecretParameters:nonce=33"},
     kNegotiation,
     1,
     "Invalid nonce in Strongbox keymint shared secret parameter"},
};

class AttestDeviceTest : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    android_host::DisableDeviceModule();
    std::string error;
    const auto device = orx_sim::Device::Create("/mnt/vendor/persist/device", "dual-sim", &error);
    ASSERT_TRUE(device) << error;
    for (const std::string& change : GetParam().changes) {
      const bool is_fault = change.find(':') != std::string::npos;
      ASSERT_TRUE(is_fault ? device->faults().Add(change, &error)
                           : device->folder().Set({change}, &error))
          << error;
    }
    device->Attach();
    const auto get = [&](const char* name) { return device->folder().Get(name); };
    ASSERT_TRUE(modem_.Start("/dev/socket/rild-oem",
                             {get("imei"), get("second-imei"), get("meid"), {}, {}}, &error))
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
