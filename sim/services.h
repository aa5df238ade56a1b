// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "sim/attestation/remotely_provisioned.h"
#include "sim/keymint/keymint_device.h"
#include "sim/negotiation/shared_secret.h"

namespace orx_sim {

// Services are what one secure environment offers to the system, each behaving correctly.
struct Services {
  Instance instance;
  std::shared_ptr<KeyMintDevice> keymint;
  std::shared_ptr<RemotelyProvisionedComponent> remotely_provisioned;  // null: not offered
  std::shared_ptr<SharedSecretService> shared_secret;
};

// StartServices starts the secure environments that the device has, the TEE first, and has them
// negotiate their shared secret, as the system does during boot.
std::vector<Services> StartServices(const std::shared_ptr<DeviceFolder>& folder);

}  // namespace orx_sim
