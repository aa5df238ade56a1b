// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnRemotelyProvisionedComponent.h>

#include <memory>
#include <string>
#include <vector>

#include "sim/base/device_folder.h"
#include "sim/base/instance.h"
#include "sim/keys/key_vault.h"
#include "sim/negotiation/cose_mac.h"

namespace orx_sim {

// RemotelyProvisionedComponent is the remote provisioning component (interface version 3) of one
// instance. Its keys are attestation keys of the same instance's KeyMint: a key handle is a key
// blob, which only that KeyMint opens and which never needs an upgrade.
//
// Not offered: certificate requests, because no provisioning server knows a simulated device.
class RemotelyProvisionedComponent : public km::BnRemotelyProvisionedComponent {
 public:
  RemotelyProvisionedComponent(std::shared_ptr<DeviceFolder> folder, const Instance& instance);

  ndk::ScopedAStatus getHardwareInfo(km::RpcHardwareInfo* info) override;
  ndk::ScopedAStatus generateEcdsaP256KeyPair(bool test_mode, km::MacedPublicKey* public_key,
                                              Bytes* key_handle) override;
  ndk::ScopedAStatus generateCertificateRequest(bool test_mode,
                                                const std::vector<km::MacedPublicKey>& keys,
                                                const Bytes& endpoint_chain, const Bytes& challenge,
                                                km::DeviceInfo* device_info,
                                                km::ProtectedData* protected_data,
                                                Bytes* keys_to_sign_mac) override;
  ndk::ScopedAStatus generateCertificateRequestV2(const std::vector<km::MacedPublicKey>& keys,
                                                  const Bytes& challenge, Bytes* request) override;

 private:
  const std::shared_ptr<DeviceFolder> folder_;
  const Instance instance_;
  const KeyVault vault_;
  HmacKey mac_key_;
};

}  // namespace orx_sim
