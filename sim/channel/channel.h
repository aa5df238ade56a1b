// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/IRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>

#include <memory>
#include <string>

#include "sim/channel/faults.h"

namespace orx_sim {

// A channel stands between a client and a service of the device and does what the binder driver
// does between processes: a request or an answer beyond the transaction buffer fails with
// STATUS_FAILED_TRANSACTION, a method that the service's version does not have yet with
// STATUS_UNKNOWN_TRANSACTION, and outputs are assigned on success alone. It answers the interface
// version, and it is the place where named faults show. What the service leaves on the crypto
// library's error queue, which another process would not see, is removed.
struct ChannelContext {
  std::shared_ptr<FaultTable> faults;
  std::string instance;
  std::string service;  // as faults name it
  int version = 0;      // of the interface
  int log = -1;         // the descriptor that gets a line for each call; -1: none
};

// The largest transaction: 1 MiB less two pages. The size of a call is that of its parcel, but for
// paddings and headers that depend on the platform's release; kParcelOverheadBytes stands for them.
inline constexpr size_t kTransactionBytes = (1 << 20) - 2 * 4096;
inline constexpr size_t kParcelOverheadBytes = 256;

std::shared_ptr<ndk::ICInterface> Connect(
    std::shared_ptr<::aidl::android::hardware::security::keymint::IKeyMintDevice> service,
    ChannelContext context);
std::shared_ptr<ndk::ICInterface> Connect(
    std::shared_ptr<::aidl::android::hardware::security::keymint::IRemotelyProvisionedComponent>
        service,
    ChannelContext context);
std::shared_ptr<ndk::ICInterface> Connect(
    std::shared_ptr<::aidl::android::hardware::security::sharedsecret::ISharedSecret> service,
    ChannelContext context);

}  // namespace orx_sim
