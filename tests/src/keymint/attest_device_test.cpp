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

constexpr char kRoot[] = "ATTEST: Root cert  has subject name: /serialNumber=f92009e853b6b045\n";
constexpr char kOtherRoot[] =
    "ATTEST: Root cert name didnot match expected: /serialNumber=f92009e853b6b045\n";
constexpr char kNewer[] = "attestation-root=/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US";
#define NO_KEYS "attestation key. Reason: ATTESTATION_KEYS_NOT_PROVISIONED"
constexpr char kNoKeys[] = "ATTEST: could not generate a valid " NO_KEYS;
constexpr char kNoSbKeys[] = "ATTEST: could not generate a valid sb " NO_KEYS;
constexpr char kBadChain[] = "ATTEST: attest key cert chain invalid";
constexpr char kBadSbChain[] = "ATTEST: SB attest key cert chain invalid";
constexpr char kBadIdChain[] = "ATTEST: attested cert chain invalid";
constexpr char kBadId[] = "ATTEST: attestation fails with device ID";
constexpr char kNoRemote[] = "Could not obtain the Strongbox rkp service";
constexpr char kRefused[] = "Negative Test: return error = -74";
constexpr char kKeys[] = "Need to clear factory attestation keys before shipping";
constexpr char kOffCurve[] = "Could not extract signing public key from coseKeyData";
constexpr char kCut[] = "Could not extract coseKeyData from macedPubKey";
constexpr char kBound[] = "The eSE provisioning test passed";
constexpr char kNotBound[] = "Send root of trust to Strongbox keymint failed";
constexpr char kOldTee[] = "Test not applicable to TEE KeyMint device before v2";
constexpr char kOldSb[] = "Test not applicable to StrongBox KeyMint device before v2";
constexpr char kAgreed[] = "The eSE shared secret negotiation test passed";
constexpr char kUnequal[] = "The calculated shared secret is different";
constexpr char kBadSeed[] = "Invalid seed in TEE keymint shared secret parameter";
constexpr char kBadNonce[] = "Invalid nonce in Strongbox keymint shared secret parameter";
constexpr char kOtherSecret[] = "strongbox-preshared-key=other",
               kSbKeys[] = "ro.boot.factorysbprov=true";
constexpr char kSeed[] = "default.getSharedSecretParameters:seed=16";
constexpr char kNonce[] = "strongbox.getSharedSecretParameters:nonce=33";

const Row kRows[] = {
    {"Tee", {}, kTee, 0, kRoot},
    {"WithoutFactoryKeys", {"attestation=none"}, kTee, 1, kNoKeys},
    {"NewerRoot", {kNewer}, kTee, 1, kBadChain},
    {"NewerRootRelaxed", {kNewer}, kTeeRelaxed, 0, kOtherRoot},
    {"ExpiredIsNotChecked", {"attestation-expired=yes"}, kTee, 0, kRoot},
    {"OtherSerialNumber", {"provisioned-ids=serial=X"}, kTee, 1, kBadId},
    {"DamagedChain", {"generateKey:damaged-leaf@1"}, kTee, 1, kBadChain},
    {"ShortChain", {"generateKey:no-root@1"}, kTee, 1, kBadChain},
    {"DamagedIdChain", {"generateKey:damaged-leaf@2"}, kTee, 1, kBadIdChain},
    {"RemoteStrongBox", {}, kStrongBox, 1, kBadSbChain},
    {"RemoteStrongBoxRelaxed", {}, kStrongBoxRelaxed, 0, kOtherRoot},
    {"FactoryStrongBox", {"strongbox-attestation=factory", kSbKeys}, kStrongBox, 0, kRoot},
    {"FactoryStrongBoxWithoutKeys", {kSbKeys}, kStrongBox, 1, kNoSbKeys},
    {"Model", {}, Model, 0, kOtherRoot},
    {"AnothersModel", {}, AnothersModel, 1, kBadId},
    {"RemoteKeys", {}, Remote<true>, 0, kRefused},
    {"RemoteKeysOfTheTee", {"attestation=remote"}, Remote<false>, 0, kRefused},
    {"RemoteBesideFactoryKeys", {}, Remote<false>, 1, kKeys},
    {"RemoteKeyOffTheCurve", {"generateEcdsaP256KeyPair:damaged"}, Remote<true>, 1, kOffCurve},
    {"RemoteKeyCut", {"generateEcdsaP256KeyPair:cut"}, Remote<true>, 1, kCut},
    {"NoRemoteProvisioning", {"strongbox-attestation=none"}, Remote<true>, 1, kNoRemote},
    {"Binding", {}, kBinding, 0, kBound},
    {"BindingOfASwappedStrongBox", {kOtherSecret}, kBinding, 1, kNotBound},
    {"DamagedRootOfTrust", {"getRootOfTrust:damaged"}, kBinding, 1, kNotBound},
    {"BindingOfAnOldTee", {"keymint-version=1"}, kBinding, 1, kOldTee},
    {"BindingOfAnOldStrongBox", {"strongbox-keymint-version=1"}, kBinding, 1, kOldSb},
    {"Negotiation", {}, kNegotiation, 0, kAgreed},
    {"NegotiationOfASwappedStrongBox", {kOtherSecret}, kNegotiation, 1, kUnequal},
    {"DamagedCheckValue", {"computeSharedSecret:damaged@2"}, kNegotiation, 1, kUnequal},
    {"CutCheckValue", {"strongbox.computeSharedSecret:cut"}, kNegotiation, 1, kUnequal},
    {"ShortSeed", {kSeed}, kNegotiation, 1, kBadSeed},
    {"LongNonce", {kNonce}, kNegotiation, 1, kBadNonce},
};

// Else all its bytes are printed, also those between its members.
void PrintTo(const Row& row, std::ostream* out) {
  *out << row.title;
}

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
