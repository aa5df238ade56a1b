// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>
#include <android/binder_manager.h>
#include <orx/ese.h>

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "orx_log.h"

namespace android::hardware::keymint::ORX {
namespace {

namespace km = ::aidl::android::hardware::security::keymint;
namespace ss = ::aidl::android::hardware::security::sharedsecret;

enum class Instance { kTee, kStrongBox };

template <typename Interface>
std::shared_ptr<Interface> LookUp(const char* name) {
  return Interface::fromBinder(::ndk::SpAIBinder(AServiceManager_checkService(name)));
}

// The first interface version with the root-of-trust exchange.
constexpr int32_t kMinVersion = 2;

bool CheckVersion(km::IKeyMintDevice& device, Instance instance) {
  int32_t version = 0;
  if (!device.getInterfaceVersion(&version).isOk()) {
    instance == Instance::kTee ? ORX_LOG("Check TEE keymint version failed")
                               : ORX_LOG("Check Strongbox keymint version failed");
    return false;
  }
  if (version < kMinVersion) {
    instance == Instance::kTee
        ? ORX_LOG("Test not applicable to TEE KeyMint device before v2")
        : ORX_LOG("Test not applicable to StrongBox KeyMint device before v2");
    return false;
  }
  return true;
}

// Has the TEE authenticate its root of trust for the StrongBox's challenge.
bool BindRootOfTrust(km::IKeyMintDevice& tee, km::IKeyMintDevice& strongbox) {
  std::array<uint8_t, 16> challenge = {};
  if (!strongbox.getRootOfTrustChallenge(&challenge).isOk()) {
    ORX_LOG("Get challenge from Strongbox keymint failed");
    return false;
  }
  std::vector<uint8_t> root_of_trust;
  if (!tee.getRootOfTrust(challenge, &root_of_trust).isOk()) {
    ORX_LOG("Get root of trust from TEE keymint failed");
    return false;
  }
  if (!strongbox.sendRootOfTrust(root_of_trust).isOk()) {
    ORX_LOG("Send root of trust to Strongbox keymint failed");
    return false;
  }
  return true;
}

int CheckRootOfTrustBinding() {
  const auto tee =
      LookUp<km::IKeyMintDevice>("android.hardware.security.keymint.IKeyMintDevice/default");
  if (tee == nullptr) {
    ORX_LOG("Could not obtain the TEE keymint service");
    return 1;
  }
  const auto strongbox =
      LookUp<km::IKeyMintDevice>("android.hardware.security.keymint.IKeyMintDevice/strongbox");
  if (strongbox == nullptr) {
    ORX_LOG("Could not obtain the Strongbox keymint service");
    return 1;
  }
  if (!CheckVersion(*tee, Instance::kTee)) return 1;
  if (!CheckVersion(*strongbox, Instance::kStrongBox)) return 1;
  if (!BindRootOfTrust(*tee, *strongbox)) return 1;
  ORX_LOG("The eSE provisioning test passed");
  return 0;
}

bool IsValidSeed(const ss::SharedSecretParameters& parameters) {
  return parameters.seed.empty() || parameters.seed.size() == 32;
}

bool IsValidNonce(const ss::SharedSecretParameters& parameters) {
  return parameters.nonce.size() == 32;
}

bool AddParameters(ss::ISharedSecret& service, Instance instance,
                   std::vector<ss::SharedSecretParameters>* list) {
  ss::SharedSecretParameters parameters;
  if (!service.getSharedSecretParameters(&parameters).isOk()) {
    instance == Instance::kTee
        ? ORX_LOG("Get shared secret parameter from TEE keymint failed")
        : ORX_LOG("Get shared secret parameter from Strongbox keymint failed");
    return false;
  }
  if (!IsValidSeed(parameters)) {
    instance == Instance::kTee
        ? ORX_LOG("Invalid seed in TEE keymint shared secret parameter")
        : ORX_LOG("Invalid seed in Strongbox keymint shared secret parameter");
    return false;
  }
  if (!IsValidNonce(parameters)) {
    instance == Instance::kTee
        ? ORX_LOG("Invalid nonce in TEE keymint shared secret parameter")
        : ORX_LOG("Invalid nonce in Strongbox keymint shared secret parameter");
    return false;
  }
  list->push_back(std::move(parameters));
  return true;
}

bool CompareSecrets(ss::ISharedSecret& tee, ss::ISharedSecret& strongbox,
                    const std::vector<ss::SharedSecretParameters>& list) {
  std::vector<uint8_t> tee_check;
  if (!tee.computeSharedSecret(list, &tee_check).isOk()) {
    ORX_LOG("Compute shared secret in TEE keymint failed");
    return false;
  }
  std::vector<uint8_t> strongbox_check;
  if (!strongbox.computeSharedSecret(list, &strongbox_check).isOk()) {
    ORX_LOG("Compute shared secret in Strongbox keymint failed");
    return false;
  }
  if (tee_check != strongbox_check) {
    ORX_LOG("The calculated shared secret is different");
    return false;
  }
  return true;
}

int CheckSharedSecretNegotiation() {
  const auto tee =
      LookUp<ss::ISharedSecret>("android.hardware.security.sharedsecret.ISharedSecret/default");
  if (tee == nullptr) {
    ORX_LOG("Could not obtain the TEE shared secret service");
    return 1;
  }
  const auto strongbox =
      LookUp<ss::ISharedSecret>("android.hardware.security.sharedsecret.ISharedSecret/strongbox");
  if (strongbox == nullptr) {
    ORX_LOG("Could not obtain the Strongbox shared secret service");
    return 1;
  }
  std::vector<ss::SharedSecretParameters> list;
  if (!AddParameters(*tee, Instance::kTee, &list)) return 1;
  if (!AddParameters(*strongbox, Instance::kStrongBox, &list)) return 1;
  if (!CompareSecrets(*tee, *strongbox, list)) return 1;
  ORX_LOG("The eSE shared secret negotiation test passed");
  return 0;
}

}  // namespace
}  // namespace android::hardware::keymint::ORX

int ORX_eSE_RoT_binding_check(void) {
  return android::hardware::keymint::ORX::CheckRootOfTrustBinding();
}

int ORX_eSE_SharedSecret_negotiation_check(void) {
  return android::hardware::keymint::ORX::CheckSharedSecretNegotiation();
}
