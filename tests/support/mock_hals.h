// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/sharedsecret/BnSharedSecret.h>
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/mock_keymint.h"

namespace orx_test {

namespace ss = ::aidl::android::hardware::security::sharedsecret;

// MockComponent is a remotely provisioned component.
class MockComponent : public km::BnRemotelyProvisionedComponent {
 public:
  using Interface = km::IRemotelyProvisionedComponent;
  using PublicKeys = std::vector<km::MacedPublicKey>;

  MOCK_METHOD(Status, getHardwareInfo, (km::RpcHardwareInfo*), (override));
  MOCK_METHOD(Status, generateEcdsaP256KeyPair, (bool, km::MacedPublicKey*, Bytes*), (override));
  MOCK_METHOD(Status, generateCertificateRequest,
              (bool, const PublicKeys&, const Bytes&, const Bytes&, km::DeviceInfo*,
               km::ProtectedData*, Bytes*),
              (override));
  MOCK_METHOD(Status, generateCertificateRequestV2, (const PublicKeys&, const Bytes&, Bytes*),
              (override));
};

class MockSharedSecret : public ss::BnSharedSecret {
 public:
  using Interface = ss::ISharedSecret;

  MOCK_METHOD(Status, getSharedSecretParameters, (ss::SharedSecretParameters*), (override));
  MOCK_METHOD(Status, computeSharedSecret, (const std::vector<ss::SharedSecretParameters>&, Bytes*),
              (override));
};

// Registered is a mock that serves as one instance ("default", "strongbox") of its interface. The
// registrations of all go with ClearServices().
template <typename Mock>
std::shared_ptr<::testing::NiceMock<Mock>> Registered(const std::string& instance) {
  android_host::DisableDeviceModule();
  auto mock = ::ndk::SharedRefBase::make<::testing::NiceMock<Mock>>();
  const std::string name = std::string(Mock::Interface::descriptor) + "/" + instance;
  EXPECT_EQ(EX_NONE, AServiceManager_addService(mock->asBinder().get(), name.c_str()));
  return mock;
}

}  // namespace orx_test
