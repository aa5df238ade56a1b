// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "sim/base/device_conf.h"
#include "sim/keys/key_params.h"

namespace orx_sim {

// The identifiers that the factory wrote into the secure hardware, by the tag that asks for each
// to be attested. An identifier that was never provisioned is absent.
using DeviceIds = std::map<Tag, std::string>;

// ProvisionedIds returns what KeyMint of this device attests: the names and the serial number of
// its properties, the numbers of its modem settings. The setting "provisioned-ids" says where the
// factory wrote something else ("model=Other,serial=": an empty value was never written). Nothing
// if the device has no ID attestation or has destroyed its identifiers.
DeviceIds ProvisionedIds(const DeviceConf& conf);

// SelectDeviceIds appends to `*attested` the device-ID parameters of a request to KeyMint of this
// interface version, in their order; a tag that came later is unknown to it and ignored. Returns
// false if the device cannot vouch for one of them: it must be provisioned, and the value its own,
// byte for byte.
bool SelectDeviceIds(const KeyParams& params, const DeviceIds& provisioned,
                     int32_t interface_version, KeyParams* attested);

}  // namespace orx_sim
