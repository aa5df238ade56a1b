// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <aidl/android/hardware/security/keymint/Tag.h>

#include <map>
#include <string>
#include <vector>

#include "sim/base/device_folder.h"

namespace orx_sim {

// The identifiers that the factory wrote into the secure environment, by the tag that asks for each
// to be attested. An identifier that was never provisioned is absent.
using DeviceIds = std::map<::aidl::android::hardware::security::keymint::Tag, std::string>;

// ProvisionedIds returns what KeyMint of this device attests: the names and the serial number of
// its build.prop, the numbers of its modem settings. The setting "provisioned-ids" says where the
// factory wrote something else ("model=Other,serial=": an empty value was never written). Nothing
// if the device has no ID attestation or has destroyed its identifiers.
DeviceIds ProvisionedIds(const DeviceFolder& folder);

// SelectDeviceIds appends to `*attested` the device-ID parameters of a request, in their order.
// Returns false if the device cannot vouch for one of them: it must be provisioned, and the value
// its own, byte for byte.
bool SelectDeviceIds(
    const std::vector<::aidl::android::hardware::security::keymint::KeyParameter>& params,
    const DeviceIds& provisioned,
    std::vector<::aidl::android::hardware::security::keymint::KeyParameter>* attested);

}  // namespace orx_sim
